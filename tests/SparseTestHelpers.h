#pragma once

#include <algorithm>
#include <functional>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "TestHelpers.h"
#include "kernels/RawMat.h"
#include "mat/CSRMatrix.h"
#include "mat/ParCSRMatrix.h"

// Compressed rows held in host vectors: written by hand, generated, read back from a
// CSRMatrixT, and viewed as the raw records the kernels take. Generated values are small
// integers (also in the floating and complex types), so sums and products compare exactly.
namespace velmo::test {

template <class V, class I = int>
struct HostCsr {
  I rows = 0;
  I cols = 0;
  std::vector<I> ptr{0};
  std::vector<I> col;
  std::vector<V> val;

  // Zero offsets, with room for `nnz` entries.
  HostCsr(I r, I c, size_t nnz = 0) : rows(r), cols(c), ptr(size_t(r) + 1, 0), col(nnz), val(nnz) {}
  // Rows given as (column, value) lists, in storage order.
  HostCsr(I r, I c, const std::vector<std::vector<std::pair<I, V>>>& entries) : rows(r), cols(c) {
    for (const auto& row : entries) {
      for (const auto& [j, v] : row) {
        col.push_back(j);
        val.push_back(v);
      }
      ptr.push_back(I(col.size()));
    }
  }
  // The arrays as they are, consistent or not.
  HostCsr(I r, I c, std::vector<I> p, std::vector<I> ci, std::vector<V> v)
      : rows(r), cols(c), ptr(std::move(p)), col(std::move(ci)), val(std::move(v)) {}

  I nnzs() const { return ptr.back(); }
  auto arrays() const { return std::tie(ptr, col, val); }
  std::vector<I> rowCols(I i) const { return {col.begin() + ptr[i], col.begin() + ptr[i + 1]}; }
  COT_CSRRawMat<V, I> raw() {
    return {rows, cols, nnzs(), 0, ptr.data(), ptr.data() + 1, col.empty() ? nullptr : col.data(),
            val.empty() ? nullptr : val.data()};
  }
  // A structure-only output view: row_ptr sized, arrays null.
  COT_CSRRawMat<V, I> symbolicRaw() { return {rows, cols, 0, 0, ptr.data(), ptr.data() + 1, nullptr, nullptr}; }
  void allocate() {
    col.assign(size_t(nnzs()), I(-1));
    val.assign(size_t(nnzs()), V(0));
  }

  // Row-major dense form; repeated columns add up, as they do in every product.
  std::vector<V> dense() const {
    std::vector<V> d(size_t(rows) * size_t(std::max<I>(cols, 0)), V(0));
    for (I i = 0; i < rows; ++i) {
      for (I k = ptr[i]; k < ptr[i + 1]; ++k) d[size_t(i) * cols + col[k]] += val[k];
    }
    return d;
  }
  // Strictly ascending columns in every row.
  bool rowsSorted() const {
    for (I i = 0; i < rows; ++i) {
      auto end = col.begin() + ptr[i + 1];
      if (std::adjacent_find(col.begin() + ptr[i], end, std::greater_equal<I>()) != end) return false;
    }
    return true;
  }
};

// A matrix holding the arrays of `h`, with `h.col.size()` entries.
template <class V>
CSRMatrixT<V, int> makeCsr(const HostCsr<V, int>& h, const Device& device = kHost) {
  CSRMatrixT<V, int> m;
  m.create(h.rows, h.cols, int(h.col.size()), kHost);
  std::copy(h.ptr.begin(), h.ptr.end(), m.getRowPtr());
  std::copy(h.col.begin(), h.col.end(), m.getColIdx());
  std::copy(h.val.begin(), h.val.end(), m.getValues());
  return device == kHost ? m : m.toDevice(device);
}

// The arrays of a matrix on any device.
template <class V>
HostCsr<V, int> hostOf(const CSRMatrixT<V, int>& matrix) {
  HostCsr<V, int> h(matrix.getRows(), matrix.getCols());
  if (matrix.getRowPtr() == nullptr) return h;
  const CSRMatrixT<V, int> m = matrix.getDevice() == kHost ? matrix : matrix.toDevice(kHost);
  h.ptr.assign(m.getRowPtr(), m.getRowPtr() + m.getRows() + 1);
  h.col.assign(m.getColIdx(), m.getColIdx() + m.getNnzs());
  h.val.assign(m.getValues(), m.getValues() + m.getNnzs());
  return h;
}

template <class V>
std::vector<V> toDense(const CSRMatrixT<V, int>& m) {
  return hostOf(m).dense();
}

// Runs a two-pass builder as its callers do: on the structure alone, then on arrays sized from it.
template <class V, class I, class Build>
HostCsr<V, I> buildCsr(I rows, I cols, Build build) {
  HostCsr<V, I> out(rows, cols);
  build(out.symbolicRaw());
  out.allocate();
  build(out.raw());
  return out;
}

// Random pattern with unsorted rows and no repeats; values are small non-zero integers, with
// an imaginary part for complex types. Rows are left empty with probability `emptyRow`.
template <class V, class I = int>
HostCsr<V, I> randomCsr(I rows, I cols, double density, unsigned seed, double emptyRow = 0.1) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0, 1);
  std::uniform_int_distribution<int> small(-4, 4);
  HostCsr<V, I> m(rows, cols);
  m.ptr = {0};
  for (I i = 0; i < rows; ++i) {
    std::vector<I> picked;
    const bool empty = u(gen) < emptyRow;
    for (I j = 0; j < cols && !empty; ++j) {
      if (u(gen) < density) picked.push_back(j);
    }
    std::shuffle(picked.begin(), picked.end(), gen);
    for (I j : picked) {
      int re = small(gen);
      m.col.push_back(j);
      m.val.push_back(make<V>(re == 0 ? 1 : re, small(gen)));
    }
    m.ptr.push_back(I(m.col.size()));
  }
  return m;
}

