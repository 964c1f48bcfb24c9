#pragma once

#include <vector>

// The message primitives every exchange pattern and distributed class reaches other ranks
// through, with MPI semantics over an int communicator handle. The build links exactly one
// implementation (comu/transport/): the one-rank transport, where the caller is rank 0 of 1
// and every primitive is a local copy. A transport over MPI is another file of the same
// functions, chosen by VELMO_TRANSPORT.
namespace velmo::comu {

// MPI_COMM_WORLD and MPI_COMM_SELF of MPICH; the defaults of the distributed classes.
constexpr int kCommWorld = 0x44000000;
constexpr int kCommSelf = 0x44000001;

// What a completed transfer reports. The seam's own record, so no caller needs an MPI header.
struct Status {
  int source = -1;
  int tag = -1;
  int bytes = 0;
};

// A posted transfer, completed by waitAll.
struct Request {
  int id = -1;
};

int commRank(int comm);
int commSize(int comm);

// recv[r] = rank r's send[me]; both arrays hold commSize ints.
void allToAllInt(int comm, const int* send, int* recv);

// Non-blocking byte transfers; the buffers must stay untouched until waitAll returns.
Request sendBytes(int comm, const void* data, int bytes, int dest, int tag);
Request recvBytes(int comm, void* data, int bytes, int source, int tag);
// Completes every request; statuses[k] describes requests[k] (sends report their own size).
void waitAll(const std::vector<Request>& requests, std::vector<Status>& statuses);

// One int per rank to or from `root`: all[r] is rank r's value, read or written on the root only.
void gatherInt(int comm, int mine, int* all, int root);
int scatterInt(int comm, const int* all, int root);

// Variable-count byte runs to or from `root`: rank r's run is counts[r] bytes at all + offsets[r],
// read or written on the root only.
void gatherBytes(int comm, const void* mine, int bytes, void* all, const int* counts, const int* offsets, int root);
void scatterBytes(int comm, const void* all, const int* counts, const int* offsets, void* mine, int bytes,
                  int root);

}  // namespace velmo::comu
