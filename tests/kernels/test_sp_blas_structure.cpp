#include <cmath>
#include <limits>
#include <vector>

#include "SpBlasTestUtils.h"

namespace {

using namespace velmo;
using test::HostCsr;
using test::scalar;

const Device host(0, 0);

template <class P>
class SpBlasStructure : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasStructure, test::SpValueIndexTypes);

TYPED_TEST(SpBlasStructure, AAxpbyMatchesDenseProduct) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto A = test::randomCsr<V, I>(13, 9, 0.4, 7);
  auto d = A.dense();
  auto x = test::randomVector<V>(18, 1);  // two vectors, leading dimension 9
  auto y0 = test::randomVector<V>(30, 2);  // two vectors, leading dimension 15
  V alpha = scalar<V>(2, -1), beta = scalar<V>(-3, 1);

  auto y = y0;
  Ops::aAxpby(host, alpha, A.rows, A.cols, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(),
              beta, y.data());
  auto yz = y0;
  Ops::aAxpby(host, alpha, A.rows, A.cols, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(),
              V(0), yz.data());
  auto ym = y0;
  Ops::aAxpby_multi(host, alpha, A.rows, A.cols, A.ptr.data(), A.col.data(), A.val.data(), 2, 9, x.data(), beta,
                    15, ym.data());
  for (int v = 0; v < 2; ++v) {
    for (I i = 0; i < A.rows; ++i) {
      V s = V(0);
      for (I j = 0; j < A.cols; ++j) s += d[i * A.cols + j] * x[v * 9 + j];
      EXPECT_EQ(ym[v * 15 + i], y0[v * 15 + i] * beta + s * alpha) << "vector " << v << " row " << i;
      if (v == 0) {
        EXPECT_EQ(y[i], y0[i] * beta + s * alpha);
        EXPECT_EQ(yz[i], alpha * s);
      }
    }
    for (I i = A.rows; i < 15; ++i) EXPECT_EQ(ym[v * 15 + i], y0[v * 15 + i]) << "beyond the rows";
  }
}

TYPED_TEST(SpBlasStructure, Csr2DenseKeepsLaterRepeat) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  HostCsr<V, I> A(2, 3, {{{2, scalar<V>(1)}, {0, scalar<V>(4)}, {2, scalar<V>(7)}}, {}});
  std::vector<V> dense(6, scalar<V>(9));
  SpBlasOps<V, I>::csr2dense(host, 2, 3, A.ptr.data(), A.col.data(), A.val.data(), dense.data());
  EXPECT_EQ(dense, (std::vector<V>{scalar<V>(4), V(0), scalar<V>(7), V(0), V(0), V(0)}));
}

TEST(SpBlasStructure, AAxpbyZeroBetaIgnoresNaN) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // Row 1 is empty and gets alpha * 0.
  HostCsr<double, int> A(3, 2, {{{0, 2.0}, {1, 1.0}}, {}, {{1, -1.0}}});
  std::vector<double> x{3, 4}, y(3, nan);
  SpBlasOps<double, int>::aAxpby(host, 2.0, 3, 2, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(),
                                 x.data(), 0.0, y.data());
  EXPECT_EQ(y, (std::vector<double>{20, 0, -8}));
  std::fill(y.begin(), y.end(), nan);
  SpBlasOps<double, int>::aAxpby(host, 2.0, 3, 2, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(),
                                 x.data(), 1e-300, y.data());
  for (double v : y) EXPECT_TRUE(std::isnan(v));
}

TYPED_TEST(SpBlasStructure, DiagonalWithOffsets) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  // Block of rows 10..12 and columns 8..12: row i's diagonal is local column i + 2.
  HostCsr<V, I> A(3, 5, {{{2, scalar<V>(5)}, {2, scalar<V>(6)}}, {{0, scalar<V>(1)}}, {{4, scalar<V>(3, 1)}}});
  std::vector<V> diag(3, scalar<V>(-1));
  SpBlasOps<V, I>::csr_diag(host, 3, 5, A.ptr.data(), A.col.data(), A.val.data(), diag.data(), 10, 8);
  EXPECT_EQ(diag, (std::vector<V>{scalar<V>(5), scalar<V>(-1), scalar<V>(3, 1)}));
}