template <class V>
std::vector<V> denseProduct(int rows, int inner, int cols, const std::vector<V>& a, const std::vector<V>& b) {
  std::vector<V> c(size_t(rows) * cols, V(0));
  for (int i = 0; i < rows; ++i)
    for (int k = 0; k < inner; ++k)
      for (int j = 0; j < cols; ++j) c[size_t(i) * cols + j] += a[size_t(i) * inner + k] * b[size_t(k) * cols + j];
  return c;
}

template <class V, class I>
COT_MergeCSRRawMat<V, I> mergeView(const COT_CSRRawMat<V, I>& r, long rowOffset, long colOffset) {
  return {r.rows, r.cols, r.nnzs, 0, r.row_ptr, r.row_end, r.col_idx, r.values, I(rowOffset), I(colOffset)};
}

template <class V, class I>
COT_SpMVCSRRawMat<V, I> spmvView(const COT_CSRRawMat<V, I>& r, long rowOffset, long colOffset, long rank,
                                 V* x = nullptr) {
  return {r.rows, r.cols, r.nnzs, 0, r.row_ptr, r.row_end, r.col_idx, r.values, I(rowOffset), I(colOffset),
          I(rank), x, nullptr};
}

// One part of rows holding the dense row-major `d`, its columns cut into `colParts` parts.
template <class V, class G>
ParCSRMatrixT<V, G, int> parOf(const std::vector<V>& d, int rows, int cols, int colParts) {
  std::vector<std::vector<std::pair<int, V>>> entries(static_cast<size_t>(rows));
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j)
      if (d[size_t(i) * cols + j] != V(0)) entries[size_t(i)].push_back({j, d[size_t(i) * cols + j]});
  std::vector<CSRMatrixT<V, int>> blocks;
  makeCsr(HostCsr<V>(rows, cols, entries)).splitCols(partsOf<G>(cols, colParts), blocks);
  ParCSRMatrixT<V, G, int> m;
  m.create(partsOf<G>(rows, 1), partsOf<G>(cols, colParts), blocks, kHost);
  return m;
}

// This rank's rows over all columns; empty when the matrix holds no entry.
template <class V, class G>
std::vector<V> localDense(const ParCSRMatrixT<V, G, int>& m) {
  std::vector<CSRMatrixT<V, int>> blocks;
  for (int p = 0; p < m.getColPartitioner().getNumParts(); ++p) blocks.push_back(m.getLocalMatrix(p));
  return toDense(CSRMatrixT<V, int>::mergeCols(m.getColPartitioner(), blocks));
}

}  // namespace velmo::test
