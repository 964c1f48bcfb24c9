#include "solver/SolverBiCGSTAB.h"

#include <cstdio>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void SolverBiCGSTAB_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  this->createKrylov(params, "BICGSTAB");
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverBiCGSTAB_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                             const ParMatrix& b, ParMatrix& x, int& iter,
                                                             double& res) {
  double norm_b = 0;
  if (!this->startSolve(A, b, x, norm_b)) return;
  const bool table = this->printsTable();

  ParMatrix &r = m_r, &rhat = m_rhat, &p = m_p, &v = m_v, &phat = m_phat, &s = m_s, &shat = m_shat, &t = m_t;
  Base::shapeLike(A, {&r, &rhat, &p, &v, &phat, &s, &shat, &t});

  const double res0 = Base::startResidual(A, b, x, r);
  double resNorm = res0;
  const double threshold = m_params.threshold(norm_b, res0);

  this->beginSolve();
  this->logSolverStatus(0, res0, 1, res0 / norm_b);
  if (table) m_params.printTableHead("======================== BiCGstab =====================", res0, norm_b);

  r.deepCopy(rhat);
  p.fill(Value(0));
  v.fill(Value(0));
  int it = 0;
  Value rho = Value(0), rho_old = Value(0), alpha = Value(0), omega = Value(0);
  while (resNorm > threshold && it < m_params.max_its) {
    ++it;
    rho = ParMatrix::dot(rhat, r);
    if (rho == Value(0)) {
      if (this->rank == 0) std::printf("hgv: bicgstab: method failed.!\n");
      break;
    }
    if (it == 1) {
      r.deepCopy(p);
    } else {
      const Value beta = (rho * alpha) / (rho_old * omega);
      ParMatrix::axpby(-omega, v, Value(1), p);
      ParMatrix::axpby(Value(1), r, beta, p);
    }
    M.precondition(p, phat);
    A.aAxpby(Value(1), phat, Value(0), v);
    alpha = rho / ParMatrix::dot(rhat, v);
    r.deepCopy(s);
    ParMatrix::axpby(-alpha, v, Value(1), s);

    const double norm_s = ParMatrix::normL2(s);
    if (norm_s <= 1e-60) {
      if (this->rank == 0) std::printf("hgv: bicgstab: ||s|| is too small: %e, terminated.\n", norm_s);
      ParMatrix::axpby(alpha, phat, Value(1), x);
      resNorm = ParMatrix::residual(A, x, b, r);
      break;
    }
    M.precondition(s, shat);
    A.aAxpby(Value(1), shat, Value(0), t);
    omega = ParMatrix::dot(t, s) / ParMatrix::dot(t, t);
    // phat becomes the whole update, so both directions reach x in one sum.
    ParMatrix::axpby(omega, shat, alpha, phat);
    ParMatrix::axpby(Value(1), phat, Value(1), x);
    s.deepCopy(r);
    ParMatrix::axpby(-omega, t, Value(1), r);
    resNorm = ParMatrix::normL2(r);

    if (table) KrylovParams::printTableRow(it, resNorm, res0, norm_b);
    this->logSolverStatus(it, resNorm, resNorm / res0, resNorm / norm_b);
    rho_old = rho;
  }

  iter = it;
  res = resNorm / norm_b;
  this->finishSolve(it, m_params.max_its, res, resNorm <= threshold);
}

#define VELMO_INSTANTIATE(V, G, L) template class SolverBiCGSTAB_T<V, G, L>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

VELMO_REGISTER_FLOATING(ParSolverT, SolverBiCGSTAB, SolverBiCGSTAB_T);

}  // namespace velmo
