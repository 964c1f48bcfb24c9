#pragma once

#include <algorithm>
#include <random>
#include <vector>

#include "TestHelpers.h"
#include "kernels/RawMat.h"
#include "kernels/SpBlasOps.h"

// Small host-side CSR matrices and dense references for the SpBlasOps tests. Values are small
// integers (also in floating and complex types), so sums and products are exact and results
// compare with EXPECT_EQ.
namespace velmo::test {

template <class V>
V scalar(double re, double im = 0) {
  if constexpr (is_complex_v<V>) {
    return V(RealOf<V>(re), RealOf<V>(im));
  } else {
    return V(re);
  }
}

// The other two view records over the same arrays.
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

template <class V, class I>
struct HostCsr {
  I rows = 0;
  I cols = 0;
  std::vector<I> ptr{0};
  std::vector<I> col;
  std::vector<V> val;

  HostCsr() = default;
  HostCsr(I r, I c) : rows(r), cols(c), ptr(size_t(r) + 1, 0) {}
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

  I nnzs() const { return ptr.back(); }
  std::vector<I> rowCols(I i) const { return {col.begin() + ptr[i], col.begin() + ptr[i + 1]}; }

  COT_CSRRawMat<V, I> raw() {
    return {rows, cols, nnzs(), 0, ptr.data(), ptr.data() + 1, col.empty() ? nullptr : col.data(),
            val.empty() ? nullptr : val.data()};
  }
  // A structure-only output view: row_ptr sized, arrays null.
  COT_CSRRawMat<V, I> symbolicRaw() { return {rows, cols, 0, 0, ptr.data(), ptr.data() + 1, nullptr, nullptr}; }
  // Sizes the arrays from row_ptr after a symbolic pass.
  void allocate() {
    col.assign(size_t(nnzs()), I(-1));
    val.assign(size_t(nnzs()), V(0));
  }
  COT_MergeCSRRawMat<V, I> mergeRaw(I rowOffset, I colOffset) { return mergeView(raw(), rowOffset, colOffset); }
  COT_SpMVCSRRawMat<V, I> spmvRaw(I rowOffset, I colOffset, I rank, V* x) {
    return spmvView(raw(), rowOffset, colOffset, rank, x);
  }

  // Row-major dense form; repeated columns add up.
  std::vector<V> dense() const {
    std::vector<V> d(size_t(rows) * cols, V(0));
    for (I i = 0; i < rows; ++i) {
      for (I k = ptr[i]; k < ptr[i + 1]; ++k) d[size_t(i) * cols + col[k]] += val[k];
    }
    return d;
  }
  bool rowsSorted() const {
    for (I i = 0; i < rows; ++i) {
      for (I k = ptr[i] + 1; k < ptr[i + 1]; ++k) {
        if (col[k - 1] >= col[k]) return false;
      }
    }
    return true;
  }
};

// Random pattern with unsorted rows and no repeats; values are small non-zero integers, with
// an imaginary part for complex types. Rows are left empty with probability `emptyRow`.
template <class V, class I>
HostCsr<V, I> randomCsr(I rows, I cols, double density, unsigned seed, double emptyRow = 0.1) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0, 1);
  std::uniform_int_distribution<int> small(-4, 4);
  HostCsr<V, I> m;
  m.rows = rows;
  m.cols = cols;
  for (I i = 0; i < rows; ++i) {
    std::vector<I> picked;
    if (u(gen) >= emptyRow) {
      for (I j = 0; j < cols; ++j) {
        if (u(gen) < density) picked.push_back(j);
      }
    }
    std::shuffle(picked.begin(), picked.end(), gen);
    for (I j : picked) {
      int re = small(gen);
      m.col.push_back(j);
      m.val.push_back(scalar<V>(re == 0 ? 1 : re, small(gen)));
    }
    m.ptr.push_back(I(m.col.size()));
  }
  return m;
}

template <class V>
std::vector<V> randomVector(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> small(-5, 5);
  std::vector<V> x(n);
  for (auto& v : x) v = scalar<V>(small(gen), small(gen));
  return x;
}

template <class V>
std::vector<V> denseMatmul(const std::vector<V>& a, const std::vector<V>& b, size_t n, size_t k, size_t m) {
  std::vector<V> c(n * m, V(0));
  for (size_t i = 0; i < n; ++i) {
    for (size_t l = 0; l < k; ++l) {
      for (size_t j = 0; j < m; ++j) c[i * m + j] += a[i * k + l] * b[l * m + j];
    }
  }
  return c;
}

// Typed suites run over every value type, each paired with one of the two index types.
template <class V, class I>
struct Types {
  using Value = V;
  using Index = I;
};
using SpValueIndexTypes =
    ::testing::Types<Types<float, int>, Types<double, long>, Types<int, long>, Types<long, int>,
                     Types<Complex<float>, long>, Types<Complex<double>, int>>;

}  // namespace velmo::test
