#include "solver/SolverPCG.h"

#include <algorithm>
#include <cstdio>

#include "utils/Factory.h"

namespace velmo {

namespace {
// Breakdown warnings name the method's source, as its log lines do.
constexpr const char* kSource = "src/solver/SolverPCG";
}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void SolverPCG_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  Base::create(params);
  this->name = "PCG";
  if (!params.is_object()) return;
  if (params.contains("max_its")) m_max_its = params["max_its"].template get<int>();
  if (params.contains("rtol")) m_rtol = params["rtol"].template get<double>();
  if (params.contains("btol")) m_btol = params["btol"].template get<double>();
  if (params.contains("atol")) m_atol = params["atol"].template get<double>();
  if (params.contains("verbose")) m_verbose = params["verbose"].template get<int>();
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverPCG_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                        const ParMatrix& b, ParMatrix& x, int& iter,
                                                        double& res) {
  const int comm = A.getComm();
  const Device device = A.getDevice();
  const GlobalIndex rows = A.getRows();
  this->commSize = 1;
  this->rank = 0;
  const bool table = m_verbose > 0 && this->rank == 0;

  const double norm_b = ParMatrix::normL2(b);
  if (norm_b == 0.0) {
    x.fill(Value(0));
    this->lastConverged = true;
    return;
  }

  ParMatrix r(rows, device, comm), z(rows, device, comm), p(rows, device, comm), Ap(rows, device, comm);
  ParMatrix pOld(rows, device, comm), rOld(rows, device, comm);

  if (ParMatrix::normL1(x) == 0.0) {
    b.deepCopy(r);
  } else {
    A.aAxpby(Value(1), x, Value(0), r);
    ParMatrix::axpby(Value(1), b, Value(-1), r);
  }
  const double res0 = ParMatrix::normL2(r);
  double resNorm = res0;
  const double threshold = std::max(std::max(norm_b * m_btol, m_rtol * res0), m_atol);

  this->beginSolve();
  this->logSolverStatus(0, res0, res0 / res0, res0 / norm_b);
  if (table) {
    std::printf("======================== PCG =====================\n");
    std::printf("Tolerances: atol=%lg, rtol=%lg, btol=%lg\n", m_atol, m_rtol, m_btol);
    std::printf("Iters   Resid. norm    Resid./resid0  Resid./rhs\n");
    std::printf("-----   ------------   -------------  ------------\n");
    std::printf("%5d   %12le   %12le   %12le\n", 0, res0, res0 / res0, res0 / norm_b);
  }

  int it = 0;
  Value rho = Value(0);
  while (resNorm > threshold) {
    if (it >= m_max_its) break;
    M.precondition(r, z);
    ++it;
    if (it == 1) {
      z.deepCopy(p);
      rho = ParMatrix::dot(r, z);
    } else {
      Value rho_new = ParMatrix::dot(r, z);
      p.deepCopy(pOld);
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
    r.deepCopy(rOld);
    ParMatrix::axpby(-alpha, Ap, Value(1), r);
    resNorm = ParMatrix::normL2(r);
    this->logSolverStatus(it, resNorm, resNorm / res0, resNorm / norm_b);
    if (table) std::printf("%5d   %12e   %12e   %12e\n", it, resNorm, resNorm / res0, resNorm / norm_b);
    if (resNorm <= threshold) break;
  }

  iter = it;
  res = resNorm / norm_b;
  this->lastConverged = resNorm <= threshold;
  this->finishSolve(it, m_max_its, res);
}

template class SolverPCG_T<float, long, int>;
template class SolverPCG_T<double, long, int>;
template class SolverPCG_T<Complex<float>, long, int>;
template class SolverPCG_T<Complex<double>, long, int>;

VELMO_REGISTER_FLOATING(ParSolverT, SolverPCG, SolverPCG_T);

}  // namespace velmo
