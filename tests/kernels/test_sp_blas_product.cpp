#include <climits>
#include <set>
#include <vector>

#include "SpBlasTestUtils.h"
#include "kernels/SpBlasRowUtils.h"

namespace {

using namespace velmo;
using test::HostCsr;
using test::scalar;

const Device host(0, 0);

template <class P>
class SpBlasProduct : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasProduct, test::SpValueIndexTypes);

template <class V, class I>
HostCsr<V, I> matmul(HostCsr<V, I>& A, HostCsr<V, I>& B) {
  HostCsr<V, I> C(A.rows, B.cols);
  std::vector<I> marker(size_t(B.cols), 77);
  SpBlasOps<V, I>::csr_matmul(host, A.rows, A.cols, B.cols, A.ptr.data(), A.col.data(), A.val.data(),
                              B.ptr.data(), B.col.data(), B.val.data(), C.ptr.data(), nullptr, nullptr,
                              marker.data());
  C.allocate();
  // The marker comes back filled by the symbolic pass; the numeric pass resets it itself.
  SpBlasOps<V, I>::csr_matmul(host, A.rows, A.cols, B.cols, A.ptr.data(), A.col.data(), A.val.data(),
                              B.ptr.data(), B.col.data(), B.val.data(), C.ptr.data(), C.col.data(),
                              C.val.data(), marker.data());
  return C;
}

template <class V, class I>
HostCsr<V, I> matadd(V alpha, HostCsr<V, I>& A, V beta, HostCsr<V, I>& B) {
  HostCsr<V, I> C(A.rows, A.cols), scratch(A.rows, A.cols);
  scratch.col.resize(size_t(A.nnzs() + B.nnzs()));
  scratch.val.resize(scratch.col.size());
  SpBlasOps<V, I>::csr_matadd(host, alpha, A.raw(), beta, B.raw(), C.symbolicRaw(), scratch.raw());
  C.allocate();
  SpBlasOps<V, I>::csr_matadd(host, alpha, A.raw(), beta, B.raw(), C.raw(), scratch.raw());
  return C;
}

template <class V, class I>
HostCsr<V, I> mataddHash(V alpha, HostCsr<V, I>& A, V beta, HostCsr<V, I>& B) {
  HostCsr<V, I> C(A.rows, A.cols);
  std::vector<HashTableSlot<I, I>> slots(size_t(A.nnzs() + B.nnzs()));
  SpBlasOps<V, I>::csr_matadd_hash(host, alpha, A.raw(), beta, B.raw(), C.symbolicRaw(), slots.data());
  C.allocate();
  SpBlasOps<V, I>::csr_matadd_hash(host, alpha, A.raw(), beta, B.raw(), C.raw(), slots.data());
  return C;
}

template <class V, class I>
HostCsr<V, I> mataddVec(std::vector<HostCsr<V, I>*> list) {
  std::vector<COT_CSRRawMat<V, I>> raws;
  for (auto* m : list) raws.push_back(m->raw());
  HostCsr<V, I> out(list[0]->rows, list[0]->cols);
  std::vector<I> marker(size_t(out.cols));
  SpBlasOps<V, I>::csr_matadd_vec(host, out.rows, I(raws.size()), raws.data(), out.symbolicRaw(), marker.data());
  out.allocate();
  SpBlasOps<V, I>::csr_matadd_vec(host, out.rows, I(raws.size()), raws.data(), out.raw(), marker.data());
  return out;
}

template <class V, class I>
void expectUniqueColumns(const HostCsr<V, I>& C) {
  for (I i = 0; i < C.rows; ++i) {
    auto cols = C.rowCols(i);
    EXPECT_EQ(std::set<I>(cols.begin(), cols.end()).size(), cols.size()) << "row " << i;
  }
}

TYPED_TEST(SpBlasProduct, MatmulMatchesDenseProduct) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(12, 8, 0.3, 31, 0.2);
  auto B = test::randomCsr<V, I>(8, 10, 0.3, 32, 0.2);
  auto C = matmul(A, B);
  EXPECT_EQ(C.dense(), test::denseMatmul(A.dense(), B.dense(), 12, 8, 10));
  expectUniqueColumns(C);
  // Structural product: every column reached through B is stored, also when it sums to zero,
  // and a row of A without entries stays empty.
  for (I i = 0; i < A.rows; ++i) {
    std::set<I> reached;
    for (I k : A.rowCols(i)) {
      for (I j : B.rowCols(k)) reached.insert(j);
    }
    EXPECT_EQ(size_t(C.ptr[i + 1] - C.ptr[i]), reached.size()) << "row " << i;
  }
}

