#include <string>
#include <vector>

#include "SolverTestHelpers.h"
#include "solver/SolverPCG.h"

namespace solver_pcg_test {

using namespace velmo;
using test::kHost;

// A dense host operator, so that the method is tested apart from the sparse classes.
template <class V, class G>
class DenseOperator : public ParMatrixFreeT<V, G, int> {
 public:
  using Vector = ParMatrixT<V, G, int>;
  DenseOperator(int n, std::vector<V> a) : m_n(n), m_a(std::move(a)) {}
  int getComm() const override { return comu::kCommSelf; }
  Device getDevice() const override { return kHost; }
  G getRows() const override { return m_n; }
  G getCols() const override { return m_n; }
  void aAxpby(V a, const Vector& x, V b, Vector& y,
              typename ParMatrixFreeT<V, G, int>::AsyncMatVecObject* = nullptr) override {
    const V* px = x.getLocalMatrix().getData();
    V* py = y.getLocalMatrix().getData();
    for (int i = 0; i < m_n; ++i) {
      V s = V(0);
      for (int j = 0; j < m_n; ++j) s += m_a[i * m_n + j] * px[j];
      py[i] = b == V(0) ? a * s : a * s + b * py[i];
    }
  }

 private:
  int m_n;
  std::vector<V> m_a;
};

using Outcome = test::SolveOutcome;

// Solves with a fresh PCG made from `params`; `x` holds the start and receives the solution.
template <class V, class G>
Outcome solve(const json& params, DenseOperator<V, G>& A, const std::vector<V>& b, ParMatrixT<V, G, int>& x,
              ParPreconditionerT<V, G, int>* M = nullptr) {
  SolverPCG_T<V, G, int> pcg;
  pcg.create(params);
  EXPECT_FALSE(pcg.converged());
  return test::runSolve<V, G>(pcg, A, b, x, M);
}

template <class P>
class PCGTyped : public ::testing::Test {};
TYPED_TEST_SUITE(PCGTyped, test::FloatTypes);

// A Hermitian positive definite 4 x 4 system with a known solution.
TYPED_TEST(PCGTyped, SolvesAnSPDSystemToTheDirectSolution) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const V i1 = test::make<V>(0, 1), z = V(0);
  DenseOperator<V, G> A(4, {V(4), V(1) + i1, z, z, V(1) - i1, V(5), V(2), z,
                            z, V(2), V(6), V(1) - i1, z, z, V(1) + i1, V(3)});
  const std::vector<V> exact = {V(1), V(-2), V(3) + i1, V(0.5)};
  auto b = test::parVector<V, G>(std::vector<V>(4));
  A.aAxpby(V(1), test::parVector<V, G>(exact), V(0), b);
  auto x = test::parVector<V, G>(std::vector<V>(4));
  const bool single = std::is_same_v<RealOf<V>, float>;
  const double rtol = single ? 1e-5 : 1e-12;
  const Outcome o = solve<V, G>({{"rtol", rtol}}, A, test::contents(b), x);
  EXPECT_TRUE(o.converged);
  EXPECT_GT(o.iter, 0);
  EXPECT_LE(o.iter, 8);
  EXPECT_LE(o.res, rtol);
  test::expectAllNear(exact, test::contents(x), single ? 1e3 : 1e4);
}

TEST(PCG, StoppingRules) {
  DenseOperator<double, long> A(2, {2, 0, 0, 3});
  // A zero right-hand side zeroes x and leaves iter and res alone.
  auto x = test::parVector<double>({5, 5});
  Outcome o = solve<double, long>({}, A, {0, 0}, x);
  EXPECT_EQ(test::contents(x), (std::vector<double>{0, 0}));
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(-7, -7.0));

  // max_its 0: no iteration, res is the initial relative residual.
  o = solve<double, long>({{"max_its", 0}}, A, {2, 3}, x);
  EXPECT_FALSE(o.converged);
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(0, 1.0));
  // rtol at or above 1 admits the start.
  o = solve<double, long>({{"rtol", 1.0}}, A, {2, 3}, x);
  EXPECT_EQ(o.iter, 0);

  // An exact start with an absolute tolerance runs no iteration.
  x = test::parVector<double>({1, 1});
  o = solve<double, long>({{"atol", 1e-12}}, A, {2, 3}, x);
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(0, 0.0));
}

// A preconditioner that rotates the residual makes r . z vanish.
struct Rotation : ParPreconditionerT<double, long, int> {
  void setup(const ParMatrixFreeT<double, long, int>&) override {}
  void precondition(const ParMatrixT<double, long, int>& r, ParMatrixT<double, long, int>& z) override {
    const double* pr = r.getLocalMatrix().getData();
    double* pz = z.getLocalMatrix().getData();
    const double r0 = pr[0], r1 = pr[1];
    pz[0] = r1;
    pz[1] = -r0;
  }
};

TEST(PCG, BreakdownsWarnAndLeaveTheLoop) {
  // p' A p = 0 on the first direction of an indefinite matrix.
  DenseOperator<double, long> indefinite(2, {1, 0, 0, -1}), spd(2, {2, 1, 1, 2});
  auto x = test::parVector<double>({0, 0});
  Outcome o = solve<double, long>({}, indefinite, {1, 1}, x);
  EXPECT_NE(o.out.find("src/solver/SolverPCG:"), std::string::npos) << o.out;
  EXPECT_NE(o.out.find(", Warning! the matrix may not be SPD.\n"), std::string::npos) << o.out;
  EXPECT_EQ(std::make_pair(o.iter, o.res), std::make_pair(1, 1.0));
  // A zero r . z: the second iteration finds the previous rho zero.
  Rotation M;
  x = test::parVector<double>({0, 0});
  o = solve<double, long>({}, spd, {1, 2}, x, &M);
  EXPECT_NE(o.out.find("Warning! the matrix may not be SPD."), std::string::npos) << o.out;
  EXPECT_EQ(o.iter, 2);
}

TEST(PCG, VerboseTablePrintsTheHeaderAndRows) {
  DenseOperator<double, long> A(2, {2, 0, 0, 3});
  auto x = test::parVector<double>({0, 0});
  const Outcome o = solve<double, long>({{"verbose", 1}, {"btol", 1e-3}}, A, {2, 3}, x);
  EXPECT_NE(o.out.find("======================== PCG =====================\n"
                       "Tolerances: atol=0, rtol=1e-08, btol=0.001\n"
                       "Iters   Resid. norm    Resid./resid0  Resid./rhs\n"
                       "-----   ------------   -------------  ------------\n"
                       "    0   3.605551e+00   1.000000e+00   1.000000e+00\n"),
            std::string::npos)
      << o.out;
}

}  // namespace solver_pcg_test
