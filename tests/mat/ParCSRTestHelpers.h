#pragma once

#include <algorithm>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"

// Distributed matrices and vectors for the tests of the distributed sparse matrix, over the
// twelve supported (Value, GlobalIndex) pairs.
namespace velmo::test {

template <class V, class G>
struct ParTypes {
  using Value = V;
  using GlobalIndex = G;
  using Matrix = ParCSRMatrixT<V, G, int>;
  using Vector = ParMatrixT<V, G, int>;
};

using ParTypeList = ::testing::Types<ParTypes<int, int>, ParTypes<long, int>, ParTypes<float, int>,
                                     ParTypes<double, int>, ParTypes<Complex<float>, int>,
                                     ParTypes<Complex<double>, int>, ParTypes<int, long>, ParTypes<long, long>,
                                     ParTypes<float, long>, ParTypes<double, long>,
                                     ParTypes<Complex<float>, long>, ParTypes<Complex<double>, long>>;

// A host matrix of `cols` columns holding `values` row by row.
template <class V, class G>
ParMatrixT<V, G, int> parDense(G rows, G cols, const std::vector<V>& values) {
  ParMatrixT<V, G, int> m(rows, cols, kHost);
  std::copy(values.begin(), values.end(), m.getLocalMatrix().getData());
  return m;
}

template <class V, class G>
std::vector<V> localValues(const ParMatrixT<V, G, int>& m) {
  const MatrixT<V> local = m.getLocalMatrix();
  return {local.getData(), local.getData() + local.getSize()};
}

// The local block as a dense row-major array.
template <class V, class G>
std::vector<V> localDense(const ParCSRMatrixT<V, G, int>& A) {
  return toDense(A.getLocalMatrix(-1));
}

}  // namespace velmo::test
