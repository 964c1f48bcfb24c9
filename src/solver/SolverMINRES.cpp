#include "solver/SolverMINRES.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include "utils/Factory.h"

namespace velmo {

namespace {
constexpr const char* kSource = "src/solver/SolverMINRES";
}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void SolverMINRES_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  this->createKrylov(params, "MINRES");
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverMINRES_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                           const ParMatrix& b, ParMatrix& x, int& iter,
                                                           double& res) {
  double norm_b = 0;
  if (!this->startSolve(A, b, x, norm_b)) return;
  const bool table = this->printsTable();

  Base::shapeLike(A, {&m_r, &m_r1, &m_r2, &m_y, &m_v, &m_w, &m_w1, &m_w2});
  const double res0 = Base::startResidual(A, b, x, m_r);
  double resNorm = res0;
  const double threshold = m_params.threshold(norm_b, res0);

  this->beginSolve();
  this->logSolverStatus(0, res0, res0 / res0, res0 / norm_b);
  if (table) m_params.printTableHead("======================== MINRES =====================", res0, norm_b);

  // Lanczos in the inner product of M, with the QR factors of its tridiagonal matrix updated
  // by one reflection a step. r1 and r2 hold the last two Lanczos vectors before M is applied,
  // y the newest after; beta is its M-norm.
  int it = 0;
  double beta = 0, oldb = 0, dbar = 0, epsln = 0, phibar = 0, cs = -1, sn = 0;
  if (resNorm > threshold && m_params.max_its > 0) {
    m_r.deepCopy(m_r2);
    M.precondition(m_r2, m_y);
    const double beta1Sq = double(ParMatrix::dot(m_r2, m_y));
    if (beta1Sq <= 0) {
      if (this->rank == 0) std::printf("%s:%d, Warning! the preconditioner may not be SPD.\n", kSource, __LINE__);
    } else {
      beta = phibar = std::sqrt(beta1Sq);
    }
    m_w.fill(Value(0));
    m_w2.fill(Value(0));
  }

  while (resNorm > threshold && it < m_params.max_its && beta > 0) {
    ++it;
    m_y.deepCopy(m_v);
    ParMatrix::scale(Value(1 / beta), m_v);
    A.aAxpby(Value(1), m_v, Value(0), m_y);
    if (it >= 2) ParMatrix::axpy(Value(-beta / oldb), m_r1, m_y);
    const double alfa = double(ParMatrix::dot(m_v, m_y));
    ParMatrix::axpy(Value(-alfa / beta), m_r2, m_y);
    // r1 <- r2 <- y; the old r1 storage takes the next preconditioned vector.
    std::swap(m_r1, m_r2);
    std::swap(m_r2, m_y);
    M.precondition(m_r2, m_y);
    oldb = beta;
    const double betaSq = double(ParMatrix::dot(m_r2, m_y));
    if (betaSq < 0) {
      if (this->rank == 0) std::printf("%s:%d, Warning! the preconditioner may not be SPD.\n", kSource, __LINE__);
      break;
    }
    beta = std::sqrt(betaSq);

    const double oldeps = epsln;
    const double delta = cs * dbar + sn * alfa;
    const double gbar = sn * dbar - cs * alfa;
    epsln = sn * beta;
    dbar = -cs * beta;
    const double gamma = std::hypot(gbar, beta);
    if (gamma == 0) {
      if (this->rank == 0) std::printf("%s:%d, Warning! the matrix is singular.\n", kSource, __LINE__);
      break;
    }
    cs = gbar / gamma;
    sn = beta / gamma;
    const double phi = cs * phibar;
    phibar *= sn;

    // w1 <- w2 <- w, and w = (v - oldeps w1 - delta w2) / gamma in the storage of the old w1.
    std::swap(m_w1, m_w2);
    std::swap(m_w2, m_w);
    ParMatrix::axpbypcz(Value(1 / gamma), m_v, Value(-oldeps / gamma), m_w1, Value(0), m_w);
    ParMatrix::axpy(Value(-delta / gamma), m_w2, m_w);
    ParMatrix::axpy(Value(phi), m_w, x);

    // r_k = sn^2 r_(k-1) - (phibar cs / beta) r2: the true residual without a product. A zero
    // beta (an invariant Krylov space) leaves sn and phibar zero, and so r.
    ParMatrix::axpby(Value(beta > 0 ? -phibar * cs / beta : 0.0), m_r2, Value(sn * sn), m_r);
    resNorm = ParMatrix::normL2(m_r);
    this->logSolverStatus(it, resNorm, resNorm / res0, resNorm / norm_b);
    if (table) KrylovParams::printTableRow(it, resNorm, res0, norm_b);
  }

  iter = it;
  res = resNorm / norm_b;
  this->finishSolve(it, m_params.max_its, res, resNorm <= threshold);
}

// Real values only, as MINRES needs a symmetric operator.
template class SolverMINRES_T<float, long, int>;
template class SolverMINRES_T<double, long, int>;
template class SolverMINRES_T<float, int, int>;
template class SolverMINRES_T<double, int, int>;

VELMO_REGISTER(ParSolverT, SolverMINRES, SolverMINRES_T, float, float32, long, int64_t, int, int);
VELMO_REGISTER(ParSolverT, SolverMINRES, SolverMINRES_T, double, float64, long, int64_t, int, int);
VELMO_REGISTER(ParSolverT, SolverMINRES, SolverMINRES_T, float, float32, int, int32_t, int, int);
VELMO_REGISTER(ParSolverT, SolverMINRES, SolverMINRES_T, double, float64, int, int32_t, int, int);

}  // namespace velmo
