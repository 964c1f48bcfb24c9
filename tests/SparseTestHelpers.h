#pragma once

#include <algorithm>
#include <vector>

#include "TestHelpers.h"
#include "mat/CSRMatrix.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

// Small matrices written out by hand, their arrays read back, and dense references to check
// them against.
namespace velmo::test {

// A dense matrix holding `values` row by row.
template <class V>
MatrixT<V> denseOf(const std::vector<V>& values, int rows, int cols = 1, const Device& device = kHost) {
  MatrixT<V> m(rows, cols, kHost);
  std::copy(values.begin(), values.end(), m.getData());
  return m.toDevice(device);
}

// The elements of a dense matrix on any device, in storage order.
template <class V>
std::vector<V> contents(const MatrixT<V>& m) {
  const MatrixT<V> h = m.toDevice(kHost);
  return {h.getData(), h.getData() + h.getSize()};
}

template <class V>
void expectAllNear(const std::vector<V>& expected, const std::vector<V>& actual, double scale = 16) {
  ASSERT_EQ(expected.size(), actual.size());
  for (size_t k = 0; k < expected.size(); ++k) expectNear(expected[k], actual[k], scale);
}

template <class V>
CSRMatrixT<V, int> makeCsr(int rows, int cols, const std::vector<int>& row_ptr, const std::vector<int>& col_idx,
                           const std::vector<V>& values, const Device& device = kHost) {
  CSRMatrixT<V, int> m;
  m.create(rows, cols, int(col_idx.size()), kHost);
  std::copy(row_ptr.begin(), row_ptr.end(), m.getRowPtr());
  std::copy(col_idx.begin(), col_idx.end(), m.getColIdx());
  std::copy(values.begin(), values.end(), m.getValues());
  return device == kHost ? m : m.toDevice(device);
}

// The three arrays of a host matrix, for tests that pin the exact order of entries.
template <class V>
std::vector<int> rowPtrOf(const CSRMatrixT<V, int>& m) {
  return {m.getRowPtr(), m.getRowPtr() + m.getRows() + 1};
}
template <class V>
std::vector<int> colIdxOf(const CSRMatrixT<V, int>& m) {
  return {m.getColIdx(), m.getColIdx() + m.getNnzs()};
}
template <class V>
std::vector<V> valuesOf(const CSRMatrixT<V, int>& m) {
  return {m.getValues(), m.getValues() + m.getNnzs()};
}

// Row-major; repeated entries add up, as they do in every product.
template <class V>
std::vector<V> toDense(const CSRMatrixT<V, int>& matrix) {
  std::vector<V> dense(size_t(matrix.getRows()) * size_t(std::max(matrix.getCols(), 0)), V(0));
  if (matrix.getNnzs() == 0) return dense;
  CSRMatrixT<V, int> m = matrix.getDevice() == kHost ? matrix : matrix.toDevice(kHost);
  for (int i = 0; i < m.getRows(); ++i) {
    for (int k = m.getRowPtr()[i]; k < m.getRowPtr()[i + 1]; ++k) {
      dense[size_t(i) * m.getCols() + m.getColIdx()[k]] += m.getValues()[k];
    }
  }
  return dense;
}

// The non-zeros of a row-major array, rows in ascending column order.
template <class V>
CSRMatrixT<V, int> fromDense(int rows, int cols, const std::vector<V>& dense) {
  std::vector<int> row_ptr{0}, col_idx;
  std::vector<V> values;
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < cols; ++j) {
      const V& v = dense[size_t(i) * cols + j];
      if (v == V(0)) continue;
      col_idx.push_back(j);
      values.push_back(v);
    }
    row_ptr.push_back(int(col_idx.size()));
  }
  return makeCsr(rows, cols, row_ptr, col_idx, values);
}

template <class V>
std::vector<V> denseProduct(int rows, int inner, int cols, const std::vector<V>& a, const std::vector<V>& b) {
  std::vector<V> c(size_t(rows) * cols, V(0));
  for (int i = 0; i < rows; ++i)
    for (int k = 0; k < inner; ++k)
      for (int j = 0; j < cols; ++j) c[size_t(i) * cols + j] += a[size_t(i) * inner + k] * b[size_t(k) * cols + j];
  return c;
}

// A pseudo-random pattern with about one entry in three, and an empty row when rows > 2.
template <class V>
std::vector<V> sampleDense(int rows, int cols, int seed) {
  std::vector<V> dense(size_t(rows) * cols, V(0));
  for (int i = 0; i < rows; ++i) {
    if (rows > 2 && i == rows / 2) continue;
    for (int j = 0; j < cols; ++j) {
      const int h = (i * 7 + j * 13 + seed * 5) % 11;
      if (h < 4) dense[size_t(i) * cols + j] = make<V>(h + 1 - 2 * (j % 2), (i + j) % 3 - 1);
    }
  }
  return dense;
}

}  // namespace velmo::test
