#pragma once

#include "solver/KrylovSolver.h"

namespace velmo {

// Preconditioned conjugate gradients for symmetric (Hermitian) positive definite operators,
// registered as "SolverPCG". It sees the operator only through aAxpby and the vectors only
// through ParMatrixT.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverPCG_T : public KrylovSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = KrylovSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  // Reads the shared "verbose", "rtol", "max_its", then this method's own block, which
  // also takes "btol" and "atol"; the iteration obeys the own block.
  void create(const json& params);
  // Improves x in place; on return iter is the iteration count and res the final residual
  // norm over the norm of b. A zero b gives x = 0 and leaves iter and res untouched.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  using Base::m_params;
  // Work vectors, kept between solves. pOld and rOld receive copies that are never read:
  // they belong to the method's fixed sequence of operations.
  ParMatrix m_r, m_z, m_p, m_Ap, m_pOld, m_rOld;
};

}  // namespace velmo
