#include <future>
#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "TestHelpers.h"
#include "operators/ParOperator.h"
#include "precond/ParLevelTransfer.h"
#include "utils/TestCase.h"

namespace {

using namespace velmo;
using test::LogCapture;

const Device host(0, 0);

template <class V, class G>
struct Types {
  using Value = V;
  using GlobalIndex = G;
  using ParMatrix = ParMatrixT<V, G, int>;
  using ParMatrixFree = ParMatrixFreeT<V, G, int>;
  using ParPreconditioner = ParPreconditionerT<V, G, int>;
  using ParSolver = ParSolverT<V, G, int>;
  using Identity = ParOperatorIdentityT<V, G, int>;
};

template <class T>
class ParOperatorTyped : public ::testing::Test {};
using OperatorTypes =
    ::testing::Types<Types<float, long>, Types<double, long>, Types<Complex<float>, long>, Types<Complex<double>, long>,
                     Types<float, int>, Types<double, int>, Types<Complex<float>, int>, Types<Complex<double>, int>>;
TYPED_TEST_SUITE(ParOperatorTyped, OperatorTypes);

template <class T>
typename T::ParMatrix vectorOf(const std::vector<double>& values) {
  typename T::ParMatrix v(typename T::GlobalIndex(values.size()), host);
  for (size_t i = 0; i < values.size(); ++i) v.setElementValue(long(i), 0, typename T::Value(values[i]));
  return v;
}

template <class ParMatrix>
std::vector<double> valuesOf(const ParMatrix& v) {
  std::vector<double> out;
  for (long i = 0; i < long(v.getRows()); ++i) out.push_back(double(realPart(v.getElementValue(i, 0))));
  return out;
}

// Each role of the identity is registered for every value and index type.
TYPED_TEST(ParOperatorTyped, IdentityIsRegisteredInThreeRoles) {
  using T = TypeParam;
  auto op = T::ParMatrixFree::getFactory().createInstance(json{{"matrix_type", "Identity"}});
  auto pre = T::ParPreconditioner::getFactory().createInstance(json{{"preconditioner_type", "PrecondIdentity"}});
  auto solver = T::ParSolver::getFactory().createInstance(json{{"solver_type", "SolverPreOnly"}});
  EXPECT_NE(dynamic_cast<typename T::Identity*>(op.get()), nullptr);
  EXPECT_NE(dynamic_cast<typename T::Identity*>(pre.get()), nullptr);
  EXPECT_NE(dynamic_cast<typename T::Identity*>(solver.get()), nullptr);
}

TYPED_TEST(ParOperatorTyped, IdentityAnswers) {
  using T = TypeParam;
  typename T::Identity identity;
  EXPECT_EQ(identity.getComm(), 1140850688);
  EXPECT_EQ(identity.getDevice(), host);
  EXPECT_EQ(identity.getRows(), 0);
  EXPECT_EQ(identity.getCols(), 0);

  auto x = vectorOf<T>({1, -2, 3});
  // The scalars are ignored: y = x, also into an unshaped y.
  typename T::ParMatrix y;
  identity.aAxpby(typename T::Value(2), x, typename T::Value(3), y);
  EXPECT_EQ(valuesOf(y), (std::vector<double>{1, -2, 3}));
  auto z = vectorOf<T>({7, 7, 7});
  identity.matVec(x, z);
  EXPECT_EQ(valuesOf(z), (std::vector<double>{1, -2, 3}));
  typename T::ParMatrix w;
  identity.precondition(x, w);
  EXPECT_EQ(valuesOf(w), (std::vector<double>{1, -2, 3}));
  // Copies, not aliases.
  x.fill(typename T::Value(0));
  EXPECT_EQ(valuesOf(y), (std::vector<double>{1, -2, 3}));
}

TYPED_TEST(ParOperatorTyped, PreOnlyAppliesItsPreconditionerOnce) {
  using T = TypeParam;
  typename T::Identity identity;
  auto b = vectorOf<T>({4, 5});
  typename T::ParMatrix x;
  int iter = -7;
  double res = -1.5;
  identity.solve(identity, identity, b, x, iter, res);
  EXPECT_EQ(valuesOf(x), (std::vector<double>{4, 5}));
  EXPECT_EQ(iter, -7);
  EXPECT_EQ(res, -1.5);
}

// Doubles its input, to tell it apart from the default identity.
template <class T>
struct Doubler : T::ParPreconditioner {
  using ParMatrix = typename T::ParMatrix;
  void setup(const typename T::ParMatrixFree&) override {}
  void precondition(const ParMatrix& x, ParMatrix& y) override {
    x.deepCopy(y);
    ParMatrix::scale(typename T::Value(2), y);
  }
};

TYPED_TEST(ParOperatorTyped, ShortSolveHoldsTheDefaultPreconditioner) {
  using T = TypeParam;
  auto solver = T::ParSolver::getFactory().createInstance(json{{"solver_type", "SolverPreOnly"}});
  ASSERT_NE(solver, nullptr);
  EXPECT_EQ(solver->getPreconditioner(), nullptr);

  typename T::Identity A;
  auto b = vectorOf<T>({1, 2});
  typename T::ParMatrix x;
  int iter = 0;
  double res = 0;
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(valuesOf(x), (std::vector<double>{1, 2}));
  auto held = solver->getPreconditioner();
  EXPECT_NE(dynamic_cast<typename T::Identity*>(held.get()), nullptr);
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(solver->getPreconditioner(), held) << "later solves reuse the held preconditioner";

  solver->setPreconditioner(std::make_shared<Doubler<T>>());
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(valuesOf(x), (std::vector<double>{2, 4}));
}

// Exposes the shared solver fields and drives the three log functions.
struct LoggingSolver : ParSolverT<double, long, int> {
  void setup(const ParMatrixFree&) override {}
  void solve(ParPreconditioner&, ParMatrixFree&, const ParMatrix&, ParMatrix&, int&, double&) override {}
  void run(int rankValue) {
    name = "Test";
    rank = rankValue;
    beginSolve();
    logSolverStatus(0, 1.5, 1.0, 0.25);
    finishSolve(3, 2000, 1e-9);
  }
  int getVerbose() const { return verbose; }
  double getRtol() const { return rtol; }
  int getMaxIts() const { return max_its; }
};

TEST(ParSolver, CreateReadsSharedKeys) {
  LoggingSolver solver;
  EXPECT_EQ(solver.getVerbose(), 0);
  EXPECT_EQ(solver.getRtol(), 1e-8);
  EXPECT_EQ(solver.getMaxIts(), 2000);
  solver.create(json::array({1, 2}));
  EXPECT_EQ(solver.getMaxIts(), 2000);
  solver.create(json{{"rtol", 1e-3}, {"max_its", 7}});
  EXPECT_EQ(solver.getVerbose(), 0);
  EXPECT_EQ(solver.getRtol(), 1e-3);
  EXPECT_EQ(solver.getMaxIts(), 7);
  solver.create(json{{"verbose", 2}});
  EXPECT_EQ(solver.getVerbose(), 2);
  EXPECT_EQ(solver.getMaxIts(), 7);
  EXPECT_THROW(solver.create(json{{"max_its", "many"}}), json::type_error);
}

TEST(ParSolver, LogLinesOnlyWhenVerboseOnRankZero) {
  LoggingSolver solver;
  {
    LogCapture log;
    solver.run(0);
    EXPECT_TRUE(log.lines.empty());
  }
  solver.create(json{{"verbose", 1}});
  {
    LogCapture log;
    solver.run(1);
    EXPECT_TRUE(log.lines.empty());
  }
  LogCapture log;
  solver.run(0);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{
                             "Begin solving using Test",
                             "iter        res          res_r0          res_b",
                             "0\t1.500000e+00\t1.000000e+00\t2.500000e-01",
                             "Finish solving using Test, iter/max_its 3/2000, res_b 1e-09",
                         }));
  for (const auto& line : log.lines) {
    EXPECT_EQ(line.severity, google::GLOG_INFO);
    EXPECT_EQ(line.file, "ParOperator.cpp");
  }
}

