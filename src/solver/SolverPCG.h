#pragma once

#include "operators/ParOperator.h"

namespace velmo {

// Preconditioned conjugate gradients for symmetric (Hermitian) positive definite operators,
// registered as "SolverPCG". It sees the operator only through aAxpby and the vectors only
// through ParMatrixT.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverPCG_T : public ParSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = ParSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  // Reads the shared "verbose", "rtol", "max_its", then this method's own block, which
  // also takes "btol" and "atol"; the iteration obeys the own block.
  void create(const json& params);
  void setup(const ParMatrixFree&) override {}
  // Improves x in place; on return iter is the iteration count and res the final residual
  // norm over the norm of b. A zero b gives x = 0 and leaves iter and res untouched.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  int m_max_its = 1000;
  double m_rtol = 1e-8;
  double m_btol = 0;
  double m_atol = 0;
  int m_verbose = 0;
};

}  // namespace velmo