TYPED_TEST(SpBlasProduct, MatmulColumnsInFirstTouchOrder) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  HostCsr<V, I> A(2, 3, {{{0, scalar<V>(2)}, {2, scalar<V>(1, 1)}}, {}});
  HostCsr<V, I> B(3, 4, {{{3, scalar<V>(1)}, {1, scalar<V>(2)}}, {{0, scalar<V>(5)}}, {{1, scalar<V>(3)}, {0, scalar<V>(4)}}});
  auto C = matmul(A, B);
  EXPECT_EQ(C.ptr, (std::vector<I>{0, 3, 3}));
  EXPECT_EQ(C.col, (std::vector<I>{3, 1, 0}));
  EXPECT_EQ(C.val, (std::vector<V>{scalar<V>(1) * scalar<V>(2),
                                   scalar<V>(2) * scalar<V>(2) + scalar<V>(3) * scalar<V>(1, 1),
                                   scalar<V>(4) * scalar<V>(1, 1)}));
}

TYPED_TEST(SpBlasProduct, MergeSumMatchesDenseAndSortsInputs) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(9, 11, 0.35, 41);
  auto B = test::randomCsr<V, I>(9, 11, 0.35, 42);
  auto dA = A.dense(), dB = B.dense();
  V alpha = scalar<V>(2, 1), beta = scalar<V>(-1, 3);
  auto C = matadd(alpha, A, beta, B);
  for (size_t k = 0; k < dA.size(); ++k) EXPECT_EQ(C.dense()[k], alpha * dA[k] + beta * dB[k]);
  EXPECT_TRUE(C.rowsSorted());
  // The operands' rows are sorted in place, their content unchanged.
  EXPECT_TRUE(A.rowsSorted());
  EXPECT_TRUE(B.rowsSorted());
  EXPECT_EQ(A.dense(), dA);
}

TYPED_TEST(SpBlasProduct, SumsKeepRepeatsAndCancelledZeros) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  HostCsr<V, I> A(2, 3, {{{1, scalar<V>(3)}, {1, scalar<V>(2)}}, {{0, scalar<V>(1)}}});
  HostCsr<V, I> B(2, 3, {{{1, scalar<V>(5)}}, {{0, scalar<V>(1)}}});
  V alpha = scalar<V>(1), beta = scalar<V>(-1);

  // Merge: only equal heads combine, so A's second column-1 entry stays on its own.
  auto C = matadd(alpha, A, beta, B);
  EXPECT_EQ(C.ptr, (std::vector<I>{0, 2, 3}));
  EXPECT_EQ(C.col, (std::vector<I>{1, 1, 0}));
  EXPECT_EQ(C.val, (std::vector<V>{scalar<V>(-5) + scalar<V>(3), scalar<V>(2), V(0)}));

  // Hash: repeats of a column fold into one entry, and the zero still stays.
  auto H = mataddHash(alpha, A, beta, B);
  EXPECT_EQ(H.ptr, (std::vector<I>{0, 1, 2}));
  EXPECT_EQ(H.col, (std::vector<I>{1, 0}));
  EXPECT_EQ(H.val, (std::vector<V>{scalar<V>(0), V(0)}));
}

TYPED_TEST(SpBlasProduct, HashSumMatchesDenseInFirstAppearanceOrder) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(10, 40, 0.3, 51);
  auto B = test::randomCsr<V, I>(10, 40, 0.3, 52);
  V alpha = scalar<V>(3), beta = scalar<V>(1, -2);
  auto C = mataddHash(alpha, A, beta, B);
  auto dA = A.dense(), dB = B.dense(), dC = C.dense();
  for (size_t k = 0; k < dA.size(); ++k) EXPECT_EQ(dC[k], alpha * dA[k] + beta * dB[k]);
  expectUniqueColumns(C);
  for (I i = 0; i < A.rows; ++i) {
    std::vector<I> order;
    for (const auto& cols : {A.rowCols(i), B.rowCols(i)}) {
      for (I c : cols) {
        if (std::find(order.begin(), order.end(), c) == order.end()) order.push_back(c);
      }
    }
    EXPECT_EQ(C.rowCols(i), order) << "row " << i;
  }

  // All columns distinct: the row's table fills completely and lookups still end.
  HostCsr<V, I> F(1, 9, {{{8, scalar<V>(1)}, {0, scalar<V>(2)}}});
  HostCsr<V, I> G(1, 9, {{{5, scalar<V>(3)}, {2, scalar<V>(4)}, {7, scalar<V>(5)}}});
  auto full = mataddHash(scalar<V>(1), F, scalar<V>(1), G);
  EXPECT_EQ(full.col, (std::vector<I>{8, 0, 5, 2, 7}));
  EXPECT_EQ(full.val, (std::vector<V>{scalar<V>(1), scalar<V>(2), scalar<V>(3), scalar<V>(4), scalar<V>(5)}));
}

