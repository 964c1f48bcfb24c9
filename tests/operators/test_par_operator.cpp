#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "TestHelpers.h"
#include "operators/ParOperator.h"
#include "precond/ParLevelTransfer.h"
#include "utils/Factory.h"

namespace par_operator_test {

using namespace velmo;
using test::LogCapture;
using Matrix = ParMatrixT<double, long, int>;
using Identity = ParOperatorIdentityT<double, long, int>;
using Solver = ParSolverT<double, long, int>;

// Each role of the identity is registered for the floating value types and both index widths.
template <class P>
class IdentityRegistration : public ::testing::Test {};
TYPED_TEST_SUITE(IdentityRegistration, test::FloatTypes);

TYPED_TEST(IdentityRegistration, InThreeRoles) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  using Id = ParOperatorIdentityT<V, G, int>;
  auto op = ParMatrixFreeT<V, G, int>::getFactory().createInstance(json{{"matrix_type", "Identity"}});
  auto pre =
      ParPreconditionerT<V, G, int>::getFactory().createInstance(json{{"preconditioner_type", "PrecondIdentity"}});
  auto solver = ParSolverT<V, G, int>::getFactory().createInstance(json{{"solver_type", "SolverPreOnly"}});
  EXPECT_NE(dynamic_cast<Id*>(op.get()), nullptr);
  EXPECT_NE(dynamic_cast<Id*>(pre.get()), nullptr);
  EXPECT_NE(dynamic_cast<Id*>(solver.get()), nullptr);
}

TEST(ParOperatorIdentity, CopiesItsInputInEveryRole) {
  Identity identity;
  EXPECT_EQ(identity.getRows(), 0);
  // The scalars are ignored: y = x, also into an unshaped y.
  auto x = test::parVector<double>({1, -2, 3});
  Matrix y, w, z = test::parVector<double>({7, 7, 7});
  identity.aAxpby(2.0, x, 3.0, y);
  identity.matVec(x, z);
  identity.precondition(x, w);
  x.fill(0.0);  // copies, not aliases
  for (const Matrix* out : {&y, &z, &w}) EXPECT_EQ(test::contents(*out), (std::vector<double>{1, -2, 3}));

  // As a solver it applies its preconditioner once and leaves the counters alone.
  int iter = -7;
  double res = -1.5;
  identity.solve(identity, identity, test::parVector<double>({4, 5}), y, iter, res);
  EXPECT_EQ(test::contents(y), (std::vector<double>{4, 5}));
  EXPECT_EQ(std::make_pair(iter, res), std::make_pair(-7, -1.5));
}

// Doubles its input, to tell it apart from the default identity.
struct Doubler : ParPreconditionerT<double, long, int> {
  void setup(const ParMatrixFree&) override {}
  void precondition(const Matrix& x, Matrix& y) override {
    x.deepCopy(y);
    Matrix::scale(2.0, y);
  }
};

TEST(ParSolver, ShortSolveHoldsTheDefaultPreconditioner) {
  auto solver = Solver::getFactory().createInstance(json{{"solver_type", "SolverPreOnly"}});
  ASSERT_NE(solver, nullptr);
  EXPECT_EQ(solver->getPreconditioner(), nullptr);
  Identity A;
  auto b = test::parVector<double>({1, 2});
  Matrix x;
  int iter = 0;
  double res = 0;
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(test::contents(x), (std::vector<double>{1, 2}));
  auto held = solver->getPreconditioner();
  EXPECT_NE(dynamic_cast<Identity*>(held.get()), nullptr);
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(solver->getPreconditioner(), held) << "later solves reuse the held preconditioner";

  solver->setPreconditioner(std::make_shared<Doubler>());
  solver->solve(A, b, x, iter, res);
  EXPECT_EQ(test::contents(x), (std::vector<double>{2, 4}));
}

// Exposes the shared solver fields and drives the three log functions.
struct LoggingSolver : Solver {
  void setup(const ParMatrixFree&) override {}
  void solve(ParPreconditioner&, ParMatrixFree&, const ParMatrix&, ParMatrix&, int&, double&) override {}
  void run(int rankValue, bool outcome = true) {
    name = "Test";
    rank = rankValue;
    beginSolve();
    logSolverStatus(0, 1.5, 1.0, 0.25);
    finishSolve(3, 2000, 1e-9, outcome);
  }
  std::tuple<int, double, int> shared() const { return {verbose, rtol, max_its}; }
};

TEST(ParSolver, SharedKeysAndLogLinesOnlyWhenVerboseOnRankZero) {
  LoggingSolver solver;
  EXPECT_EQ(solver.shared(), std::make_tuple(0, 1e-8, 2000));
  solver.create(json::array({1, 2}));  // not an object: nothing to read
  solver.create(json{{"rtol", 1e-3}, {"max_its", 7}});
  EXPECT_EQ(solver.shared(), std::make_tuple(0, 1e-3, 7));
  EXPECT_THROW(solver.create(json{{"max_its", "many"}}), json::type_error);
  {
    // The outcome is recorded whether or not anything is logged.
    LogCapture quiet;
    EXPECT_FALSE(solver.converged());
    solver.run(0);
    EXPECT_TRUE(solver.converged());
    solver.create(json{{"verbose", 1}});
    solver.run(1, false);
    EXPECT_FALSE(solver.converged());
    EXPECT_TRUE(quiet.lines.empty());
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

// The keys of the factories that no registered name reaches: plug-ins configure by them.
TEST(ParOperatorFactories, Keys) {
  EXPECT_EQ((ParSmootherT<double, long, int>::getFactory().getKey()), "smoother_type");
  EXPECT_EQ((ParLevelTransferT<double, long, int>::getFactory().getKey()), "level_transfer_type");
  EXPECT_EQ((ParOpBaseT<double, long, int>::getFactory().getKey()), "op_type");
  EXPECT_EQ((ParRestrictionerT<double, long, int>::getFactory().getKey()), "restrictioner_type");
  EXPECT_EQ((ParProlongationerT<double, long, int>::getFactory().getKey()), "prolongationer_type");
  EXPECT_EQ((ParCoarsenerT<double, long, int>::getFactory().getKey()), "coarsener_type");
  EXPECT_EQ((ParInterpolatorT<double, long, int>::getFactory().getKey()), "interpolator_type");
  EXPECT_EQ((ParAggregatorT<double, long, int>::getFactory().getKey()), "aggregator_type");
}

}  // namespace par_operator_test
