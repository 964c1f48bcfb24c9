#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "operators/ParOperator.h"
#include "precond/ParLevelTransfer.h"

namespace velmo {

// Algebraic multigrid: a hierarchy of Galerkin operators (R A) P built once by setup, then one
// V-cycle per preconditioner call ("PrecondAMG"), or V-cycles until the residual falls below
// 1e-8 |b| as a solver ("SolverAMG"). How a coarse space is chosen is the level transfer's
// business.
//
// Keys: "max_levels" (20), "min_coarse_size" (10: coarsening stops once a level has at most
// this many columns), "verb" (0; above 3 every level logs its residuals), and the objects
// "pre_smoother" and "post_smoother" (for the smoother factory), "level_transfer" (for the
// level-transfer factory) and, optionally, "coarse_solver" (for the solver factory; without
// it the coarsest level runs the two smoothers).
template <class Value, class GlobalIndex, class LocalIndex>
class ParPreconditionerAMG_T : public ParPreconditionerT<Value, GlobalIndex, LocalIndex>,
                               public ParSolverT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;
  using ParSmoother = ParSmootherT<Value, GlobalIndex, LocalIndex>;
  using ParSolver = ParSolverT<Value, GlobalIndex, LocalIndex>;
  using ParLevelTransfer = ParLevelTransferT<Value, GlobalIndex, LocalIndex>;
  using ParSolver::solve;

  // One level. Copies share every matrix and handle. The work vectors persist between cycles.
  struct Level {
    ParCSRMatrix A;
    ParCSRMatrix P;  // from the next level to this one; empty on the coarsest
    ParCSRMatrix R;  // from this level to the next
    ParMatrix coarse_x;
    ParMatrix residual_vec;
    ParMatrix fine_correction;
    ParMatrix coarse_b;
    std::shared_ptr<ParSmoother> pre_smoother;
    std::shared_ptr<ParSmoother> post_smoother;
    std::shared_ptr<ParSmoother> coarse_pre_smoother;
    std::shared_ptr<ParSmoother> coarse_post_smoother;
    std::shared_ptr<ParSolver> coarse_solver;
    std::shared_ptr<ParLevelTransfer> level_transfer;
  };

  ~ParPreconditionerAMG_T() override = default;

  // Setup makes the parts per level; their parameters are recorded now, from probes.
  void create(const json& params);
  // Both roles report the one record.
  const json& getParams() const override { return ParSolver::getParams(); }
  // Builds the hierarchy on A, which must be a ParCSRMatrixT and stays shared as level 0. A
  // second setup appends behind the first hierarchy: set an object up once.
  void setup(const ParMatrixFree& A) override;
  // One V-cycle from zero.
  void precondition(const ParMatrix& b, ParMatrix& x) override;
  // V-cycles on the matrix of setup from x as given; M and A are not used. iter counts the
  // cycles before the converging one (0 when the first converges), relres is |b - A x| / |b|.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& relres) override;

  // One cycle from `level` down; xIsZero says x holds zeros, which lets the pre-smoother skip
  // the work a zero start makes void.
  void vcycle_recursive(int level, const ParMatrix& b, ParMatrix& x, bool xIsZero = false);
  // |b - A x|, for the logs.
  double residual(ParCSRMatrix& A, const ParMatrix& x, const ParMatrix& b);

  const std::vector<Level>& getLevels() const { return levels; }

  // Where setup spent its time, in seconds: the level transfers (P and R) and the Galerkin
  // products (R A) P. Smoother setups make up the rest.
  struct SetupTimes {
    double transfers = 0;
    double galerkin = 0;
  };
  SetupTimes getSetupTimes() const { return setupTimes; }

 private:
  // The member named by params[key] from the factory of T; an unknown name is fatal.
  template <class T>
  std::shared_ptr<T> createPart(const char* key);
  // Records the block of the part under params[key], when there is one.
  template <class T>
  void recordPart(const char* key);
  ParamRecord& paramRecord() { return ParSolver::paramRecord(); }

  std::vector<Level> levels;
  int max_levels = 20;
  int min_coarse_size = 10;
  int verb = 0;
  double solve_tol = 1e-8;
  int solve_max_iters = 5000;
  ParCSRMatrix A;
  json params;
  // Work vector of residual(), kept so that solve allocates nothing per cycle.
  ParMatrix residualWork;
  SetupTimes setupTimes;
};

}  // namespace velmo