TYPED_TEST(SpBlasStructure, AxpbyDiagReplacesAndAppendsDiagonal) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  // Rows 4..7 of the global matrix, columns 3..6 of it. Row 3 (global 7) has its diagonal
  // outside the block; row 1 (global 5) has none stored.
  HostCsr<V, I> A(4, 4, {{{1, scalar<V>(2)}, {0, scalar<V>(3)}},
                         {{0, scalar<V>(4)}},
                         {{3, scalar<V>(5)}, {0, scalar<V>(6)}},
                         {{1, scalar<V>(7)}}});
  auto a = A.mergeRaw(4, 3);
  std::vector<V> x{scalar<V>(1), scalar<V>(2), scalar<V>(3), scalar<V>(4)};
  std::vector<V> y{scalar<V>(-1), scalar<V>(5), scalar<V>(2, 1), scalar<V>(6)};
  V alpha = scalar<V>(2), beta = scalar<V>(3);

  HostCsr<V, I> out(4, 4);
  auto sym = out.mergeRaw(0, 0);
  sym.col_idx = nullptr;
  sym.values = nullptr;
  Ops::csr_axpby_diag(host, alpha, x.data(), beta, y.data(), a, sym);
  EXPECT_EQ(out.ptr, (std::vector<I>{0, 2, 4, 6, 7}));
  out.allocate();
  Ops::csr_axpby_diag(host, alpha, x.data(), beta, y.data(), a, out.mergeRaw(0, 0));
  // The appended diagonal goes at the row's end, with the local row number as its column.
  EXPECT_EQ(out.col, (std::vector<I>{1, 0, 0, 1, 3, 0, 1}));
  EXPECT_EQ(out.val, (std::vector<V>{alpha * x[0] + beta * y[0] * scalar<V>(2), scalar<V>(3), scalar<V>(4),
                                     x[1] * alpha, alpha * x[2] + beta * y[2] * scalar<V>(5), scalar<V>(6),
                                     scalar<V>(7)}));

  // Null x reads 0 and null y reads 1.
  Ops::csr_axpby_diag(host, alpha, nullptr, beta, nullptr, a, out.mergeRaw(0, 0));
  EXPECT_EQ(out.val[0], beta * scalar<V>(2));
  EXPECT_EQ(out.val[3], V(0));
  EXPECT_EQ(out.val[4], beta * scalar<V>(5));
}

TEST(SpBlasStructure, AxpbyDiagZeroBetaDropsOldDiagonal) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  HostCsr<double, int> A(1, 1, {{{0, nan}}});
  std::vector<double> x{2}, y{nan};
  HostCsr<double, int> out(1, 1);
  auto sym = out.mergeRaw(0, 0);
  sym.col_idx = nullptr;
  SpBlasOps<double, int>::csr_axpby_diag(host, 3.0, x.data(), 0.0, y.data(), A.mergeRaw(0, 0), sym);
  out.allocate();
  SpBlasOps<double, int>::csr_axpby_diag(host, 3.0, x.data(), 0.0, y.data(), A.mergeRaw(0, 0), out.mergeRaw(0, 0));
  EXPECT_EQ(out.val, std::vector<double>{6.0});
}

