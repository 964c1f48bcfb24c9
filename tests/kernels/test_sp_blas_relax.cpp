#include <cmath>
#include <vector>

#include "SparseTestHelpers.h"
#include "kernels/SpBlasOps.h"

namespace sp_blas_relax_test {

using namespace velmo;
using namespace velmo::test;

// Relaxation is meant for the floating types; the hand-worked values below are exact in all.
template <class P>
class SpBlasRelax : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasRelax, FloatTypes);

template <class V>
std::vector<V> vec(std::initializer_list<double> xs) {
  std::vector<V> v;
  for (double x : xs) v.push_back(make<V>(x));
  return v;
}

TYPED_TEST(SpBlasRelax, JacobiVariantsAndRichardson) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  // Row 1 has no diagonal (relaxed with 1); row 2 repeats it and the last one counts.
  HostCsr<V, I> A(3, 3,
                  {{{0, make<V>(4)}, {1, make<V>(1)}},
                   {{0, make<V>(1)}, {2, make<V>(2)}},
                   {{2, make<V>(2)}, {1, make<V>(1)}, {2, make<V>(4)}}});
  auto xOld = vec<V>({1, 2, 3}), b = vec<V>({10, 20, 30});
  auto x = vec<V>({0.5, 0.5, 0.5});
  Ops::jacobi(kHost, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), make<V>(0.5));
  // Row sums over xOld, diagonal included: 6, 7, 20.
  EXPECT_EQ(x, vec<V>({1.0, 7.0, 1.75}));
  x = vec<V>({0.5, 0.5, 0.5});
  Ops::richardson(kHost, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), make<V>(0.5));
  EXPECT_EQ(x, vec<V>({2.5, 7.0, 5.5}));

  // Scaled by diagonal over the 2-norm of the row: 5, 5 and 4 (row 2 has no diagonal).
  HostCsr<V, I> L(3, 3, {{{0, make<V>(3)}, {1, make<V>(4)}}, {{1, make<V>(3)}, {0, make<V>(-4)}}, {{1, make<V>(4)}}});
  b = vec<V>({21, 12, 16});
  const std::vector<I> select{0, -1, 5};
  for (const I* sel : {select.data(), static_cast<const I*>(nullptr)}) {
    x = vec<V>({0.5, 9, 0.5});
    Ops::jacobi_diagLp(kHost, 3, 3, L.ptr.data(), L.col.data(), L.val.data(), xOld.data(), b.data(), x.data(),
                       make<V>(0.5), RealOf<V>(2), sel);
    // A negative select copies xOld, not the previous x; else row 1 is (12 - 2) * 0.5 * 3 / 5 + 9.
    EXPECT_EQ(x, vec<V>({3.5, sel ? 2.0 : 12.0, 1.5}));
  }
}

// Gauss-Seidel matrix; without `withDiag` row 2 stores no diagonal.
template <class V, class I>
HostCsr<V, I> sorMatrix(bool withDiag) {
  std::vector<std::vector<std::pair<I, V>>> rows{
      {{0, make<V>(2)}, {1, make<V>(1)}}, {{0, make<V>(1)}, {1, make<V>(4)}, {2, make<V>(1)}}, {{1, make<V>(2)}}};
  if (withDiag) rows[2].push_back({2, make<V>(1)});
  return HostCsr<V, I>(3, 3, rows);
}

TYPED_TEST(SpBlasRelax, SorSweeps) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto A = sorMatrix<V, I>(false);
  auto b = vec<V>({4, 12, 6});
  auto sweep = [&](std::vector<V> x, double omega, bool forward, const I* order) {
    SpBlasOps<V, I>::sor(kHost, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), b.data(), x.data(), make<V>(omega),
                         forward, order);
    return x;
  };
  // Later rows see the new values, in either direction.
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, true, nullptr), vec<V>({1.5, 2.375, 1.25}));
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, false, nullptr), vec<V>({1.125, 1.75, 4}));
  // omega = 1 drops the old value: a different start in x[i] alone changes nothing.
  EXPECT_EQ(sweep(vec<V>({7, 1, 1}), 1, true, nullptr), vec<V>({1.5, 2.375, 1.25}));
  // Over-relaxed, (1 - omega) = -0.5 of the old value stays, in either direction.
  EXPECT_EQ(sweep(vec<V>({2, -1, 3}), 1.5, true, nullptr), vec<V>({2.75, 2.84375, -1.03125}));
  EXPECT_EQ(sweep(vec<V>({2, -1, 3}), 1.5, false, nullptr), vec<V>({1.765625, 0.3125, 10.5}));
  // Negative entries of the order skip their positions.
  std::vector<I> order{2, -1, 0};
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, true, order.data()), vec<V>({1.5, 1, 4}));
}

