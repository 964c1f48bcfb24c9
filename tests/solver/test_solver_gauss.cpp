#include <cmath>
#include <limits>
#include <vector>

#include "SolverTestHelpers.h"

namespace solver_gauss_test {

using namespace velmo;
using test::parCsrOf;
using test::parVector;

template <class P>
class GaussTyped : public ::testing::Test {};
TYPED_TEST_SUITE(GaussTyped, test::FloatTypes);

TYPED_TEST(GaussTyped, FactorsOnceAndSolvesToMachinePrecision) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  // The zero in the corner needs a row swap at once, and the complex entries test the pivot
  // magnitude.
  const V i1 = test::make<V>(0, 1);
  const std::vector<V> a = {V(0), V(2),      V(1), V(-1),     V(3), V(1) + i1, V(0), V(2),
                            V(1), V(1) - i1, V(4), V(0),      V(2), V(-1),     V(1), V(5) + i1};
  auto A = parCsrOf<V, G>(4, a);
  auto solver = test::makeSolver<V, G>("SolverGauss");
  solver->setup(A);
  for (int seed : {1, 2}) {
    const std::vector<V> b = test::sample<V>(4, seed);
    auto x = parVector<V, G>(std::vector<V>(4, V(9)));  // the start plays no part
    const test::SolveOutcome o = test::runSolve<V, G>(*solver, A, b, x);
    EXPECT_TRUE(o.converged);
    EXPECT_EQ(o.iter, 1);
    EXPECT_LE(o.res, 64 * double(std::numeric_limits<RealOf<V>>::epsilon()));
    test::expectAllNear(test::denseSolve(4, a, b), test::contents(x));
  }
}

TEST(Gauss, ZeroPivotWarnsAndEverySolveFails) {
  // The second column is twice the first; the multipliers are exact, so the pivot is zero.
  auto A = parCsrOf<double>(3, {2, 4, 1, 1, 2, 3, 4, 8, 0});
  auto solver = test::makeSolver<double, long>("SolverGauss");
  testing::internal::CaptureStdout();
  solver->setup(A);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SolverGauss::setup: Warning! zero pivot in column 1 of 3; the matrix is singular.\n");
  auto x = parVector<double>({7, 7, 7});
  const test::SolveOutcome o = test::runSolve<double, long>(*solver, A, {1, 1, 1}, x);
  EXPECT_FALSE(o.converged);
  EXPECT_EQ(o.iter, 0);
  EXPECT_TRUE(std::isfinite(o.res));
  EXPECT_EQ(test::contents(x), (std::vector<double>{7, 7, 7}));
}

TEST(GaussDeathTest, MatrixAboveMaxRowsStops) {
  auto A = parCsrOf<double>(3, {1, 0, 0, 0, 1, 0, 0, 0, 1});
  auto solver = test::makeSolver<double, long>("SolverGauss", {{"max_rows", 2}});
  EXPECT_DEATH(solver->setup(A), "SolverGauss::setup: the matrix has 3 rows, more than max_rows 2");
}

// On a GPU the factors are made on the host and moved back; the solve stages them again.
TEST(GaussGpu, DeviceMatrixMatchesTheDenseSolve) {
  VELMO_REQUIRE_GPU();
  const int n = 40;
  std::vector<double> a(size_t(n) * n);
  // Off-diagonal noise under a dominant diagonal, so the factors are well conditioned.
  for (size_t k = 0; k < a.size(); ++k) a[k] = double((k * 7) % 11) - 5.0 + (k % (n + 1) == 0 ? 6.0 * n : 0.0);
  auto A = parCsrOf<double>(n, a, test::kGpu);
  auto solver = test::makeSolver<double, long>("SolverGauss");
  solver->setup(A);
  const std::vector<double> b = test::sample<double>(n, 1);
  auto x = parVector<double>(std::vector<double>(n)).toDevice(test::kGpu);
  int iter = 0;
  double res = 0;
  solver->solve(A, parVector<double>(b).toDevice(test::kGpu), x, iter, res);
  EXPECT_TRUE(solver->converged());
  EXPECT_LE(test::relativeError(test::contents(x), test::denseSolve(n, a, b)), 1e-10);
}

}  // namespace solver_gauss_test
