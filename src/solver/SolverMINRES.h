#pragma once

#include "solver/KrylovSolver.h"

namespace velmo {

// Preconditioned MINRES for symmetric, possibly indefinite operators, with a symmetric
// positive definite preconditioner; registered as "SolverMINRES" for float and double.
// Keys and stopping rules are those of SolverPCG_T: the 2-norm of the residual b - A x,
// carried by a recurrence, is compared with the loosest of btol ||b||, rtol ||r0|| and atol.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverMINRES_T : public KrylovSolverT<Value, GlobalIndex, LocalIndex> {
  static_assert(!is_complex_v<Value>, "MINRES is built for real symmetric operators");
  using Base = KrylovSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  void create(const json& params);
  // Improves x in place; iter and res as for PCG. A preconditioner found not positive
  // definite, or an operator singular on the Krylov space, ends the loop with a warning on
  // standard output.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  using Base::m_params;
  // Work vectors, kept between solves: the residual, the last two Lanczos vectors before
  // preconditioning, the preconditioned one, the normalised one and three search directions.
  ParMatrix m_r, m_r1, m_r2, m_y, m_v, m_w, m_w1, m_w2;
};

}  // namespace velmo
