#pragma once

#include "solver/KrylovSolver.h"

namespace velmo {

// Preconditioned stabilised bi-conjugate gradients for general operators, registered as
// "SolverBiCGSTAB". Keys and stopping rules are those of SolverPCG_T.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverBiCGSTAB_T : public KrylovSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = KrylovSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  void create(const json& params);
  // Improves x in place; iter and res as for PCG. Two breakdowns leave the loop with a line on
  // standard output: a zero rho, and a half step whose residual s all but vanishes, which
  // then ends on the true residual.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  using Base::m_params;
  // Work vectors, kept between solves.
  ParMatrix m_r, m_rhat, m_p, m_v, m_phat, m_s, m_shat, m_t;
};

}  // namespace velmo