TYPED_TEST(SpBlasStructure, AppendAndMergeRows) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto B0 = test::randomCsr<V, I>(3, 4, 0.6, 11);
  auto B2 = test::randomCsr<V, I>(2, 4, 0.6, 12);
  HostCsr<V, I> out(7, 4);
  out.col.resize(size_t(B0.nnzs() + B2.nnzs()));
  out.val.resize(out.col.size());
  // The middle block has no storage: its two rows only repeat the running offset.
  HostCsr<V, I> empty;
  auto emptyRaw = empty.raw();
  emptyRaw.rows = 2;
  emptyRaw.row_ptr = emptyRaw.row_end = nullptr;
  Ops::csr_append_rows(host, out.raw(), 0, 0, B0.raw());
  Ops::csr_append_rows(host, out.raw(), 3, B0.nnzs(), emptyRaw);
  Ops::csr_append_rows(host, out.raw(), 5, B0.nnzs(), B2.raw());
  std::vector<I> ptr = B0.ptr;
  ptr.push_back(B0.nnzs());
  ptr.push_back(B0.nnzs());
  for (I i = 1; i <= 2; ++i) ptr.push_back(B0.nnzs() + B2.ptr[i]);
  EXPECT_EQ(out.ptr, ptr);
  std::vector<I> col = B0.col;
  col.insert(col.end(), B2.col.begin(), B2.col.end());
  std::vector<V> val = B0.val;
  val.insert(val.end(), B2.val.begin(), B2.val.end());
  EXPECT_EQ(out.col, col);
  EXPECT_EQ(out.val, val);

  // csr_merge_rows places rows at the block's own numbers: right for a single block.
  std::vector<COT_MergeCSRRawMat<V, I>> blocks{B0.mergeRaw(0, 2)};
  HostCsr<V, I> merged(3, 6);
  Ops::csr_merge_rows(host, 1, blocks.data(), merged.symbolicRaw());
  EXPECT_EQ(merged.ptr, B0.ptr);
  merged.allocate();
  Ops::csr_merge_rows(host, 1, blocks.data(), merged.raw());
  for (size_t k = 0; k < merged.col.size(); ++k) EXPECT_EQ(merged.col[k], B0.col[k] + 2);
  EXPECT_EQ(merged.val, B0.val);
}

TYPED_TEST(SpBlasStructure, MergeColsKeepsBlockOrder) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  HostCsr<V, I> L(2, 2, {{{1, scalar<V>(1)}, {0, scalar<V>(2)}}, {}});
  HostCsr<V, I> Rt(2, 3, {{{2, scalar<V>(3)}}, {{0, scalar<V>(4)}, {1, scalar<V>(5)}}});
  std::vector<COT_MergeCSRRawMat<V, I>> blocks{Rt.mergeRaw(0, 2), L.mergeRaw(0, 0)};
  HostCsr<V, I> out(2, 5);
  Ops::csr_merge_cols(host, 2, blocks.data(), out.symbolicRaw());
  EXPECT_EQ(out.ptr, (std::vector<I>{0, 3, 5}));
  out.allocate();
  Ops::csr_merge_cols(host, 2, blocks.data(), out.raw());
  // Rows follow the list order of the blocks, each block's run in its storage order.
  EXPECT_EQ(out.col, (std::vector<I>{4, 1, 0, 2, 3}));
  EXPECT_EQ(out.val, (std::vector<V>{scalar<V>(3), scalar<V>(1), scalar<V>(2), scalar<V>(4), scalar<V>(5)}));
}

TYPED_TEST(SpBlasStructure, ElementAccessAndCounts) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  HostCsr<V, I> A(3, 4, {{{3, scalar<V>(1)}, {1, scalar<V>(2)}, {3, scalar<V>(8)}}, {}, {{1, scalar<V>(4, 2)}}});
  V value = scalar<V>(9);
  int found = -1;
  Ops::get_element_value(host, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 0, 3, &value, &found);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(value, scalar<V>(1));  // the first of a repeated column
  Ops::get_element_value(host, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 1, 3, &value, &found);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(value, V(0));

  Ops::set_element_value(host, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 0, 3, scalar<V>(-6), &found);
  EXPECT_EQ(found, 1);
  EXPECT_EQ(A.val, (std::vector<V>{scalar<V>(-6), scalar<V>(2), scalar<V>(8), scalar<V>(4, 2)}));
  auto before = A.val;
  Ops::set_element_value(host, 3, 4, A.ptr.data(), A.col.data(), A.val.data(), 2, 0, scalar<V>(5), &found);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(A.val, before);

  std::vector<I> rowCount(2, -1), colCount(4, -1);
  Ops::get_row_element_count(host, A.raw(), 2, rowCount.data());
  EXPECT_EQ(rowCount, (std::vector<I>{3, 0}));
  Ops::get_col_element_count(host, A.raw(), 4, colCount.data());
  EXPECT_EQ(colCount, (std::vector<I>{0, 2, 0, 2}));
}

