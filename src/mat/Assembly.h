#pragma once

#include <cstddef>

#include "comu/Transport.h"
#include "mat/COOMatrix.h"
#include "mat/Partitioner.h"

namespace velmo {

// The assembly sequence of the dense and the sparse distributed matrices: both shape the
// buffer and route its rows here, and differ only in what they make of their own rows.

// `buffer` made afresh for setValue: this rank's rows by all global columns.
template <class Value, class GlobalIndex, class LocalIndex>
void beginAssembly(COOMatrixT<Value, GlobalIndex, GlobalIndex>& buffer,
                   const PartitionerT<GlobalIndex, LocalIndex>& rowPartitioner, GlobalIndex cols, int comm) {
  buffer.create(rowPartitioner.getPartSize(comu::commRank(comm)), cols);
}

// Every row of `buffer` goes to its owner under `rowPartitioner`, by shared pointer, and
// `convert` receives this rank's rows under their local numbers, shaped by the partition and
// the buffer's columns. Nothing is converted when the partitioner has no parts.
//
// With one rank nothing leaves: this rank's part of the split is all that it receives. An
// exchange with other ranks would go here, and would have to merge rows of the same number
// that arrive from several senders.
template <class Value, class GlobalIndex, class LocalIndex, class Convert>
void endAssembly(const COOMatrixT<Value, GlobalIndex, GlobalIndex>& buffer,
                 const PartitionerT<GlobalIndex, LocalIndex>& rowPartitioner, int comm, Convert&& convert) {
  auto parts = buffer.splitRows(rowPartitioner);
  if (parts.empty()) return;
  convert(parts[std::size_t(comu::commRank(comm))]);
}

}  // namespace velmo
