#include <cmath>
#include <vector>

#include "SpBlasTestUtils.h"

namespace {

using namespace velmo;
using test::HostCsr;
using test::scalar;

const Device host(0, 0);

// Relaxation is meant for the floating types; the hand-worked values below are exact in all.
template <class P>
class SpBlasRelax : public ::testing::Test {};
using RelaxTypes = ::testing::Types<test::Types<float, int>, test::Types<double, long>,
                                    test::Types<Complex<float>, long>, test::Types<Complex<double>, int>>;
TYPED_TEST_SUITE(SpBlasRelax, RelaxTypes);

template <class V>
std::vector<V> vec(std::initializer_list<double> xs) {
  std::vector<V> v;
  for (double x : xs) v.push_back(scalar<V>(x));
  return v;
}

// Row 1 has no diagonal (relaxed with 1); row 2 repeats it and the last one counts.
template <class V, class I>
HostCsr<V, I> jacobiMatrix() {
  return HostCsr<V, I>(3, 3, {{{0, scalar<V>(4)}, {1, scalar<V>(1)}},
                              {{0, scalar<V>(1)}, {2, scalar<V>(2)}},
                              {{2, scalar<V>(2)}, {1, scalar<V>(1)}, {2, scalar<V>(4)}}});
}

TYPED_TEST(SpBlasRelax, JacobiAndRichardson) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto A = jacobiMatrix<V, I>();
  auto xOld = vec<V>({1, 2, 3}), b = vec<V>({10, 20, 30});
  V omega = scalar<V>(0.5);

  auto x = vec<V>({0.5, 0.5, 0.5});
  Ops::jacobi(host, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), omega);
  // Row sums over xOld, diagonal included: 6, 7, 20.
  EXPECT_EQ(x, vec<V>({1.0, 7.0, 1.75}));

  x = vec<V>({0.5, 0.5, 0.5});
  Ops::richardson(host, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), omega);
  EXPECT_EQ(x, vec<V>({2.5, 7.0, 5.5}));
}

TYPED_TEST(SpBlasRelax, JacobiDiagLpWeightsAndSelect) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  // Row norms for p = 2: 5, 5 and 4 (row 2 has no diagonal).
  HostCsr<V, I> A(3, 3, {{{0, scalar<V>(3)}, {1, scalar<V>(4)}},
                         {{1, scalar<V>(3)}, {0, scalar<V>(-4)}},
                         {{1, scalar<V>(4)}}});
  auto xOld = vec<V>({1, 2, 3}), b = vec<V>({21, 12, 16});
  std::vector<I> select{0, -1, 5};
  auto x = vec<V>({0.5, 9, 0.5});
  SpBlasOps<V, I>::jacobi_diagLp(host, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(),
                                 x.data(), scalar<V>(0.5), R(2), select.data());
  // A negative select copies xOld, not the previous x.
  EXPECT_EQ(x, vec<V>({3.5, 2, 1.5}));

  x = vec<V>({0.5, 9, 0.5});
  SpBlasOps<V, I>::jacobi_diagLp(host, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(),
                                 x.data(), scalar<V>(0.5), R(2), nullptr);
  // Row 1: s = 6 - 4 = 2, (12 - 2) * 0.5 * 3 / 5 + 9.
  EXPECT_EQ(x[1], scalar<V>(12));
}

// Gauss-Seidel matrix; without `withDiag` row 2 stores no diagonal.
template <class V, class I>
HostCsr<V, I> sorMatrix(bool withDiag) {
  std::vector<std::vector<std::pair<I, V>>> rows{{{0, scalar<V>(2)}, {1, scalar<V>(1)}},
                                                 {{0, scalar<V>(1)}, {1, scalar<V>(4)}, {2, scalar<V>(1)}},
                                                 {{1, scalar<V>(2)}}};
  if (withDiag) rows[2].push_back({2, scalar<V>(1)});
  return HostCsr<V, I>(3, 3, rows);
}

TYPED_TEST(SpBlasRelax, SorSweeps) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto A = sorMatrix<V, I>(false);
  auto b = vec<V>({4, 12, 6});
  auto sweep = [&](std::vector<V> x, double omega, bool forward, const I* order) {
    Ops::sor(host, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), b.data(), x.data(), scalar<V>(omega), forward,
             order);
    return x;
  };
  // Later rows see the new values, in either direction.
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, true, nullptr), vec<V>({1.5, 2.375, 1.25}));
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, false, nullptr), vec<V>({1.125, 1.75, 4}));
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 0.5, true, nullptr), vec<V>({1.25, 1.71875, 1.78125}));
  // omega = 1 drops the old value: a different start in x[i] alone changes nothing.
  EXPECT_EQ(sweep(vec<V>({7, 1, 1}), 1, true, nullptr), vec<V>({1.5, 2.375, 1.25}));
  // Negative entries of the order skip their positions.
  std::vector<I> order{2, -1, 0};
  EXPECT_EQ(sweep(vec<V>({1, 1, 1}), 1, true, order.data()), vec<V>({1.5, 1, 4}));
}

