#pragma once

#include <amgcl/backend/builtin.hpp>

#include <algorithm>
#include <vector>

#include "mat/CSRMatrix.h"
#include "mat/Matrix.h"

// Conversions between AMGCL's matrices and vectors and velmo's host containers; the bridge
// alone includes this header.
namespace velmo {

// An AMGCL matrix as a host CSRMatrixT, indices narrowed to int.
template <class T, class U>
CSRMatrixT<T, int> amgcl2velmo(const amgcl::backend::crs<U, long, long>& M) {
  CSRMatrixT<T, int> out;
  out.create(int(M.nrows), int(M.ncols), int(M.nnz), Device(0, 0));
  std::transform(M.ptr, M.ptr + M.nrows + 1, out.getRowPtr(), [](long p) { return int(p); });
  std::transform(M.col, M.col + M.nnz, out.getColIdx(), [](long c) { return int(c); });
  std::transform(M.val, M.val + M.nnz, out.getValues(), [](const U& v) { return T(v); });
  return out;
}

// A vector as an n by 1 host matrix, element by element.
template <class T, class U>
MatrixT<T, int, MatrixLayoutRowMajor> vec2mat(const std::vector<U>& v) {
  MatrixT<T, int, MatrixLayoutRowMajor> out(int(v.size()), 1, Device(0, 0));
  std::transform(v.begin(), v.end(), out.getData(), [](const U& x) { return T(x); });
  return out;
}

}  // namespace velmo