TYPED_TEST(SpBlasRelax, ParSorOverColumnBlocks) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  auto own = sorMatrix<V, I>(true);
  HostCsr<V, I> remote(3, 2, {{{1, make<V>(1)}}, {}, {{0, make<V>(2)}}});
  auto ghost = vec<V>({3, 2});
  auto b = vec<V>({4, 12, 6}), diag = vec<V>({2, 4, 1});
  const I rank = 1;
  auto sweep = [&](std::vector<COT_SpMVCSRRawMat<V, I>> blocks, double omega, bool forward, const I* order) {
    auto x = vec<V>({1, 1, 1});
    SpBlasOps<V, I>::par_sor(kHost, 3, I(blocks.size()), rank, blocks.data(), b.data(), diag.data(), x.data(),
                             make<V>(omega), forward, order);
    return x;
  };
  // A single own block gives the Gauss-Seidel sweep of `sor`.
  auto ownView = spmvView(own.raw(), 0, 0, rank);
  EXPECT_EQ(sweep({ownView}, 1, true, nullptr), vec<V>({1.5, 2.375, 1.25}));
  // The other block reads its fixed ghost values; list order does not matter.
  EXPECT_EQ(sweep({spmvView(remote.raw(), 0, 3, 0, ghost.data()), ownView}, 1, true, nullptr),
            vec<V>({0.5, 2.625, -5.25}));
  EXPECT_EQ(ghost, vec<V>({3, 2}));
  // Backward with a skipped row and omega 0.5 in the residual form: x + omega (b - A x) / d.
  std::vector<I> order{0, -1, 2};
  EXPECT_EQ(sweep({ownView}, 0.5, false, order.data()), vec<V>({1.25, 1, 2.5}));
}

TYPED_TEST(SpBlasRelax, RowNormsAndDiagonalAcrossBlocks) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  using Ops = SpBlasOps<V, I>;
  HostCsr<V, I> own(2, 2, {{{0, make<V>(3)}}, {}});
  HostCsr<V, I> remote(2, 3, {{{2, make<V>(-4)}}, {{0, make<V>(1)}, {1, make<V>(-2)}}});
  std::vector<COT_SpMVCSRRawMat<V, I>> blocks{spmvView(own.raw(), 0, 0, 0), spmvView(remote.raw(), 0, 2, 1)};
  std::vector<R> norm(2, R(-1));
  Ops::par_csr_row_norm_lp(kHost, 2, 2, blocks.data(), R(2), norm.data());
  EXPECT_EQ(norm[0], R(5));
  expectNear(R(std::sqrt(5.0)), norm[1]);

  // The rank owns global rows 4..6, placed by the first view's row offset alone. The left
  // block (columns 0..3) touches them only at its edge; the last view over columns 4..6,
  // whose own row offset is stale, overrides the first one's match in row 2.
  HostCsr<V, I> mine(3, 3, {{{1, make<V>(1)}, {0, make<V>(7)}}, {{0, make<V>(2)}}, {{2, make<V>(9)}}});
  HostCsr<V, I> again(3, 3, {{}, {}, {{2, make<V>(11)}}});
  HostCsr<V, I> left(3, 4, {{{3, make<V>(5)}}, {}, {}});
  blocks = {spmvView(mine.raw(), 4, 4, 0), spmvView(left.raw(), 4, 0, 1), spmvView(again.raw(), 0, 4, 0)};
  auto diag = vec<V>({-1, -1, -1});
  Ops::par_csr_diag(kHost, 3, 3, blocks.data(), diag.data());
  EXPECT_EQ(diag, vec<V>({7, 0, 11}));
}

}  // namespace sp_blas_relax_test
