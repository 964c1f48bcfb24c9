#pragma once

#include "comu/Communicator.h"
#include "mat/COOMatrix.h"
#include "mat/Partitioner.h"

namespace velmo {

// The routing step of assembly, shared by the dense and the sparse distributed matrices:
// every row of `buffer` goes to its owner under `rowPartitioner`, by shared pointer, and
// `owned` receives this rank's rows under their local numbers, shaped by the partition and
// the buffer's columns. False, with `owned` untouched, when the partitioner has no parts.
//
// With one rank nothing leaves: this rank's part of the split is all that it receives. An
// exchange with other ranks would go here, and would have to merge rows of the same number
// that arrive from several senders.
template <class Value, class GlobalIndex, class LocalIndex>
bool routeOwnedRows(const COOMatrixT<Value, GlobalIndex, GlobalIndex>& buffer,
                    const PartitionerT<GlobalIndex, LocalIndex>& rowPartitioner, int comm,
                    COOMatrixT<Value, LocalIndex, GlobalIndex>& owned) {
  auto parts = buffer.splitRows(rowPartitioner);
  if (parts.empty()) return false;
  owned = parts[size_t(comu::commRank(comm))];
  return true;
}

}  // namespace velmo
