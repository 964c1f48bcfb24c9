#include <cmath>
#include <limits>
#include <vector>

#include "SparseTestHelpers.h"
#include "kernels/SpBlasOps.h"

namespace sp_blas_structure_test {

using namespace velmo;
using namespace velmo::test;

template <class P>
class SpBlasStructure : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasStructure, AllTypes);

TYPED_TEST(SpBlasStructure, ProductsAndDenseCopy) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto A = randomCsr<V, I>(13, 9, 0.4, 7);
  const auto d = A.dense();
  const auto x = sample<V>(18, 1);   // two vectors, leading dimension 9
  const auto y0 = sample<V>(30, 2);  // two vectors, leading dimension 15
  const V alpha = make<V>(2, -1), beta = make<V>(-3, 1);
  auto ym = y0;
  Ops::aAxpby_multi(kHost, alpha, 13, 9, A.ptr.data(), A.col.data(), A.val.data(), 2, 9, x.data(), beta, 15, ym.data());
  for (int k = 0; k < 30; ++k) {
    const int v = k / 15, i = k % 15;
    V s = V(0);
    for (int j = 0; i < 13 && j < 9; ++j) s += d[i * 9 + j] * x[v * 9 + j];
    const V expected = i < 13 ? y0[k] * beta + s * alpha : y0[k];  // rows past A's stay
    EXPECT_EQ(ym[k], expected) << "vector " << v << " row " << i;
  }

  // A repeated column keeps the later value, and every other position is cleared.
  HostCsr<V, I> R(2, 3, {{{2, make<V>(1)}, {0, make<V>(4)}, {2, make<V>(7)}}, {}});
  std::vector<V> dense(6, make<V>(9));
  Ops::csr2dense(kHost, 2, 3, R.ptr.data(), R.col.data(), R.val.data(), dense.data());
  EXPECT_EQ(dense, (std::vector<V>{make<V>(4), V(0), make<V>(7), V(0), V(0), V(0)}));
}

// beta == 0 selects bodies that never read the old values, so a NaN there does not spread.
TEST(SpBlasStructure, ZeroBetaIgnoresNaN) {
  using Ops = SpBlasOps<double, int>;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // Row 1 is empty and gets alpha * 0.
  HostCsr<double, int> A(3, 2, {{{0, 2.0}, {1, 1.0}}, {}, {{1, -1.0}}});
  std::vector<double> x{3, 4}, y;
  for (double beta : {0.0, 1e-300}) {
    y.assign(3, nan);
    Ops::aAxpby(kHost, 2.0, 3, 2, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(), beta,
                y.data(), y.data());
    EXPECT_EQ(std::isnan(y[0]), beta != 0.0);
    if (beta == 0.0) EXPECT_EQ(y, (std::vector<double>{20, 0, -8}));
  }
  HostCsr<double, int> D(1, 1, {{{0, nan}}});
  auto out = buildCsr<double, int>(1, 1, [&](COT_CSRRawMat<double, int> o) {
    Ops::csr_axpby_diag(kHost, 3.0, x.data(), 0.0, y.data(), mergeView(D.raw(), 0, 0), mergeView(o, 0, 0));
  });
  EXPECT_EQ(out.val, std::vector<double>{9.0});
}

TYPED_TEST(SpBlasStructure, DiagonalReadAndReplaced) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  // Block of rows 10..12 and columns 8..12: row i's diagonal is local column i + 2. The first
  // match counts, and a row without one keeps its old value.
  HostCsr<V, I> B(3, 5, {{{2, make<V>(5)}, {2, make<V>(6)}}, {{0, make<V>(1)}}, {{4, make<V>(3, 1)}}});
  std::vector<V> diag(3, make<V>(-1));
  Ops::csr_diag(kHost, 3, 5, B.ptr.data(), B.col.data(), B.val.data(), diag.data(), 10, 8);
  EXPECT_EQ(diag, (std::vector<V>{make<V>(5), make<V>(-1), make<V>(3, 1)}));

  // Rows 4..7 of the global matrix, columns 3..6 of it. Row 3 (global 7) has its diagonal
  // outside the block; row 1 (global 5) has none stored.
  HostCsr<V, I> A(
      4, 4,
      {{{1, make<V>(2)}, {0, make<V>(3)}}, {{0, make<V>(4)}}, {{3, make<V>(5)}, {0, make<V>(6)}}, {{1, make<V>(7)}}});
  const std::vector<V> x{make<V>(1), make<V>(2), make<V>(3), make<V>(4)};
  const std::vector<V> y{make<V>(-1), make<V>(5), make<V>(2, 1), make<V>(6)};
  const V alpha = make<V>(2), beta = make<V>(3);
  auto replace = [&](const V* xs, const V* ys) {
    return buildCsr<V, I>(4, 4, [&](COT_CSRRawMat<V, I> o) {
      Ops::csr_axpby_diag(kHost, alpha, xs, beta, ys, mergeView(A.raw(), 4, 3), mergeView(o, 0, 0));
    });
  };
  auto out = replace(x.data(), y.data());
  EXPECT_EQ(out.ptr, (std::vector<I>{0, 2, 4, 6, 7}));
  // The appended diagonal goes at the row's end, with the local row number as its column.
  EXPECT_EQ(out.col, (std::vector<I>{1, 0, 0, 1, 3, 0, 1}));
  EXPECT_EQ(out.val, (std::vector<V>{alpha * x[0] + beta * y[0] * make<V>(2), make<V>(3), make<V>(4), x[1] * alpha,
                                     alpha * x[2] + beta * y[2] * make<V>(5), make<V>(6), make<V>(7)}));
  // Null x reads 0 and null y reads 1.
  out = replace(nullptr, nullptr);
  EXPECT_EQ(out.val[0], beta * make<V>(2));
  EXPECT_EQ(out.val[3], V(0));
}

