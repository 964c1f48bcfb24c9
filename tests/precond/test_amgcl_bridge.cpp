#include <string>
#include <vector>

#include "SparseTestHelpers.h"
#include "precond/SeqLevelTransferRugeStuben.h"
#include "precond/SeqLevelTransferSmoothAggregation.h"
#include "utils/Factory.h"
#include "utils/TestCasePoissonFDM.h"
#include "velmo/Version.h"

// The AMGCL strategies against velmo's own, through the factory and the Impl of their bases;
// skipped in a build without the bridge.
namespace amgcl_bridge_test {

using namespace velmo;
using namespace velmo::test;

using Matrix = ParCSRMatrixT<double, long, int>;
using Transfer = ParLevelTransferT<double, long, int>;

Matrix poisson(int dim, int n) {
  PoissonFDM_T<double, long, int> problem;
  problem.create({{"dim", dim}, {"N", n}});
  Matrix A;
  ParMatrixT<double, long, int> x, b;
  problem.generate(A, x, b);
  return A;
}

// Runs the named strategy on A, keeping its Impl, and returns that.
template <class Strategy>
std::shared_ptr<typename Strategy::Impl> run(const std::string& name, const Matrix& A, long& coarse) {
  const auto transfer = Transfer::getFactory().createInstance({{"level_transfer_type", name}});
  auto* strategy = dynamic_cast<Strategy*>(transfer.get());
  EXPECT_NE(strategy, nullptr) << name;
  if (strategy == nullptr) return nullptr;
  strategy->setKeepImpl(true);
  Matrix P, R;
  testing::internal::CaptureStdout();  // the sequential strategy prints its P size
  transfer->transfer_operators(A, P, R);
  testing::internal::GetCapturedStdout();
  coarse = P.getCols();
  return strategy->getImpl();
}

class AMGCLBridge : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!VELMO_WITH_AMGCL_BRIDGE) GTEST_SKIP() << "AMGCL bridge: " VELMO_AMGCL_STATUS;
  }
};

TEST_F(AMGCLBridge, SmoothedAggregationGivesTheSequentialLevelSizes) {
  for (const Matrix& A : {poisson(2, 30), poisson(3, 10)}) {
    long seqCoarse = -1, bridgeCoarse = -2;
    using SA = SeqLevelTransferSmoothAggregation_T<double, long, int>;
    const auto seq = run<SA>("LevelTransferSmoothAggregationSeq", A, seqCoarse);
    const auto bridged = run<SA>("LevelTransferSmoothAggregationAMGCL", A, bridgeCoarse);
    ASSERT_TRUE(seq && bridged);
    EXPECT_EQ(bridgeCoarse, seqCoarse);
    EXPECT_EQ(bridged->naggr, seq->naggr);
    EXPECT_EQ(hostOf(bridged->S).val, hostOf(seq->S).val);
    // AMGCL numbers its aggregates in another order: the tentative prolongations differ by a
    // permutation of columns, so each row still holds one unit entry.
    EXPECT_EQ(hostOf(bridged->Ptent).ptr, hostOf(seq->Ptent).ptr);
    EXPECT_EQ(bridged->Ac.getRows(), seqCoarse);
  }
}

TEST_F(AMGCLBridge, RugeStubenGivesTheNativeSplit) {
  for (const Matrix& A : {poisson(2, 30), poisson(3, 10)}) {
    long nativeCoarse = -1, bridgeCoarse = -2;
    using RS = SeqLevelTransferRugeStuben_T<double, long, int>;
    const auto native = run<RS>("LevelTransferRugeStubenSeq", A, nativeCoarse);
    const auto bridged = run<RS>("LevelTransferRugeStubenAMGCL", A, bridgeCoarse);
    ASSERT_TRUE(native && bridged);
    EXPECT_EQ(contents(bridged->cf), contents(native->cf));
    EXPECT_EQ(hostOf(bridged->S).val, hostOf(native->S).val);
    EXPECT_EQ(bridgeCoarse, nativeCoarse);
    expectAllNear(toDense(native->P), toDense(bridged->P));
  }
}

}  // namespace amgcl_bridge_test
