#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "SolverTestHelpers.h"

namespace solver_krylov_test {

using namespace velmo;
using test::parCsrOf;
using test::parVector;

// The 5-point convection-diffusion stencil on an m x m grid, central differences: east and
// north neighbours -1 + c, west and south -1 - c. The complex types get an imaginary shift.
template <class V>
std::vector<V> convectionDiffusion(int m, double c) {
  const int n = m * m;
  std::vector<V> a(size_t(n) * n, V(0));
  for (int row = 0; row < n; ++row) {
    const int i = row / m, j = row % m;
    V* r = a.data() + size_t(row) * n;
    r[row] = test::make<V>(4, 0.5);
    if (j + 1 < m) r[row + 1] = V(-1 + c);
    if (j > 0) r[row - 1] = V(-1 - c);
    if (i + 1 < m) r[row + m] = V(-1 + c);
    if (i > 0) r[row - m] = V(-1 - c);
  }
  return a;
}

// A diagonal that is no multiple of the identity: y_i = sign x_i / (1 + i % 3), definite of
// the sign given.
template <class V, class G>
struct Weights : ParPreconditionerT<V, G, int> {
  explicit Weights(double s = 1) : sign(s) {}
  void setup(const ParMatrixFreeT<V, G, int>&) override {}
  void precondition(const ParMatrixT<V, G, int>& x, ParMatrixT<V, G, int>& y) override {
    x.deepCopy(y);
    V* py = y.getLocalMatrix().getData();
    for (G i = 0; i < y.getRows(); ++i) py[i] = V(sign) * py[i] / V(1 + i % 3);
  }
  double sign;
};

template <class P>
class NonsymmetricTyped : public ::testing::Test {};
TYPED_TEST_SUITE(NonsymmetricTyped, test::FloatTypes);

TYPED_TEST(NonsymmetricTyped, BiCGSTABAndFLGMRESMatchTheDenseSolve) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const int n = 36;
  const std::vector<V> a = convectionDiffusion<V>(6, 0.4);
  auto A = parCsrOf<V, G>(n, a);
  const bool single = std::is_same_v<RealOf<V>, float>;
  const double rtol = single ? 1e-5 : 1e-11;
  Weights<V, G> M;
  // A short restart makes FLGMRES go through several cycles with saved corrections.
  for (const auto& [name, params] : {std::pair{"SolverBiCGSTAB", json{{"rtol", rtol}}},
                                     std::pair{"SolverFLGMRES_R", json{{"rtol", rtol}, {"restart", 4}}}}) {
    auto solver = test::makeSolver<V, G>(name, params);
    // The second solve reuses, and for FLGMRES regrows, the storage of the first.
    for (int seed : {1, 2}) {
      const std::vector<V> b = test::sample<V>(n, seed);
      auto x = parVector<V, G>(std::vector<V>(n));
      const test::SolveOutcome o = test::runSolve<V, G>(*solver, A, b, x, &M);
      EXPECT_TRUE(o.converged) << name;
      EXPECT_GT(o.iter, 1) << name;
      EXPECT_LE(o.res, rtol) << name;
      EXPECT_LE(test::relativeError(test::contents(x), test::denseSolve(n, a, b)), single ? 1e-3 : 1e-9) << name;
    }
  }
}

TEST(BiCGSTAB, BreakdownsLeaveTheLoopWithTheirTexts) {
  auto solver = test::makeSolver<double, long>("SolverBiCGSTAB");
  // With A = 2I the first half step is exact: s vanishes and the true residual is reported.
  auto A = parCsrOf<double>(2, {2, 0, 0, 2});
  auto x = parVector<double>({0, 0});
  test::SolveOutcome o = test::runSolve<double, long>(*solver, A, {1, 3}, x);
  EXPECT_EQ(o.out, "hgv: bicgstab: ||s|| is too small: 0.000000e+00, terminated.\n");
  EXPECT_EQ(test::contents(x), (std::vector<double>{0.5, 1.5}));
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(1, 0.0));
  EXPECT_TRUE(o.converged);
  // From b = e1 the first step leaves a residual orthogonal to the shadow vector.
  A = parCsrOf<double>(2, {1, 1, 1, 0});
  x = parVector<double>({0, 0});
  o = test::runSolve<double, long>(*solver, A, {1, 0}, x);
  EXPECT_EQ(o.out, "hgv: bicgstab: method failed.!\n");
  EXPECT_EQ(test::contents(x), (std::vector<double>{1, 0}));
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(2, 1.0));
  EXPECT_FALSE(o.converged);
}