TEST(ParOperatorFactories, KeysAndPlugInOnlyFactories) {
  using V = double;
  EXPECT_EQ((ParMatrixFreeT<V, long, int>::getFactory().getKey()), "matrix_type");
  EXPECT_EQ((ParPreconditionerT<V, long, int>::getFactory().getKey()), "preconditioner_type");
  EXPECT_EQ((ParSolverT<V, long, int>::getFactory().getKey()), "solver_type");
  EXPECT_EQ((ParSmootherT<V, long, int>::getFactory().getKey()), "smoother_type");
  EXPECT_EQ((ParOpBaseT<V, long, int>::getFactory().getKey()), "op_type");
  EXPECT_EQ((ParLevelTransferT<V, long, int>::getFactory().getKey()), "level_transfer_type");
  EXPECT_EQ((ParRestrictionerT<V, long, int>::getFactory().getKey()), "restrictioner_type");
  EXPECT_EQ((ParProlongationerT<V, long, int>::getFactory().getKey()), "prolongationer_type");
  EXPECT_EQ((ParCoarsenerT<V, long, int>::getFactory().getKey()), "coarsener_type");
  EXPECT_EQ((ParInterpolatorT<V, long, int>::getFactory().getKey()), "interpolator_type");
  EXPECT_EQ((ParAggregatorT<V, long, int>::getFactory().getKey()), "aggregator_type");
  EXPECT_EQ((TestCaseT<V, long, int>::getFactory().getKey()), "testcase_type");

  EXPECT_TRUE((ParOpBaseT<V, long, int>::getFactory().getNames().empty()));
  EXPECT_TRUE((ParRestrictionerT<V, long, int>::getFactory().getNames().empty()));
  EXPECT_TRUE((ParProlongationerT<V, long, int>::getFactory().getNames().empty()));
  EXPECT_TRUE((ParCoarsenerT<V, long, int>::getFactory().getNames().empty()));
  EXPECT_TRUE((ParInterpolatorT<V, long, int>::getFactory().getNames().empty()));
  EXPECT_TRUE((ParAggregatorT<V, long, int>::getFactory().getNames().empty()));
}

TEST(AsyncMatVecObject, WaitReturnsOnceThenFails) {
  ParMatrixFreeT<double, long, int>::AsyncMatVecObject async;
  async.promise.set_value(7);
  EXPECT_EQ(async.wait(), 7);
  EXPECT_THROW(async.wait(), std::future_error);
  ParMatrixFreeT<double, long, int>::AsyncMatVecObject moved;
  auto keep = std::move(moved.promise);
  EXPECT_THROW(moved.wait(), std::future_error);
}

}  // namespace
