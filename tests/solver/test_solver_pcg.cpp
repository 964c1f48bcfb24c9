#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "TestHelpers.h"
#include "solver/SolverPCG.h"
#include "utils/Factory.h"

namespace {

using namespace velmo;

// A dense host operator, so that the method is tested apart from the sparse classes.
template <class V>
class DenseOperator : public ParMatrixFreeT<V, long, int> {
 public:
  using Vector = ParMatrixT<V, long, int>;
  DenseOperator(int n, std::vector<V> a) : m_n(n), m_a(std::move(a)) {}
  int getComm() const override { return comu::kCommSelf; }
  Device getDevice() const override { return Device(0, 0); }
  long getRows() const override { return m_n; }
  long getCols() const override { return m_n; }
  void aAxpby(V a, const Vector& x, V b, Vector& y,
              typename ParMatrixFreeT<V, long, int>::AsyncMatVecObject* = nullptr) override {
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

template <class V>
ParMatrixT<V, long, int> vectorOf(const std::vector<V>& values) {
  ParMatrixT<V, long, int> v(long(values.size()), Device(0, 0));
  std::copy(values.begin(), values.end(), v.getLocalMatrix().getData());
  return v;
}

// i for a complex type, zero for a real one.
template <class V>
V imaginaryUnit() {
  if constexpr (is_complex_v<V>) {
    return V(0, 1);
  } else {
    return V(0);
  }
}

template <class V>
std::shared_ptr<SolverPCG_T<V, long, int>> makePCG(const json& params) {
  auto solver = std::make_shared<SolverPCG_T<V, long, int>>();
  solver->create(params);
  return solver;
}

template <class V>
class PCGTyped : public ::testing::Test {};
using FloatingTypes = ::testing::Types<double, Complex<double>, float, Complex<float>>;
TYPED_TEST_SUITE(PCGTyped, FloatingTypes);

// A Hermitian positive definite 4 x 4 system with a known solution.
TYPED_TEST(PCGTyped, SolvesAnSPDSystemToTheDirectSolution) {
  using V = TypeParam;
  using R = RealOf<V>;
  const V i1 = imaginaryUnit<V>();
  std::vector<V> a = {V(4),      V(1) + i1, V(0),      V(0),
                      V(1) - i1, V(5),      V(2),      V(0),
                      V(0),      V(2),      V(6),      V(1) - i1,
                      V(0),      V(0),      V(1) + i1, V(3)};
  DenseOperator<V> A(4, a);
  std::vector<V> exact = {V(1), V(-2), V(3) + i1, V(0.5)};
  auto xExact = vectorOf(exact);
  auto b = vectorOf(std::vector<V>(4));
  A.aAxpby(V(1), xExact, V(0), b);
  auto x = vectorOf(std::vector<V>(4));
  int iter = -1;
  double res = -1;
  const double rtol = std::is_same_v<R, float> ? 1e-5 : 1e-12;
  auto pcg = makePCG<V>({{"rtol", rtol}});
  EXPECT_FALSE(pcg->converged());
  pcg->solve(A, b, x, iter, res);
  EXPECT_TRUE(pcg->converged());
  EXPECT_GT(iter, 0);
  EXPECT_LE(iter, 8);
  EXPECT_LE(res, rtol);
  for (int k = 0; k < 4; ++k) test::expectNear(exact[k], x.getLocalMatrix().getData()[k], std::is_same_v<R, float> ? 1e3 : 1e4);
}

TEST(PCG, StoppingRules) {
  DenseOperator<double> A(2, {2, 0, 0, 3});
  auto b = vectorOf<double>({2, 3});
  int iter = -7;
  double res = -7;

  // A zero right-hand side zeroes x and leaves iter and res alone.
  auto zeroB = vectorOf<double>({0, 0});
  auto x = vectorOf<double>({5, 5});
  makePCG<double>({})->solve(A, zeroB, x, iter, res);
  EXPECT_EQ(x.getLocalMatrix().getData()[1], 0.0);
  EXPECT_EQ(iter, -7);
  EXPECT_EQ(res, -7.0);

  // max_its 0: no iteration, res is the initial relative residual.
  x = vectorOf<double>({0, 0});
  auto limited = makePCG<double>({{"max_its", 0}});
  limited->solve(A, b, x, iter, res);
  EXPECT_FALSE(limited->converged());
  EXPECT_EQ(iter, 0);
  EXPECT_DOUBLE_EQ(res, 1.0);

  // rtol at or above 1 admits the start.
  makePCG<double>({{"rtol", 1.0}})->solve(A, b, x, iter, res);
  EXPECT_EQ(iter, 0);

  // An exact start with an absolute tolerance runs no iteration; with rtol alone the zero
  // residual is still not above its threshold of zero.
  x = vectorOf<double>({1, 1});
  makePCG<double>({{"atol", 1e-12}})->solve(A, b, x, iter, res);
  EXPECT_EQ(iter, 0);
  EXPECT_EQ(res, 0.0);
}

TEST(PCG, BreakdownWarnsAndLeavesTheLoop) {
  // p' A p = 0 on the first direction of an indefinite matrix.
  DenseOperator<double> A(2, {1, 0, 0, -1});
  auto b = vectorOf<double>({1, 1});
  auto x = vectorOf<double>({0, 0});
  int iter = 0;
  double res = 0;
  testing::internal::CaptureStdout();
  makePCG<double>({})->solve(A, b, x, iter, res);
  std::fflush(stdout);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("src/solver/SolverPCG:"), std::string::npos) << out;
  EXPECT_NE(out.find(", Warning! the matrix may not be SPD.\n"), std::string::npos) << out;
  EXPECT_EQ(iter, 1);
  EXPECT_DOUBLE_EQ(res, 1.0);
}

// A preconditioner that rotates the residual makes r . z vanish: the second iteration
// finds the previous rho zero.
class Rotation : public ParPreconditionerT<double, long, int> {
 public:
  void setup(const ParMatrixFreeT<double, long, int>&) override {}
  void precondition(const ParMatrixT<double, long, int>& r, ParMatrixT<double, long, int>& z) override {
    const double* pr = r.getLocalMatrix().getData();
    double* pz = z.getLocalMatrix().getData();
    double r0 = pr[0], r1 = pr[1];
    pz[0] = r1;
    pz[1] = -r0;
  }
};

TEST(PCG, ZeroRhoWarnsOnTheNextIteration) {
  DenseOperator<double> A(2, {2, 1, 1, 2});
  auto b = vectorOf<double>({1, 2});
  auto x = vectorOf<double>({0, 0});
  Rotation M;
  int iter = 0;
  double res = 0;
  testing::internal::CaptureStdout();
  makePCG<double>({})->solve(M, A, b, x, iter, res);
  std::fflush(stdout);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Warning! the matrix may not be SPD."), std::string::npos) << out;
  EXPECT_EQ(iter, 2);
}

TEST(PCG, VerboseTablePrintsTheHeaderAndRows) {
  DenseOperator<double> A(2, {2, 0, 0, 3});
  auto b = vectorOf<double>({2, 3});
  auto x = vectorOf<double>({0, 0});
  int iter = 0;
  double res = 0;
  testing::internal::CaptureStdout();
  makePCG<double>({{"verbose", 1}, {"btol", 1e-3}})->solve(A, b, x, iter, res);
  std::fflush(stdout);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("======================== PCG =====================\n"
                     "Tolerances: atol=0, rtol=1e-08, btol=0.001\n"
                     "Iters   Resid. norm    Resid./resid0  Resid./rhs\n"
                     "-----   ------------   -------------  ------------\n"
                     "    0   3.605551e+00   1.000000e+00   1.000000e+00\n"),
            std::string::npos)
      << out;
}

}  // namespace
