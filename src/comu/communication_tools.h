#pragma once

#include <vector>

#include "comu/Transport.h"

// Collective exchange patterns: every rank of the communicator enters them in the same order,
// from one thread. Sizes travel before payloads, so each receive lands in an exact buffer.
namespace velmo::comu {

// recv[r] becomes rank r's send[me], element arrays moved as raw bytes. With `sizesKnown`
// the caller has already sized recv and every recv[r]; otherwise the counts are exchanged
// first. The own slot is an element copy.
// Instantiated for DATA and int.
template <class T>
void sparse_send_recv(int comm, const std::vector<std::vector<T>>& send, std::vector<std::vector<T>>& recv,
                      bool sizesKnown);

// The same for objects packed through Stream. The own slot is never packed: recv[me] is a
// handle copy of send[me], so a matrix shares its storage. A source that sent nothing leaves
// its slot default. `ranks` is reserved for restricting the exchange to known neighbours.
// Instantiated for std::vector<TRDATA>, CSRMatrixT<Value, int> and MatrixT<AggregateData<int>, int>.
template <class T>
void sparse_send_recv_stream(int comm, const std::vector<T>& send, std::vector<T>& recv,
                             std::vector<int>* ranks);

// Each rank receives parts[me] of the root's `parts` (read on the root only), packed and
// unpacked, so `mine` is a copy on the host.
// Instantiated for CSRMatrixT<Value, int> and MatrixT<Value, int>.
template <class T>
void stlmpi_scatter_stream(int comm, const std::vector<T>& parts, T& mine, int root);

// The root receives every rank's `mine` in rank order; `parts` gets comm-size slots on every
// rank, default ones away from the root.
template <class T>
void stlmpi_gather_stream(int comm, const T& mine, std::vector<T>& parts, int root);

}  // namespace velmo::comu
