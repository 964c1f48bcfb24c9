#include "solver/SolverFLGMRES_R.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void SolverFLGMRES_R_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParamRecord& record = this->createKrylov(params, "FLGMRES", "verb");
  record.read(params, "restart", m_restart);
  record.read(params, "augk", m_augk);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverFLGMRES_R_T<Value, GlobalIndex, LocalIndex>::shapeWork(const ParMatrixFree& A, int m) {
  const size_t count = size_t(m) + 2;
  m_V.resize(count);
  m_Z.resize(count);
  m_aug.resize(size_t(m_augk));
  for (auto* list : {&m_V, &m_Z, &m_aug}) {
    for (ParMatrix& v : *list) Base::shapeLike(A, {&v});
  }
  Base::shapeLike(A, {&m_r, &m_t});
  m_stride = count;
  m_h.resize(count * count);
  for (auto* list : {&m_rs, &m_c, &m_s, &m_y}) list->resize(count);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverFLGMRES_R_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                              const ParMatrix& b, ParMatrix& x, int& iter,
                                                              double& res) {
  const int maxIts = m_params.max_its;
  if (m_restart < 1) m_restart = maxIts + 1;
  if (m_augk < 1) m_augk = 2;
  double norm_b = 0;
  if (!this->startSolve(A, b, x, norm_b)) return;
  const bool table = this->printsTable();

  const int m0 = m_restart;
  m_restart += m_augk;
  shapeWork(A, m_restart);

  const double res0 = Base::startResidual(A, b, x, m_r);
  const double thr = m_params.threshold(norm_b, res0);
  this->beginSolve();
  this->logSolverStatus(0, res0, res0 / res0, res0 / norm_b);
  if (table) m_params.printTableHead("======================= FLGMRES ===================", res0, norm_b);

  int it = 0;
  double estimate = res0;
  for (int cycle = 0; it < maxIts; ++cycle) {
    const int k = std::min(cycle, m_augk);
    m_restart = m0 + k;
    const double beta = ParMatrix::normL2(m_r);
    estimate = beta;
    m_rs[1] = Value(beta);
    m_r.deepCopy(m_V[1]);
    if (beta > 0) ParMatrix::scale(Value(1.0 / beta), m_V[1]);
    std::fill(m_h.begin(), m_h.end(), Value(0));

    int steps = 0;
    for (int j = 1; j <= m_restart; ++j) {
      if (estimate <= thr || it >= maxIts) break;
      ++it;
      // Past the base length the saved corrections take the place of the basis vectors.
      M.precondition(j <= m0 ? m_V[size_t(j)] : m_aug[size_t(j - m0 - 1)], m_Z[size_t(j)]);
      ParMatrix& w = m_V[size_t(j) + 1];
      A.aAxpby(Value(1), m_Z[size_t(j)], Value(0), w);
      for (int i = 1; i <= j; ++i) {
        const Value h = ParMatrix::dot(m_V[size_t(i)], w);
        hessenberg(i, j) = h;
        ParMatrix::axpy(-h, m_V[size_t(i)], w);
      }
      const double hnorm = ParMatrix::normL2(w);
      hessenberg(j + 1, j) = Value(hnorm);
      // An invariant subspace: this column completes the solution and the cycle ends with it.
      if (hnorm == 0.0) {
        if (this->rank == 0) std::printf("%le happy break i=%d ", hnorm, j);
      } else {
        ParMatrix::scale(Value(1.0 / hnorm), w);
      }

      // Unitary rotations: conj() is the identity for real values.
      for (int i = 1; i < j; ++i) {
        const Value hi = hessenberg(i, j), hi1 = hessenberg(i + 1, j);
        hessenberg(i, j) = conj(m_c[size_t(i)]) * hi + conj(m_s[size_t(i)]) * hi1;
        hessenberg(i + 1, j) = -m_s[size_t(i)] * hi + m_c[size_t(i)] * hi1;
      }
      double d = std::sqrt(double(absSquare(hessenberg(j, j))) + double(absSquare(hessenberg(j + 1, j))));
      if (d == 0.0) d = 1e-16;
      const Value c = hessenberg(j, j) / Value(d), s = hessenberg(j + 1, j) / Value(d);
      m_c[size_t(j)] = c;
      m_s[size_t(j)] = s;
      m_rs[size_t(j) + 1] = -s * m_rs[size_t(j)];
      m_rs[size_t(j)] = conj(c) * m_rs[size_t(j)];
      hessenberg(j, j) = conj(c) * hessenberg(j, j) + conj(s) * hessenberg(j + 1, j);
      steps = j;

      estimate = double(absValue(m_rs[size_t(j) + 1]));
      this->logSolverStatus(it, estimate, estimate / res0, estimate / norm_b);
      if (table) KrylovParams::printTableRow(it, estimate, res0, norm_b);
      if (hnorm == 0.0) break;
    }

    for (int i = steps; i >= 1; --i) {
      m_y[size_t(i)] = m_rs[size_t(i)] / hessenberg(i, i);
      for (int l = 1; l < i; ++l) m_rs[size_t(l)] -= hessenberg(l, i) * m_y[size_t(i)];
    }
    m_t.fill(Value(0));
    for (int i = 1; i <= steps; ++i) ParMatrix::axpy(m_y[size_t(i)], m_Z[size_t(i)], m_t);
    ParMatrix::axpy(Value(1), m_t, x);
    m_t.deepCopy(m_aug[size_t(cycle % m_augk)]);

    if (estimate <= thr) {
      if (table) std::printf("GMRES iteration %d ||b-Ax||_2 = %e  rel.res %e\n", it, estimate, estimate / norm_b);
      break;
    }
    // Each cycle starts from the true residual: the estimate is not trusted across cycles.
    ParMatrix::residual(A, x, b, m_r);
  }

  iter = it;
  res = estimate / norm_b;
  this->finishSolve(it, maxIts, res, estimate <= thr);
}

#define VELMO_INSTANTIATE(V, G, L) template class SolverFLGMRES_R_T<V, G, L>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

VELMO_REGISTER_FLOATING(ParSolverT, SolverFLGMRES_R, SolverFLGMRES_R_T);

}  // namespace velmo