// The home slot mixes in the signed width of the index type, so the two types disagree.
TEST(SpBlasProduct, HashHomePerIndexWidth) {
  EXPECT_EQ(detail::hashHome<int>(1, INT_MAX), 227964015ull);
  EXPECT_EQ(detail::hashHome<int>(12345, INT_MAX), 1011272156ull);
  EXPECT_EQ(detail::hashHome<int>(-3, INT_MAX), 821347078ull);
  EXPECT_EQ(detail::hashHome<long>(1, LONG_MAX), 7340060871154608311ull);
  EXPECT_EQ(detail::hashHome<long>(12345, long(INT_MAX)), 2084707184ull);
  EXPECT_EQ(detail::hashHome<int>(1, 7), 6ull);
  EXPECT_EQ(detail::hashHome<long>(1, 7), 1ull);
}

TYPED_TEST(SpBlasProduct, ListSumMatchesDenseInFirstAppearanceOrder) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(7, 6, 0.4, 61);
  auto B = test::randomCsr<V, I>(7, 6, 0.4, 62);
  auto C = test::randomCsr<V, I>(7, 6, 0.4, 63);
  auto S = mataddVec<V, I>({&A, &B, &C});
  auto dA = A.dense(), dB = B.dense(), dC = C.dense(), dS = S.dense();
  for (size_t k = 0; k < dA.size(); ++k) EXPECT_EQ(dS[k], dA[k] + dB[k] + dC[k]);
  expectUniqueColumns(S);

  HostCsr<V, I> P(1, 5, {{{4, scalar<V>(1)}, {1, scalar<V>(2)}}});
  HostCsr<V, I> Q(1, 5, {{{0, scalar<V>(3)}, {4, scalar<V>(-1)}}});
  auto pq = mataddVec<V, I>({&P, &Q});
  EXPECT_EQ(pq.col, (std::vector<I>{4, 1, 0}));
  EXPECT_EQ(pq.val, (std::vector<V>{V(0), scalar<V>(2), scalar<V>(3)}));
}

TYPED_TEST(SpBlasProduct, SortRowsIsStable) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  HostCsr<V, I> A(2, 4, {{{3, scalar<V>(1)}, {1, scalar<V>(2)}, {3, scalar<V>(3)}, {0, scalar<V>(4)}},
                         {{2, scalar<V>(5)}}});
  SpBlasOps<V, I>::csr_sort_rows(host, 2, 4, A.ptr.data(), A.col.data(), A.val.data());
  EXPECT_EQ(A.col, (std::vector<I>{0, 1, 3, 3, 2}));
  EXPECT_EQ(A.val, (std::vector<V>{scalar<V>(4), scalar<V>(2), scalar<V>(1), scalar<V>(3), scalar<V>(5)}));
}

TYPED_TEST(SpBlasProduct, TransposeOfUnsortedRowsIsSorted) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(9, 6, 0.4, 71);
  ASSERT_FALSE(A.rowsSorted());
  HostCsr<V, I> T(6, 9);
  T.col.resize(size_t(A.nnzs()));
  T.val.resize(size_t(A.nnzs()));
  SpBlasOps<V, I>::csr_transpose(host, 9, 6, A.ptr.data(), A.col.data(), A.val.data(), T.ptr.data(), T.col.data(),
                                 T.val.data());
  EXPECT_EQ(T.ptr.back(), A.nnzs());
  EXPECT_TRUE(T.rowsSorted());
  auto dA = A.dense(), dT = T.dense();
  for (I i = 0; i < 9; ++i) {
    for (I j = 0; j < 6; ++j) EXPECT_EQ(dT[j * 9 + i], dA[i * 6 + j]);
  }
}

TYPED_TEST(SpBlasProduct, DiagonalScalingsInPlace) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = test::randomCsr<V, I>(5, 4, 0.5, 81);
  auto d0 = A.dense();
  auto rowScale = test::randomVector<V>(5, 82), colScale = test::randomVector<V>(4, 83);
  V alpha = scalar<V>(-2, 1);
  SpBlasOps<V, I>::csr_matmul_aDA(host, alpha, rowScale.data(), A.mergeRaw(0, 0));
  SpBlasOps<V, I>::csr_matmul_aAD(host, alpha, A.spmvRaw(0, 0, 0, colScale.data()));
  auto d = A.dense();
  for (I i = 0; i < 5; ++i) {
    for (I j = 0; j < 4; ++j) {
      EXPECT_EQ(d[i * 4 + j], colScale[j] * alpha * (d0[i * 4 + j] * (rowScale[i] * alpha))) << i << "," << j;
    }
  }
}

}  // namespace
