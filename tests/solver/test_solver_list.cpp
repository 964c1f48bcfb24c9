#include <vector>

#include "SolverTestHelpers.h"
#include "solver/ParSolverList.h"

namespace solver_list_test {

using namespace velmo;
using namespace velmo::test;

using Solver = ParSolverT<double, long, int>;

// A 1-D Laplacian of n points: PCG needs about n/2 iterations.
std::vector<double> laplacian(int n) {
  std::vector<double> a(size_t(n) * n, 0.0);
  for (int i = 0; i < n; ++i) {
    a[size_t(i) * n + i] = 2;
    if (i > 0) a[size_t(i) * n + i - 1] = -1;
    if (i + 1 < n) a[size_t(i) * n + i + 1] = -1;
  }
  return a;
}

TEST(SolverList, FallsBackUntilOneConvergesAndCountsAllIterations) {
  const int n = 40;
  auto A = parCsrOf<double>(n, laplacian(n));
  const std::vector<double> rhs(size_t(n), 1.0);
  auto make = [](const json& solvers) {
    return Solver::getFactory().createInstance(
        {{"solver_type", "SolverList"}, {"SolverList_params", {{"solvers", solvers}}}});
  };
  const json pcgShort = {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"max_its", 3}}}};
  // The second runs from where the first stopped, with its own preconditioner.
  auto list = make(json::array({pcgShort, pcgShort,
                    {{"solver_type", "SolverBiCGSTAB"},
                     {"SolverBiCGSTAB_params", {{"rtol", 1e-10}, {"max_its", 500}}},
                     {"preconditioner_type", "PrecondJacobi"}}}));
  list->setup(A);
  auto x = parVector<double>(std::vector<double>(size_t(n), 0.0));
  int iter = 0;
  double res = 0;
  list->solve(A, parVector<double>(rhs), x, iter, res);
  EXPECT_TRUE(list->converged());
  EXPECT_GT(iter, 6);
  EXPECT_LT(res, 1e-10);
  EXPECT_LT(relativeError(contents(x), denseSolve(n, laplacian(n), rhs)), 1e-8);

  // The outcome is the last solver's: a chain that never converges says so.
  auto failing = make(json::array({pcgShort}));
  failing->setup(A);
  x = parVector<double>(std::vector<double>(size_t(n), 0.0));
  failing->solve(A, parVector<double>(rhs), x, iter, res);
  EXPECT_FALSE(failing->converged());
  EXPECT_EQ(iter, 3);
}

}  // namespace solver_list_test
