// The one-rank transport: the caller is rank 0 of every communicator, and a message can only
// go to itself. Sends and receives are matched as MPI matches them, by tag and in posting
// order, and the bytes move when the second of a pair is posted.
#include <glog/logging.h>

#include <cstring>
#include <deque>

#include "comu/Transport.h"

namespace velmo::comu {

namespace {

struct Transfer {
  bool isSend = false;
  const void* src = nullptr;
  void* dst = nullptr;
  int bytes = 0;
  int tag = 0;
  bool done = false;
  bool waited = false;
};

// Per thread, since each thread of a process that talks only to itself is its own world.
// Emptied once every transfer has been waited for, so ids stay small.
thread_local std::deque<Transfer> transfers;

void checkSelf(int rank, const char* what) { CHECK_EQ(rank, 0) << what << ": the one-rank transport has only rank 0"; }

void copyBytes(void* dst, const void* src, int bytes) {
  if (bytes > 0) std::memcpy(dst, src, size_t(bytes));
}

Request post(Transfer t) {
  for (Transfer& other : transfers) {
    if (other.done || other.isSend == t.isSend || other.tag != t.tag) continue;
    Transfer& send = t.isSend ? t : other;
    Transfer& recv = t.isSend ? other : t;
    CHECK_LE(send.bytes, recv.bytes) << "message truncated: a receive is smaller than its send";
    copyBytes(recv.dst, send.src, send.bytes);
    recv.bytes = send.bytes;
    other.done = t.done = true;
    break;
  }
  transfers.push_back(t);
  return Request{int(transfers.size()) - 1};
}

}  // namespace

int commRank(int /*comm*/) { return 0; }
int commSize(int /*comm*/) { return 1; }

void allToAllInt(int /*comm*/, const int* send, int* recv) { recv[0] = send[0]; }

Request sendBytes(int /*comm*/, const void* data, int bytes, int dest, int tag) {
  checkSelf(dest, "sendBytes");
  return post(Transfer{true, data, nullptr, bytes, tag});
}

Request recvBytes(int /*comm*/, void* data, int bytes, int source, int tag) {
  checkSelf(source, "recvBytes");
  return post(Transfer{false, nullptr, data, bytes, tag});
}

void waitAll(const std::vector<Request>& requests, std::vector<Status>& statuses) {
  statuses.assign(requests.size(), Status{});
  for (size_t k = 0; k < requests.size(); ++k) {
    CHECK(requests[k].id >= 0 && size_t(requests[k].id) < transfers.size()) << "waitAll: unknown request";
    const Transfer& t = transfers[size_t(requests[k].id)];
    // With one rank nobody else can post the other half: MPI would wait for ever.
    CHECK(t.done) << "waitAll: a " << (t.isSend ? "send" : "receive") << " with tag " << t.tag
                  << " has no matching " << (t.isSend ? "receive" : "send");
    statuses[k] = Status{0, t.tag, t.bytes};
  }
  for (const Request& r : requests) transfers[size_t(r.id)].waited = true;
  bool outstanding = false;
  for (const Transfer& t : transfers) outstanding = outstanding || !t.waited;
  if (!outstanding) transfers.clear();
}

void gatherInt(int /*comm*/, int mine, int* all, int root) {
  checkSelf(root, "gatherInt");
  all[0] = mine;
}

int scatterInt(int /*comm*/, const int* all, int root) {
  checkSelf(root, "scatterInt");
  return all[0];
}

void gatherBytes(int /*comm*/, const void* mine, int bytes, void* all, const int* counts, const int* offsets,
                 int root) {
  checkSelf(root, "gatherBytes");
  CHECK_EQ(bytes, counts[0]) << "gatherBytes: the root expects another size";
  copyBytes(static_cast<char*>(all) + offsets[0], mine, bytes);
}

void scatterBytes(int /*comm*/, const void* all, const int* counts, const int* offsets, void* mine, int bytes,
                  int root) {
  checkSelf(root, "scatterBytes");
  CHECK_EQ(bytes, counts[0]) << "scatterBytes: the root sends another size";
  copyBytes(mine, static_cast<const char*>(all) + offsets[0], bytes);
}

}  // namespace velmo::comu
