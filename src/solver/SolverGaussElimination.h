#pragma once

#include "mat/Matrix.h"
#include "operators/ParOperator.h"

namespace velmo {

// A direct solver for small systems, such as the coarsest level of multigrid, registered as
// "SolverGauss". setup gathers the matrix into a dense one on its device and factors it once
// (LU with partial pivoting, on the host); solve only substitutes.
//
// Keys: "max_rows" (20000), the largest matrix setup accepts, and the shared "verbose" for
// the log lines.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverGaussElimination_T : public ParSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = ParSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  void create(const json& params);
  // A must be a square ParCSRMatrixT of at most "max_rows" rows on one rank; otherwise the
  // process stops. A zero pivot prints a warning, and the solves that follow report failure.
  void setup(const ParMatrixFree& A) override;
  // x = A^-1 b with the factors of setup; M is not used. iter is 1 and res the true residual
  // over the norm of b. After a zero pivot x is left as it was, iter is 0 and the solve is not
  // converged.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  long m_maxRows = 20000;
  LocalIndex m_rows = -1;  // of the factored matrix; -1 before setup
  bool m_singular = false;
  MatrixT<Value, LocalIndex> m_lu;
  MatrixT<LocalIndex, LocalIndex> m_pivots;
  ParMatrix m_r;
};

}  // namespace velmo
