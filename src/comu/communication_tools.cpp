#include "comu/communication_tools.h"

#include <glog/logging.h>

#include "comu/MatrixStream.h"
#include "comu/Stream.h"
#include "kernels/AggregateData.h"
#include "utils/Complex.h"

namespace velmo::comu {

namespace {

// Each pattern has its own tag, so that two patterns never match each other's messages.
constexpr int kTagArray = 11;
constexpr int kTagStream = 12;

void checkRoot(int comm, int root) {
  CHECK(root >= 0 && root < commSize(comm)) << "root " << root << " is not a rank of the communicator";
}

// A stream of exactly `bytes` bytes whose contents a transfer will provide.
void prepareReceive(Stream& stream, int bytes) {
  stream.setCapacity(bytes);
  stream.pushBack(nullptr, bytes);
}

}  // namespace

template <class T>
void sparse_send_recv(int comm, const std::vector<std::vector<T>>& send, std::vector<std::vector<T>>& recv,
                      bool sizesKnown) {
  const int size = commSize(comm), me = commRank(comm);
  if (!sizesKnown) {
    std::vector<int> sendCounts(size_t(size), 0), recvCounts(size_t(size), 0);
    for (int r = 0; r < size; ++r) sendCounts[size_t(r)] = int(send[size_t(r)].size());
    allToAllInt(comm, sendCounts.data(), recvCounts.data());
    recv.resize(size_t(size));
    for (int r = 0; r < size; ++r) recv[size_t(r)].resize(size_t(recvCounts[size_t(r)]));
  }
  std::vector<Request> requests;
  for (int r = 0; r < size; ++r) {
    if (r == me) continue;
    const std::vector<T>& out = send[size_t(r)];
    std::vector<T>& in = recv[size_t(r)];
    if (!out.empty()) requests.push_back(sendBytes(comm, out.data(), int(out.size() * sizeof(T)), r, kTagArray));
    if (!in.empty()) requests.push_back(recvBytes(comm, in.data(), int(in.size() * sizeof(T)), r, kTagArray));
  }
  recv[size_t(me)] = send[size_t(me)];
  std::vector<Status> statuses;
  waitAll(requests, statuses);
}

template <class T>
void sparse_send_recv_stream(int comm, const std::vector<T>& send, std::vector<T>& recv,
                             std::vector<int>* /*ranks*/) {
  const int size = commSize(comm), me = commRank(comm);
  std::vector<int> sendSizes(size_t(size), 0), recvSizes(size_t(size), 0);
  for (int r = 0; r < size; ++r)
    if (r != me) sendSizes[size_t(r)] = getStreamSize(send[size_t(r)]);
  allToAllInt(comm, sendSizes.data(), recvSizes.data());

  std::vector<Stream> sendStreams(static_cast<size_t>(size)), recvStreams(static_cast<size_t>(size));
  std::vector<Request> requests;
  for (int r = 0; r < size; ++r) {
    if (r == me) continue;
    if (const int bytes = sendSizes[size_t(r)]; bytes > 0) {
      sendStreams[size_t(r)].setCapacity(bytes);
      packStream(sendStreams[size_t(r)], send[size_t(r)]);
      requests.push_back(sendBytes(comm, sendStreams[size_t(r)].getBuffer(), bytes, r, kTagStream));
    }
    if (const int bytes = recvSizes[size_t(r)]; bytes > 0) {
      prepareReceive(recvStreams[size_t(r)], bytes);
      requests.push_back(recvBytes(comm, recvStreams[size_t(r)].getBuffer(), bytes, r, kTagStream));
    }
  }
  recv.assign(size_t(size), T{});
  recv[size_t(me)] = send[size_t(me)];
  std::vector<Status> statuses;
  waitAll(requests, statuses);
  for (int r = 0; r < size; ++r)
    if (recvSizes[size_t(r)] > 0) unpackStream(recvStreams[size_t(r)], recv[size_t(r)]);
}

template <class T>
void stlmpi_scatter_stream(int comm, const std::vector<T>& parts, T& mine, int root) {
  checkRoot(comm, root);
  const int size = commSize(comm);
  const bool isRoot = commRank(comm) == root;
  std::vector<int> sizes, offsets;
  Stream sendStream;
  if (isRoot) {
    sizes.resize(size_t(size));
    offsets.assign(size_t(size) + 1, 0);
    for (int r = 0; r < size; ++r) {
      sizes[size_t(r)] = getStreamSize(parts[size_t(r)]);
      offsets[size_t(r) + 1] = offsets[size_t(r)] + sizes[size_t(r)];
    }
    sendStream.setCapacity(offsets.back());
    for (const T& part : parts) packStream(sendStream, part);
  }
  const int bytes = scatterInt(comm, sizes.data(), root);
  Stream recvStream;
  prepareReceive(recvStream, bytes);
  scatterBytes(comm, sendStream.getBuffer(), sizes.data(), offsets.data(), recvStream.getBuffer(), bytes, root);
  unpackStream(recvStream, mine);
}

template <class T>
void stlmpi_gather_stream(int comm, const T& mine, std::vector<T>& parts, int root) {
  checkRoot(comm, root);
  const int size = commSize(comm);
  const bool isRoot = commRank(comm) == root;
  const int bytes = getStreamSize(mine);
  std::vector<int> sizes(isRoot ? size_t(size) : 0), offsets(isRoot ? size_t(size) + 1 : 0, 0);
  gatherInt(comm, bytes, sizes.data(), root);
  Stream sendStream, recvStream;
  sendStream.setCapacity(bytes);
  packStream(sendStream, mine);
  if (isRoot) {
    for (int r = 0; r < size; ++r) offsets[size_t(r) + 1] = offsets[size_t(r)] + sizes[size_t(r)];
    prepareReceive(recvStream, offsets.back());
  }
  gatherBytes(comm, sendStream.getBuffer(), bytes, recvStream.getBuffer(), sizes.data(), offsets.data(), root);
  parts.assign(size_t(size), T{});
  if (isRoot)
    for (T& part : parts) unpackStream(recvStream, part);
}

template void sparse_send_recv(int, const std::vector<std::vector<DATA>>&, std::vector<std::vector<DATA>>&, bool);
template void sparse_send_recv(int, const std::vector<std::vector<int>>&, std::vector<std::vector<int>>&, bool);

template void sparse_send_recv_stream(int, const std::vector<std::vector<TRDATA>>&,
                                      std::vector<std::vector<TRDATA>>&, std::vector<int>*);
template void sparse_send_recv_stream(int, const std::vector<MatrixT<AggregateData<int>, int>>&,
                                      std::vector<MatrixT<AggregateData<int>, int>>&, std::vector<int>*);

#define VELMO_PACKED_PATTERNS(Value)                                                                      \
  template void sparse_send_recv_stream(int, const std::vector<CSRMatrixT<Value, int>>&,                 \
                                        std::vector<CSRMatrixT<Value, int>>&, std::vector<int>*);        \
  template void stlmpi_scatter_stream(int, const std::vector<CSRMatrixT<Value, int>>&,                   \
                                      CSRMatrixT<Value, int>&, int);                                     \
  template void stlmpi_gather_stream(int, const CSRMatrixT<Value, int>&, std::vector<CSRMatrixT<Value, int>>&, \
                                     int);                                                               \
  template void stlmpi_scatter_stream(int, const std::vector<MatrixT<Value, int>>&, MatrixT<Value, int>&, int); \
  template void stlmpi_gather_stream(int, const MatrixT<Value, int>&, std::vector<MatrixT<Value, int>>&, int)

VELMO_PACKED_PATTERNS(int);
VELMO_PACKED_PATTERNS(long);
VELMO_PACKED_PATTERNS(float);
VELMO_PACKED_PATTERNS(double);
VELMO_PACKED_PATTERNS(Complex<float>);
VELMO_PACKED_PATTERNS(Complex<double>);

#undef VELMO_PACKED_PATTERNS

}  // namespace velmo::comu
