#include <omp.h>

#include <algorithm>
#include <vector>

#include "SparseTestHelpers.h"
#include "kernels/SpBlasOps.h"

namespace sp_blas_product_test {

using namespace velmo;
using namespace velmo::test;

template <class P>
class SpBlasProduct : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasProduct, AllTypes);

template <class V, class I>
HostCsr<V, I> matmul(HostCsr<V, I>& A, HostCsr<V, I>& B) {
  // The marker stays as the symbolic pass left it: the numeric pass refills it itself.
  std::vector<I> marker(size_t(B.cols), 77);
  return buildCsr<V, I>(A.rows, B.cols, [&](COT_CSRRawMat<V, I> c) {
    SpBlasOps<V, I>::csr_matmul(kHost, A.rows, A.cols, B.cols, A.ptr.data(), A.col.data(), A.val.data(), B.ptr.data(),
                                B.col.data(), B.val.data(), const_cast<I*>(c.row_ptr), c.col_idx, c.values,
                                marker.data());
  });
}

template <class V, class I>
HostCsr<V, I> matadd(V alpha, HostCsr<V, I>& A, V beta, HostCsr<V, I>& B) {
  HostCsr<V, I> scratch(A.rows, A.cols, size_t(A.nnzs() + B.nnzs()));
  return buildCsr<V, I>(A.rows, A.cols, [&](COT_CSRRawMat<V, I> c) {
    SpBlasOps<V, I>::csr_matadd(kHost, alpha, A.raw(), beta, B.raw(), c, scratch.raw());
  });
}

template <class V, class I>
HostCsr<V, I> mataddHash(V alpha, HostCsr<V, I>& A, V beta, HostCsr<V, I>& B) {
  std::vector<HashTableSlot<I, I>> slots(size_t(A.nnzs() + B.nnzs()));
  return buildCsr<V, I>(A.rows, A.cols, [&](COT_CSRRawMat<V, I> c) {
    SpBlasOps<V, I>::csr_matadd_hash(kHost, alpha, A.raw(), beta, B.raw(), c, slots.data());
  });
}

template <class V, class I>
HostCsr<V, I> mataddVec(std::vector<HostCsr<V, I>*> list) {
  std::vector<COT_CSRRawMat<V, I>> raws;
  for (auto* m : list) raws.push_back(m->raw());
  std::vector<I> marker(size_t(list[0]->cols));
  return buildCsr<V, I>(list[0]->rows, list[0]->cols, [&](COT_CSRRawMat<V, I> c) {
    SpBlasOps<V, I>::csr_matadd_vec(kHost, c.rows, I(raws.size()), raws.data(), c, marker.data());
  });
}

// The distinct columns of the given runs, in order of first appearance.
template <class I>
std::vector<I> firstAppearance(const std::vector<std::vector<I>>& runs) {
  std::vector<I> order;
  for (const auto& run : runs) {
    for (I c : run) {
      if (std::find(order.begin(), order.end(), c) == order.end()) order.push_back(c);
    }
  }
  return order;
}

TYPED_TEST(SpBlasProduct, MatmulMatchesDenseInFirstTouchOrder) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = randomCsr<V, I>(12, 8, 0.3, 31, 0.2);
  auto B = randomCsr<V, I>(8, 10, 0.3, 32, 0.2);
  auto C = matmul(A, B);
  EXPECT_EQ(C.dense(), denseProduct(12, 8, 10, A.dense(), B.dense()));
  // Chunks of rows, each with its own marker, give the one-pass arrays.
  const int threads = omp_get_max_threads();
  omp_set_num_threads(5);
  EXPECT_EQ(matmul(A, B).arrays(), C.arrays());
  omp_set_num_threads(threads);
  for (I i = 0; i < A.rows; ++i) {
    std::vector<std::vector<I>> reached;
    for (I k : A.rowCols(i)) reached.push_back(B.rowCols(k));
    EXPECT_EQ(C.rowCols(i), firstAppearance(reached)) << "row " << i;
  }

  // A product that cancels keeps its zero entry; an empty row of A stays empty.
  HostCsr<V, I> P(2, 2, {{{0, make<V>(1)}, {1, make<V>(1)}}, {}});
  HostCsr<V, I> Q(2, 1, {{{0, make<V>(2, 1)}}, {{0, make<V>(-2, -1)}}});
  EXPECT_EQ(matmul(P, Q).arrays(), (HostCsr<V, I>(2, 1, {0, 1, 1}, {0}, {V(0)}).arrays()));
}