TEST(FLGMRES, HappyBreakIterationLimitAndItsOwnTableKey) {
  auto A = parCsrOf<double>(2, {2, 0, 0, 2});
  // One step spans the solution: nothing of A V1 is left after orthogonalisation, and that
  // step still counts. "verbose" drives the log lines only.
  auto solver = test::makeSolver<double, long>("SolverFLGMRES_R", {{"verbose", 1}});
  auto x = parVector<double>({0, 0});
  test::SolveOutcome o = test::runSolve<double, long>(*solver, A, {4, 0}, x);
  EXPECT_EQ(o.out, "0.000000e+00 happy break i=1 ");
  EXPECT_EQ(test::contents(x), (std::vector<double>{2, 0}));
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(1, 0.0));
  EXPECT_TRUE(o.converged);

  solver = test::makeSolver<double, long>("SolverFLGMRES_R", {{"max_its", 0}, {"verb", 1}});
  x = parVector<double>({0, 0});
  o = test::runSolve<double, long>(*solver, A, {4, 0}, x);
  EXPECT_EQ(o.out,
            "======================= FLGMRES ===================\n"
            "Tolerances: atol=0, rtol=1e-08, btol=0\n"
            "Iters   Resid. norm    Resid./resid0  Resid./rhs\n"
            "-----   ------------   -------------  ------------\n"
            "    0   4.000000e+00   1.000000e+00   1.000000e+00\n");
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(0, 1.0));
  EXPECT_FALSE(o.converged);
}

TEST(MINRES, SolvesASymmetricIndefiniteSystem) {
  // Tridiagonal, with diagonal entries of both signs; large enough that the method stops on
  // its residual recurrence well before the Krylov space is exhausted.
  const int n = 100;
  std::vector<double> a(size_t(n) * n, 0.0);
  for (int i = 0; i < n; ++i) {
    a[size_t(i) * n + i] = i % 2 ? -3.0 - 0.01 * i : 4.0 + 0.02 * i;
    if (i + 1 < n) a[size_t(i) * n + i + 1] = a[size_t(i + 1) * n + i] = 1.0;
  }
  auto A = parCsrOf<double>(n, a);
  const std::vector<double> b = test::sample<double>(n, 3);
  const double normB = ParMatrixT<double, long, int>::normL2(parVector<double>(b));
  Weights<double, long> weights;
  auto solver = test::makeSolver<double, long>("SolverMINRES", {{"rtol", 1e-8}});
  ParPreconditionerT<double, long, int>* const preconditioners[] = {nullptr, &weights};
  for (auto* M : preconditioners) {
    auto x = parVector<double>(std::vector<double>(n));
    const test::SolveOutcome o = test::runSolve<double, long>(*solver, A, b, x, M);
    EXPECT_TRUE(o.converged);
    EXPECT_LT(o.iter, n);
    // The reported residual comes from the recurrence and must be that of x.
    const double trueRes = ParMatrixT<double, long, int>::residual(A, x, parVector<double>(b)) / normB;
    EXPECT_NEAR(o.res, trueRes, 1e-12);
    EXPECT_LE(o.res, 1e-8);
    EXPECT_LE(test::relativeError(test::contents(x), test::denseSolve(n, a, b)), 1e-6);
  }

  // A negative definite preconditioner is caught before the first step.
  Weights<double, long> negative(-1);
  auto x = parVector<double>(std::vector<double>(n));
  const test::SolveOutcome o = test::runSolve<double, long>(*solver, A, b, x, &negative);
  EXPECT_NE(o.out.find("src/solver/SolverMINRES:"), std::string::npos) << o.out;
  EXPECT_NE(o.out.find(", Warning! the preconditioner may not be SPD.\n"), std::string::npos) << o.out;
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(0, 1.0));
  EXPECT_FALSE(o.converged);
}

TEST(KrylovSolvers, RegisteredForTheirValueTypes) {
  const auto realNames = ParSolverT<float, int, int>::getFactory().getNames();
  const auto complexNames = ParSolverT<Complex<double>, long, int>::getFactory().getNames();
  for (const std::string name : {"SolverBiCGSTAB", "SolverFLGMRES_R", "SolverGauss", "SolverMINRES"}) {
    EXPECT_NE(std::find(realNames.begin(), realNames.end(), name), realNames.end()) << name;
    const bool complexListed = std::find(complexNames.begin(), complexNames.end(), name) != complexNames.end();
    EXPECT_EQ(complexListed, name != "SolverMINRES") << name;
  }
}

}  // namespace solver_krylov_test
