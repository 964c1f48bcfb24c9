#include "solver/SolverPCG.h"

#include <cstdio>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

namespace {
// Breakdown warnings name the method's source, as its log lines do.
constexpr const char* kSource = "src/solver/SolverPCG";
}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void SolverPCG_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  this->createKrylov(params, "PCG");
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverPCG_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                        const ParMatrix& b, ParMatrix& x, int& iter,
                                                        double& res) {
  double norm_b = 0;
  if (!this->startSolve(A, b, x, norm_b)) return;
  const bool table = this->printsTable();

  ParMatrix &r = m_r, &z = m_z, &p = m_p, &Ap = m_Ap;
  Base::shapeLike(A, {&r, &z, &p, &Ap, &m_pOld, &m_rOld});

  const double res0 = Base::startResidual(A, b, x, r);
  double resNorm = res0;
  const double threshold = m_params.threshold(norm_b, res0);

  this->beginSolve();
  this->logSolverStatus(0, res0, res0 / res0, res0 / norm_b);
  if (table) m_params.printTableHead("======================== PCG =====================", res0, norm_b);

  int it = 0;
  Value rho = Value(0);
  while (resNorm > threshold) {
    if (it >= m_params.max_its) break;
    M.precondition(r, z);
    ++it;
    if (it == 1) {
      z.deepCopy(p);
      rho = ParMatrix::dot(r, z);
    } else {
      Value rho_new = ParMatrix::dot(r, z);
      p.deepCopy(m_pOld);
      if (rho == Value(0)) {
        if (this->rank == 0) std::printf("%s:%d, Warning! the matrix may not be SPD.\n", kSource, __LINE__);
        break;
      }
      ParMatrix::axpby(Value(1), z, rho_new / rho, p);
      rho = rho_new;
    }
    A.aAxpby(Value(1), p, Value(0), Ap);
    const Value pAp = ParMatrix::dot(p, Ap);
    if (pAp == Value(0)) {
      if (this->rank == 0) std::printf("%s:%d, Warning! the matrix may not be SPD.\n", kSource, __LINE__);
      break;
    }
    const Value alpha = rho / pAp;
    ParMatrix::axpby(alpha, p, Value(1), x);
    r.deepCopy(m_rOld);
    ParMatrix::axpby(-alpha, Ap, Value(1), r);
    resNorm = ParMatrix::normL2(r);
    this->logSolverStatus(it, resNorm, resNorm / res0, resNorm / norm_b);
    if (table) KrylovParams::printTableRow(it, resNorm, res0, norm_b);
    if (resNorm <= threshold) break;
  }

  iter = it;
  res = resNorm / norm_b;
  this->finishSolve(it, m_params.max_its, res, resNorm <= threshold);
}

#define VELMO_INSTANTIATE(V, G, L) template class SolverPCG_T<V, G, L>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

VELMO_REGISTER_FLOATING(ParSolverT, SolverPCG, SolverPCG_T);

}  // namespace velmo
