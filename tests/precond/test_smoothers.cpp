#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "SparseTestHelpers.h"
#include "operators/ParOperator.h"
#include "precond/ParPrecondList.h"
#include "precond/ParSmootherJacobi.h"
#include "precond/ParSmootherJacobiLp.h"
#include "precond/ParSmootherList.h"
#include "precond/ParSmootherSOR.h"
#include "utils/Factory.h"

namespace smoothers_test {

using namespace velmo;
using namespace velmo::test;

template <class V>
using Vec = ParMatrixT<V, long, int>;

constexpr int kN = 4;

// Nonsymmetric and diagonally dominant, with one complex entry off the real line.
template <class V>
std::vector<V> system() {
  return {make<V>(4), make<V>(-1), 0, make<V>(0.5),
          make<V>(-2), make<V>(5), make<V>(1), 0,
          0, make<V>(-1, 1), make<V>(3), make<V>(-1),
          make<V>(1), 0, make<V>(-0.5), make<V>(2)};
}

template <class V>
const std::vector<V> kRhs{make<V>(1), make<V>(-2), make<V>(3, 1), make<V>(0.5)};

// x += relax W (b - A x) over all rows at once, with the weights w.
template <class V>
std::vector<V> jacobiSweep(const std::vector<V>& a, const std::vector<V>& w, std::vector<V> x, double relax) {
  std::vector<V> r(kRhs<V>);
  for (int i = 0; i < kN; ++i)
    for (int j = 0; j < kN; ++j) r[i] -= a[i * kN + j] * x[j];
  for (int i = 0; i < kN; ++i) x[i] += V(relax) * w[i] * r[i];
  return x;
}

// Rows in place, in one direction: x_i += omega (b_i - a_i x) / a_ii.
template <class V>
std::vector<V> sorSweep(const std::vector<V>& a, std::vector<V> x, double omega, bool forward) {
  for (int k = 0; k < kN; ++k) {
    const int i = forward ? k : kN - 1 - k;
    V s = kRhs<V>[i];
    for (int j = 0; j < kN; ++j) s -= a[i * kN + j] * x[j];
    x[i] += V(omega) * s / a[i * kN + i];
  }
  return x;
}

template <class Base, class V>
std::shared_ptr<Base> createNamed(const std::string& name, const json& params) {
  const std::string key = Base::getFactory().getKey();
  auto object = Base::getFactory().createInstance(json{{key, name}, {name + "_params", params}});
  EXPECT_NE(object, nullptr) << name;
  return object;
}

template <class V>
class Smoothers : public ::testing::Test {};
using ValueTypes = ::testing::Types<double, Complex<double>>;
TYPED_TEST_SUITE(Smoothers, ValueTypes);

TYPED_TEST(Smoothers, SweepsMatchHandWrittenOnes) {
  using V = TypeParam;
  const std::vector<V> a = system<V>();
  const auto A = parOf<V, long>(a, kN, kN, 1);
  const Vec<V> b = parVector<V>(kRhs<V>);
  const std::vector<V> x0{make<V>(0.5), make<V>(-1), make<V>(0, 1), make<V>(2)};

  std::vector<V> invDiag, lpWeight;
  for (int i = 0; i < kN; ++i) {
    double norm2 = 0;
    for (int j = 0; j < kN; ++j) norm2 += double(absValue(a[i * kN + j])) * double(absValue(a[i * kN + j]));
    invDiag.push_back(V(1) / a[i * kN + i]);
    // The complex weight divides by the norm itself: pow leaves complex values alone.
    lpWeight.push_back(a[i * kN + i] / V(is_complex_v<V> ? std::sqrt(norm2) : norm2));
  }

  auto jacobi = createNamed<ParSmootherT<V, long, int>, V>("SmootherJacobi", {{"relax", 0.7}, {"nsweeps", 2}});
  jacobi->setup(A);
  Vec<V> x = parVector<V>(x0);
  jacobi->smooth(b, x);
  expectAllNear(jacobiSweep(a, invDiag, jacobiSweep(a, invDiag, x0, 0.7), 0.7), contents(x));

  auto lp = createNamed<ParSmootherT<V, long, int>, V>("SmootherJacobiLp", {{"relax", 0.7}});
  lp->setup(A);
  x = parVector<V>(x0);
  lp->smooth(b, x);
  expectAllNear(jacobiSweep(a, lpWeight, x0, 0.7), contents(x));

  for (bool forward : {true, false}) {
    auto sor = createNamed<ParSmootherT<V, long, int>, V>("SmootherSOR",
                                                   {{"relax", 1.3}, {"nsweeps", 2}, {"forward", forward}});
    sor->setup(A);
    x = parVector<V>(x0);
    sor->smooth(b, x);
    expectAllNear(sorSweep(a, sorSweep(a, x0, 1.3, forward), 1.3, forward), contents(x));
  }

  // The listed smoothers run in their order, each from where the one before stopped.
  if constexpr (std::is_same_v<V, double>) {
    auto list = createNamed<ParSmootherT<V, long, int>, V>(
        "SmootherList", {{"smoothers",
                          {{{"smoother_type", "SmootherSOR"}, {"SmootherSOR_params", {{"nsweeps", 1}}}},
                           {{"smoother_type", "SmootherJacobi"}}}}});
    list->setup(A);
    x = parVector<V>(x0);
    list->smooth(b, x);
    expectAllNear(jacobiSweep(a, invDiag, sorSweep(a, x0, 1.0, true), 1.0), contents(x));
  }
}

// From a zero start the first sweep may skip A x; the bits must not change, signed zeros in b
// included, and a non-finite entry (whose product with zero is a NaN) must take the product.
TYPED_TEST(Smoothers, ZeroStartGivesTheBitsOfTheFullSweep) {
  using V = TypeParam;
  std::vector<V> a = system<V>();
  const Vec<V> b = parVector<V>({make<V>(-0.0), make<V>(0.0, -1), make<V>(3, 1), make<V>(-0.0, -0.0)});
  const std::vector<V> zeros(kN, V(0));
  for (bool finite : {true, false}) {
    if (!finite) a[1] = make<V>(std::numeric_limits<double>::infinity());
    const auto A = parOf<V, long>(a, kN, kN, 1);
    ParSmootherJacobi_T<V, long, int> jacobi;
    jacobi.create({{"relax", 0.7}});
    jacobi.setup(A);
    Vec<V> full = parVector<V>(zeros), skipped = parVector<V>(zeros);
    jacobi.smooth(b, full);
    const double fullResidual = jacobi.getLastResidual();
    jacobi.smoothFromZero(b, skipped);
    const double skippedResidual = jacobi.getLastResidual();
    const std::vector<V> x = contents(full), y = contents(skipped);
    EXPECT_EQ(std::memcmp(x.data(), y.data(), x.size() * sizeof(V)), 0) << "finite " << finite;
    EXPECT_EQ(std::memcmp(&fullResidual, &skippedResidual, sizeof(double)), 0);
    if constexpr (!is_complex_v<V>) EXPECT_EQ(std::isnan(double(x[0])), !finite);
  }
}

TEST(ParCSRRelaxation, LocalCallsUseTheOwnBlockAlone) {
  // Columns 0-1 are the own block; the entries of columns 2 and 3 are ignored.
  const auto A = parOf<double, long>(system<double>(), kN, kN, 2);
  Vec<double> x = parVector<double>({1, 1, 1, 1});
  A.sor(parVector<double>(kRhs<double>), x, 1.0, true);
  const std::vector<double> local = contents(x);
  EXPECT_DOUBLE_EQ(local[0], (1.0 - (-1.0) * 1) / 4);
  EXPECT_DOUBLE_EQ(local[1], (-2.0 - (-2.0) * local[0]) / 5);
}

TEST(Smoothers, PreconditionerSweepLimitAndSolveCounts) {
  auto A = parOf<double, long>(system<double>(), kN, kN, 1);
  const Vec<double> b = parVector<double>(kRhs<double>);
  ParSmootherJacobi_T<double, long, int> jacobi;
  jacobi.create({{"nsweeps", 2}, {"max_iters", 3}});
  jacobi.setup(A);
  Vec<double> x = parVector<double>({9, 9, 9, 9});
  jacobi.precondition(b, x);
  jacobi.precondition(b, x);  // overruns the limit within the call: four sweeps
  EXPECT_EQ(jacobi.getSweepCount(), 4);
  jacobi.setup(A);            // does not reset the count
  jacobi.precondition(b, x);  // spent: a copy of b
  EXPECT_EQ(contents(x), kRhs<double>);

  // A limit that ends the loop counts one more; a limit below 1 sweeps not at all.
  ParSmootherSOR_T<double, long, int> sor;
  sor.create({{"max_its", 3}, {"rtol", 1e-30}, {"initial_zero", 0}});
  sor.setup(A);
  int iters = 0;
  double relres = 0;
  x = parVector<double>({0, 0, 0, 0});
  sor.solve(A, b, x, iters, relres);
  EXPECT_EQ(iters, 4);
  EXPECT_FALSE(sor.converged());
  sor.create({{"max_its", 0}});
  sor.solve(A, b, x, iters, relres);
  EXPECT_EQ(iters, 1);
  sor.create({{"max_its", 200}, {"rtol", 1e-10}});
  sor.solve(A, b, x, iters, relres);
  EXPECT_TRUE(sor.converged());
  EXPECT_LT(relres, 1e-10);
}

TEST(Smoothers, RejectedSetupsAndKeys) {
  ParOperatorIdentityT<double, long, int> identity;
  ParSmootherSOR_T<double, long, int> sor;
  EXPECT_DEATH(sor.setup(identity), "ParSOR setup should be a ParCSRMatrix!");
  ParSmootherJacobi_T<double, long, int> jacobi;
  EXPECT_DEATH(jacobi.setup(identity), "ParSOR setup should be a ParCSRMatrix!");
  EXPECT_THROW(jacobi.create({{"initial_zero", 1}}), json::type_error);
  const json unknown = {{"smoothers", {{{"smoother_type", "SmootherNone"}}}}};
  EXPECT_DEATH((createNamed<ParSmootherT<double, long, int>, double>("SmootherList", unknown)),
               "SmootherList: unknown smoother_type");

  // The irregular names: for float, "SolverJacobiLp" is a smoother, and there is no float list.
  const json jacobiLpSolver = {{"solver_type", "SolverJacobiLp"}};
  const json jacobiLpSmoother = {{"smoother_type", "SolverJacobiLp"}};
  const json list = {{"smoother_type", "SmootherList"}};
  EXPECT_EQ((ParSolverT<float, long, int>::getFactory().createInstance(jacobiLpSolver)), nullptr);
  EXPECT_NE((ParSmootherT<float, long, int>::getFactory().createInstance(jacobiLpSmoother)), nullptr);
  EXPECT_NE((ParSolverT<double, int, int>::getFactory().createInstance(jacobiLpSolver)), nullptr);
  EXPECT_EQ((ParSmootherT<float, int, int>::getFactory().createInstance(list)), nullptr);
}

TEST(PrecondList, AppliesItsMembersMultiplicatively) {
  const std::vector<double> a = system<double>();
  const auto A = parOf<double, long>(a, kN, kN, 1);
  auto list = createNamed<ParPreconditionerT<double, long, int>, double>(
      "PrecondList", {{"preconditioners",
                       {{{"preconditioner_type", "PrecondJacobi"}},
                        {{"preconditioner_type", "PrecondSOR"}, {"PrecondSOR_params", {{"nsweeps", 1}}}}}}});
  list->setup(A);
  Vec<double> x = parVector<double>({7, 7, 7, 7});
  list->precondition(parVector<double>(kRhs<double>), x);

  // x = Jacobi(b) from zero, then x += SOR(b - A x) with the correction from zero.
  std::vector<double> invDiag;
  for (int i = 0; i < kN; ++i) invDiag.push_back(1 / a[i * kN + i]);
  const std::vector<double> x1 = jacobiSweep(a, invDiag, {0, 0, 0, 0}, 1.0);
  const std::vector<double> x2 = sorSweep(a, x1, 1.0, true);  // the same as x1 + SOR(b - A x1)
  expectAllNear(x2, contents(x));
}

}  // namespace smoothers_test
