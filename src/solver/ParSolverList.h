#pragma once

#include <memory>
#include <vector>

#include "operators/ParOperator.h"

namespace velmo {

// A fallback chain of solvers, "SolverList": each runs from the x the one before left, until
// one converges. Key "solvers": an array of objects, each with "solver_type" and its
// "<Name>_params", and optionally its own "preconditioner_type" with "<Name>_params"; a
// solver without one uses the preconditioner the list is given.
template <class Value, class GlobalIndex, class LocalIndex>
class ParSolverList_T : public ParSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = ParSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  ~ParSolverList_T() override = default;

  void create(const json& params);
  // Sets up every solver and every preconditioner of its own.
  void setup(const ParMatrixFree& A) override;
  // iter is the total over the solvers run, res the last one's; converged() is the last one's.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  using ParSolver = ParSolverT<Value, GlobalIndex, LocalIndex>;

  std::vector<std::shared_ptr<ParSolver>> solvers;
};

}  // namespace velmo