TYPED_TEST(SpBlasStructure, SelectedRows) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto A = test::randomCsr<V, I>(5, 4, 0.7, 21, 0.0);
  std::vector<I> selected{3, 1, 3};

  HostCsr<V, I> packed(3, 4);
  Ops::get_selected_rows(host, A.raw(), 3, selected.data(), packed.symbolicRaw(), false);
  packed.allocate();
  Ops::get_selected_rows(host, A.raw(), 3, selected.data(), packed.raw(), false);
  for (I k = 0; k < 3; ++k) EXPECT_EQ(packed.rowCols(k), A.rowCols(selected[k]));

  // Keeping positions, row 3 selected twice is counted once and every other row is empty.
  HostCsr<V, I> kept(5, 4);
  Ops::get_selected_rows(host, A.raw(), 3, selected.data(), kept.symbolicRaw(), true);
  EXPECT_EQ(kept.nnzs(), A.ptr[2] - A.ptr[1] + A.ptr[4] - A.ptr[3]);
  kept.allocate();
  Ops::get_selected_rows(host, A.raw(), 3, selected.data(), kept.raw(), true);
  for (I i = 0; i < 5; ++i) {
    if (i == 1 || i == 3) {
      EXPECT_EQ(kept.rowCols(i), A.rowCols(i));
      EXPECT_EQ((std::vector<V>(kept.val.begin() + kept.ptr[i], kept.val.begin() + kept.ptr[i + 1])),
                (std::vector<V>(A.val.begin() + A.ptr[i], A.val.begin() + A.ptr[i + 1])));
    } else {
      EXPECT_EQ(kept.ptr[i + 1], kept.ptr[i]);
    }
  }
}

TYPED_TEST(SpBlasStructure, SelectedColumnsByBisection) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  HostCsr<V, I> A(3, 6, {{{5, scalar<V>(1)}, {2, scalar<V>(2)}, {0, scalar<V>(3)}, {3, scalar<V>(4)}},
                         {{1, scalar<V>(5)}},
                         {{3, scalar<V>(6)}, {2, scalar<V>(7)}}});
  std::vector<I> selected{2, 3, 5};
  HostCsr<V, I> out(3, 3);
  Ops::get_selected_cols(host, A.raw(), 3, selected.data(), out.symbolicRaw(), -2);
  EXPECT_EQ(out.ptr, (std::vector<I>{0, 3, 3, 5}));
  out.allocate();
  Ops::get_selected_cols(host, A.raw(), 3, selected.data(), out.raw(), -2);
  EXPECT_EQ(out.col, (std::vector<I>{3, 0, 1, 1, 0}));
  EXPECT_EQ(out.val, (std::vector<V>{scalar<V>(1), scalar<V>(2), scalar<V>(4), scalar<V>(6), scalar<V>(7)}));

  // Out of order, bisection over {5, 2, 3} never finds 5.
  std::vector<I> unsorted{5, 2, 3};
  HostCsr<V, I> missed(3, 3);
  Ops::get_selected_cols(host, A.raw(), 3, unsorted.data(), missed.symbolicRaw(), 0);
  EXPECT_EQ(missed.ptr, (std::vector<I>{0, 2, 2, 4}));
}

TEST(SpBlasStructure, UnknownDeviceTypeLeavesOutputsUntouched) {
  using Ops = SpBlasOps<double, int>;
  Device hip("hip");
  HostCsr<double, int> A(2, 2, {{{0, 1.0}, {1, 2.0}}, {{1, 3.0}}});
  std::vector<double> x{1, 1}, y{7, 7};
  Ops::aAxpby(hip, 1.0, 2, 2, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(), 0.0,
              y.data());
  EXPECT_EQ(y, (std::vector<double>{7, 7}));
  Ops::csr_diag(hip, 2, 2, A.ptr.data(), A.col.data(), A.val.data(), y.data(), 0, 0);
  EXPECT_EQ(y, (std::vector<double>{7, 7}));
  HostCsr<double, int> out(2, 2);
  out.ptr = {5, 5, 5};
  Ops::get_selected_cols(hip, A.raw(), 0, nullptr, out.symbolicRaw(), 0);
  std::vector<int> selected{1};
  Ops::get_selected_rows(hip, A.raw(), 1, selected.data(), out.symbolicRaw(), false);
  EXPECT_EQ(out.ptr, (std::vector<int>{5, 5, 5}));
  double value = 4;
  int found = 9;
  Ops::get_element_value(hip, 2, 2, A.ptr.data(), A.col.data(), A.val.data(), 0, 0, &value, &found);
  EXPECT_EQ(value, 4);
  EXPECT_EQ(found, 9);
}

}  // namespace