TYPED_TEST(SpBlasRelax, ParSorOverColumnBlocks) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  auto own = sorMatrix<V, I>(true);
  HostCsr<V, I> remote(3, 2, {{{1, scalar<V>(1)}}, {}, {{0, scalar<V>(2)}}});
  auto ghost = vec<V>({3, 2});
  auto b = vec<V>({4, 12, 6}), diag = vec<V>({2, 4, 1});
  const I rank = 1;

  // A single own block gives the Gauss-Seidel sweep of `sor`.
  std::vector<COT_SpMVCSRRawMat<V, I>> one{own.spmvRaw(0, 0, rank, nullptr)};
  auto x = vec<V>({1, 1, 1});
  Ops::par_sor(host, 3, 1, rank, one.data(), b.data(), diag.data(), x.data(), scalar<V>(1), true, nullptr);
  EXPECT_EQ(x, vec<V>({1.5, 2.375, 1.25}));
  auto y = vec<V>({1, 1, 1});
  Ops::sor(host, 3, 3, own.ptr.data(), own.col.data(), own.val.data(), b.data(), y.data(), scalar<V>(1), true,
           nullptr);
  EXPECT_EQ(x, y);

  // The other block reads its fixed ghost values; list order does not matter.
  std::vector<COT_SpMVCSRRawMat<V, I>> two{remote.spmvRaw(0, 3, 0, ghost.data()), own.spmvRaw(0, 0, rank, nullptr)};
  x = vec<V>({1, 1, 1});
  Ops::par_sor(host, 3, 2, rank, two.data(), b.data(), diag.data(), x.data(), scalar<V>(1), true, nullptr);
  EXPECT_EQ(x, vec<V>({0.5, 2.625, -5.25}));
  EXPECT_EQ(ghost, vec<V>({3, 2}));

  // Backward with a skipped row and omega 0.5 in the residual form: x + omega (b - A x) / d.
  std::vector<I> order{0, -1, 2};
  x = vec<V>({1, 1, 1});
  Ops::par_sor(host, 3, 1, rank, one.data(), b.data(), diag.data(), x.data(), scalar<V>(0.5), false, order.data());
  EXPECT_EQ(x, vec<V>({1.25, 1, 2.5}));
}

TYPED_TEST(SpBlasRelax, RowNormsSpanAllBlocks) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  HostCsr<V, I> own(2, 2, {{{0, scalar<V>(3)}}, {}});
  HostCsr<V, I> remote(2, 3, {{{2, scalar<V>(-4)}}, {{0, scalar<V>(1)}, {1, scalar<V>(-2)}}});
  std::vector<COT_SpMVCSRRawMat<V, I>> blocks{own.spmvRaw(0, 0, 0, nullptr), remote.spmvRaw(0, 2, 1, nullptr)};
  std::vector<R> norm(2, R(-1));
  SpBlasOps<V, I>::par_csr_row_norm_lp(host, 2, 2, blocks.data(), R(2), norm.data());
  EXPECT_EQ(norm[0], R(5));
  test::expectNear(R(std::sqrt(5.0)), norm[1]);
  SpBlasOps<V, I>::par_csr_row_norm_lp(host, 2, 2, blocks.data(), R(1), norm.data());
  EXPECT_EQ(norm, (std::vector<R>{R(7), R(3)}));
}

TYPED_TEST(SpBlasRelax, ParDiagonalAcrossBlocks) {
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  // The rank owns global rows 4..6. The left block (columns 0..3) touches them only at its
  // edge; the second view over columns 4..6 overrides the first one's match in row 2.
  HostCsr<V, I> own(3, 3, {{{1, scalar<V>(1)}, {0, scalar<V>(7)}}, {{0, scalar<V>(2)}}, {{2, scalar<V>(9)}}});
  HostCsr<V, I> again(3, 3, {{}, {}, {{2, scalar<V>(11)}}});
  HostCsr<V, I> left(3, 4, {{{3, scalar<V>(5)}}, {}, {}});
  std::vector<COT_SpMVCSRRawMat<V, I>> blocks{own.spmvRaw(4, 4, 0, nullptr), left.spmvRaw(4, 0, 1, nullptr),
                                              again.spmvRaw(4, 4, 0, nullptr)};
  auto diag = vec<V>({-1, -1, -1});
  SpBlasOps<V, I>::par_csr_diag(host, 3, 3, blocks.data(), diag.data());
  EXPECT_EQ(diag, vec<V>({7, 0, 11}));
}

TEST(SpBlasRelax, UnknownDeviceTypeLeavesXUntouched) {
  using Ops = SpBlasOps<double, int>;
  Device hip("hip");
  auto A = sorMatrix<double, int>(true);
  std::vector<double> b{4, 12, 6}, x{1, 1, 1}, xOld{2, 2, 2};
  Ops::sor(hip, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), b.data(), x.data(), 1.0, true, nullptr);
  Ops::jacobi(hip, 3, 3, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), 1.0);
  EXPECT_EQ(x, (std::vector<double>{1, 1, 1}));
}

}  // namespace