TYPED_TEST(SpBlasStructure, AppendMergeAndSelect) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  using Raw = COT_CSRRawMat<V, I>;
  HostCsr<V, I> A(4, 3, {{{0, make<V>(1)}}, {{2, make<V>(2)}, {0, make<V>(3)}}, {}, {{1, make<V>(4)}}});
  auto expectCsr = [](const HostCsr<V, I>& m, std::vector<I> ptr, std::vector<I> col, std::vector<int> val) {
    std::vector<V> values;
    for (int v : val) values.push_back(make<V>(v));
    EXPECT_EQ(std::tie(m.ptr, m.col, m.val), std::tie(ptr, col, values));
  };

  // A twice, with a block of two rows and no storage between: it only repeats the offset.
  HostCsr<V, I> out(10, 3, size_t(2 * A.nnzs()));
  Ops::csr_append_rows(kHost, out.raw(), 0, 0, A.raw());
  Ops::csr_append_rows(kHost, out.raw(), 4, A.nnzs(), Raw{2, 3, 0, 0, nullptr, nullptr, nullptr, nullptr});
  Ops::csr_append_rows(kHost, out.raw(), 6, A.nnzs(), A.raw());
  expectCsr(out, {0, 1, 3, 3, 4, 4, 4, 5, 7, 7, 8}, {0, 2, 0, 1, 0, 2, 0, 1}, {1, 2, 3, 4, 1, 2, 3, 4});

  // csr_merge_rows places rows at the block's own numbers, right for a single block.
  std::vector<COT_MergeCSRRawMat<V, I>> one{mergeView(A.raw(), 0, 2)};
  expectCsr(buildCsr<V, I>(4, 5, [&](Raw o) { Ops::csr_merge_rows(kHost, 1, one.data(), o); }), {0, 1, 3, 3, 4},
            {2, 4, 2, 3}, {1, 2, 3, 4});
  // Side by side, each row takes the blocks in list order, each run in its storage order.
  std::vector<COT_MergeCSRRawMat<V, I>> blocks{mergeView(A.raw(), 0, 3), mergeView(A.raw(), 0, 0)};
  expectCsr(buildCsr<V, I>(4, 6, [&](Raw o) { Ops::csr_merge_cols(kHost, 2, blocks.data(), o); }), {0, 2, 6, 6, 8},
            {3, 0, 5, 3, 2, 0, 4, 1}, {1, 1, 2, 3, 2, 3, 4, 4});

  // Row 3 selected twice: packed it comes twice, kept in place it is counted once.
  std::vector<I> rows{3, 1, 3};
  auto selectRows = [&](I outRows, bool keep) {
    return buildCsr<V, I>(outRows, 3, [&](Raw o) { Ops::get_selected_rows(kHost, A.raw(), 3, rows.data(), o, keep); });
  };
  expectCsr(selectRows(3, false), {0, 1, 3, 4}, {1, 2, 0, 1}, {4, 2, 3, 4});
  expectCsr(selectRows(4, true), {0, 0, 2, 2, 3}, {2, 0, 1}, {2, 3, 4});
  // Kept columns are renumbered c + shift. Membership is decided by bisection, so out of order
  // the search over {2, 0, 1} misses column 2.
  auto selectCols = [&](std::vector<I> cols, I shift) {
    return buildCsr<V, I>(4, I(cols.size()), [&](Raw o) {
      Ops::get_selected_cols(kHost, A.raw(), I(cols.size()), cols.data(), o, shift);
    });
  };
  expectCsr(selectCols({0, 2}, 1), {0, 1, 3, 3, 3}, {1, 3, 1}, {1, 2, 3});
  expectCsr(selectCols({2, 0, 1}, 0), {0, 1, 2, 2, 3}, {0, 0, 1}, {1, 3, 4});
}

TYPED_TEST(SpBlasStructure, ElementAccessAndCounts) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  HostCsr<V, I> A(3, 4, {{{3, make<V>(1)}, {1, make<V>(2)}, {3, make<V>(8)}}, {}, {{1, make<V>(4, 2)}}});
  // The first of a repeated column is read and written; a missing entry is never inserted.
  V value = make<V>(9);
  int found = -1;
  Ops::get_element_value(kHost, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 0, 3, &value, &found);
  EXPECT_EQ(std::make_pair(found, value), std::make_pair(1, make<V>(1)));
  Ops::set_element_value(kHost, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 0, 3, make<V>(-6), &found);
  Ops::set_element_value(kHost, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 2, 0, make<V>(5), &found);
  EXPECT_EQ(A.val, (std::vector<V>{make<V>(-6), make<V>(2), make<V>(8), make<V>(4, 2)}));

  std::vector<I> rowCount(2, -1), colCount(4, -1);
  Ops::get_row_element_count(kHost, A.raw(), 2, rowCount.data());
  EXPECT_EQ(rowCount, (std::vector<I>{3, 0}));
  Ops::get_col_element_count(kHost, A.raw(), 4, colCount.data());
  EXPECT_EQ(colCount, (std::vector<I>{0, 2, 0, 2}));
}

}  // namespace sp_blas_structure_test