TYPED_TEST(SpBlasProduct, SumsMatchDenseInTheirStatedOrders) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = randomCsr<V, I>(10, 40, 0.3, 51), B = randomCsr<V, I>(10, 40, 0.3, 52), C = randomCsr<V, I>(10, 40, 0.3, 53);
  const auto dA = A.dense(), dB = B.dense(), dC = C.dense();
  const V alpha = make<V>(2, 1), beta = make<V>(-1, 3);
  // Hash and list sums keep the columns in order of first appearance.
  auto H = mataddHash(alpha, A, beta, B);
  auto S = mataddVec<V, I>({&A, &B, &C});
  for (I i = 0; i < A.rows; ++i) {
    EXPECT_EQ(H.rowCols(i), firstAppearance<I>({A.rowCols(i), B.rowCols(i)})) << "row " << i;
    EXPECT_EQ(S.rowCols(i), firstAppearance<I>({A.rowCols(i), B.rowCols(i), C.rowCols(i)})) << "row " << i;
  }
  // The merge sum sorts the operands' rows in place, content unchanged, and its own rows.
  auto M = matadd(alpha, A, beta, B);
  EXPECT_TRUE(A.rowsSorted() && B.rowsSorted() && M.rowsSorted());
  EXPECT_EQ(A.dense(), dA);
  const auto dH = H.dense(), dS = S.dense(), dM = M.dense();
  for (size_t k = 0; k < dA.size(); ++k) {
    EXPECT_EQ(dH[k], alpha * dA[k] + beta * dB[k]);
    EXPECT_EQ(dM[k], dH[k]);
    EXPECT_EQ(dS[k], dA[k] + dB[k] + dC[k]);
  }

  // All columns distinct: the row's table fills completely and lookups still end.
  HostCsr<V, I> F(1, 9, {{{8, make<V>(1)}, {0, make<V>(2)}}});
  HostCsr<V, I> G(1, 9, {{{5, make<V>(3)}, {2, make<V>(4)}, {7, make<V>(5)}}});
  EXPECT_EQ(mataddHash(make<V>(1), F, make<V>(1), G).arrays(),
            (HostCsr<V, I>(1, 9, {0, 5}, {8, 0, 5, 2, 7}, {make<V>(1), make<V>(2), make<V>(3), make<V>(4), make<V>(5)})
                 .arrays()));
}

TYPED_TEST(SpBlasProduct, SumsKeepRepeatsAndCancelledZeros) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  HostCsr<V, I> A(2, 3, {{{1, make<V>(3)}, {1, make<V>(2)}}, {{0, make<V>(1)}}});
  HostCsr<V, I> B(2, 3, {{{1, make<V>(5)}}, {{0, make<V>(1)}}});
  V alpha = make<V>(1), beta = make<V>(-1);

  // Merge: only equal heads combine, so A's second column-1 entry stays on its own.
  EXPECT_EQ(matadd(alpha, A, beta, B).arrays(),
            (HostCsr<V, I>(2, 3, {0, 2, 3}, {1, 1, 0}, {make<V>(-2), make<V>(2), V(0)}).arrays()));

  // Hash and list: repeats of a column fold into one entry, and the zero still stays.
  EXPECT_EQ(mataddHash(alpha, A, beta, B).arrays(), (HostCsr<V, I>(2, 3, {0, 1, 2}, {1, 0}, {V(0), V(0)}).arrays()));
  EXPECT_EQ((mataddVec<V, I>({&A, &B}).arrays()),
            (HostCsr<V, I>(2, 3, {0, 1, 2}, {1, 0}, {make<V>(10), make<V>(2)}).arrays()));
}

TYPED_TEST(SpBlasProduct, SortTransposeAndScale) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  // The sort is stable: repeated columns keep their order.
  HostCsr<V, I> S(2, 4, {{{3, make<V>(1)}, {1, make<V>(2)}, {3, make<V>(3)}, {0, make<V>(4)}}, {{2, make<V>(5)}}});
  Ops::csr_sort_rows(kHost, 2, 4, S.ptr.data(), S.col.data(), S.val.data());
  EXPECT_EQ(S.col, (std::vector<I>{0, 1, 3, 3, 2}));
  EXPECT_EQ(S.val, (std::vector<V>{make<V>(4), make<V>(2), make<V>(1), make<V>(3), make<V>(5)}));

  // The transpose of unsorted rows comes out sorted, on one thread and on a team that counts
  // each chunk of rows apart.
  auto A = randomCsr<V, I>(9, 6, 0.4, 71);
  ASSERT_FALSE(A.rowsSorted());
  auto dA = A.dense();
  const int threads = omp_get_max_threads();
  for (int team : {1, 3}) {
    omp_set_num_threads(team);
    HostCsr<V, I> T(6, 9, size_t(A.nnzs()));
    Ops::csr_transpose(kHost, 9, 6, A.ptr.data(), A.col.data(), A.val.data(), T.ptr.data(), T.col.data(),
                       T.val.data());
    EXPECT_TRUE(T.rowsSorted()) << team;
    const auto dT = T.dense();
    for (I i = 0; i < 9; ++i) {
      for (I j = 0; j < 6; ++j) EXPECT_EQ(dT[j * 9 + i], dA[i * 6 + j]) << team;
    }
  }
  omp_set_num_threads(threads);

  // Row and column scalings in place.
  auto rowScale = sample<V>(9, 82), colScale = sample<V>(6, 83);
  V alpha = make<V>(-2, 1);
  Ops::csr_matmul_aDA(kHost, alpha, rowScale.data(), mergeView(A.raw(), 0, 0));
  Ops::csr_matmul_aAD(kHost, alpha, spmvView(A.raw(), 0, 0, 0, colScale.data()));
  auto d = A.dense();
  for (I i = 0; i < 9; ++i) {
    for (I j = 0; j < 6; ++j) {
      EXPECT_EQ(d[i * 6 + j], colScale[j] * alpha * (dA[i * 6 + j] * (rowScale[i] * alpha))) << i << "," << j;
    }
  }
}

}  // namespace sp_blas_product_test
