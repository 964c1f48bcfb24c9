#pragma once

#include <algorithm>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"

// Distributed matrices and vectors for the tests of the distributed sparse matrix.
namespace velmo::test {

template <class V, class G>
struct ParTypes {
  using Value = V;
  using GlobalIndex = G;
  using Matrix = ParCSRMatrixT<V, G, int>;
  using Vector = ParMatrixT<V, G, int>;
};

// An integer, a real and a complex value, over both global index widths.
using ParTypeList = ::testing::Types<ParTypes<int, long>, ParTypes<double, int>, ParTypes<Complex<float>, long>>;

// A host matrix of `cols` columns holding `values` row by row.
template <class V, class G>
ParMatrixT<V, G, int> parDense(G rows, G cols, const std::vector<V>& values, int comm = comu::kCommSelf) {
  ParMatrixT<V, G, int> m(rows, cols, kHost, comm);
  std::copy(values.begin(), values.end(), m.getLocalMatrix().getData());
  return m;
}

template <class G>
PartitionerT<G, int> partsOf(G globalSize, int parts) {
  PartitionerT<G, int> p;
  p.createForParts(globalSize, parts);
  return p;
}

}  // namespace velmo::test
