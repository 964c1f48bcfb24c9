#include "precond/ParSmootherJacobi.h"

#include <glog/logging.h>

#include "operators/OperatorTypes.h"
#include "precond/RelaxationSolve.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParamRecord& record = this->paramRecord();
  record.read(params, "relax", relax);
  record.read(params, "nsweeps", nsweeps);
  record.read(params, "initial_zero", initial_zero);
  record.read(params, "max_iters", max_iters);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::keepMatrix(const ParMatrixFree& A) {
  const auto* csr = dynamic_cast<const ParCSRMatrix*>(&A);
  // The wording is shared by every smoother.
  CHECK(csr != nullptr) << "ParSOR setup should be a ParCSRMatrix!";
  matrix = *csr;
  zeroProductIsExact = false;
  if constexpr (!is_complex_v<Value>) {
    // A non-finite entry makes its row of A 0 a NaN; one product at setup finds it.
    ParMatrix zero;
    zero.create(matrix.getColPartitioner(), matrix.getDevice(), matrix.getComm());
    zero.fill(Value(0));
    matrix.matVec(zero, r);
    zeroProductIsExact = ParMatrix::normL2(r) == 0.0;
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  keepMatrix(A);
  matrix.getDiag(invDiag, 0);
  ParMatrix::reciprocal(Value(1.0), invDiag);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::sweep(const ParMatrix& b, ParMatrix& x) {
  lastResidual = ParMatrix::residual(matrix, x, b, r);
  ParMatrix::axypbz(Value(relax), invDiag, r, Value(1.0), x);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::sweeps(const ParMatrix& b, ParMatrix& x, const char* role,
                                                                 bool count, bool fromZero) {
  for (int s = 0; s < nsweeps; ++s) {
    if (count) ++sweepCount;
    if (s == 0 && fromZero && zeroProductIsExact) {
      lastResidual = ParMatrix::normL2(b);
      ParMatrix::axypbz(Value(relax), invDiag, b, Value(1.0), x);
    } else {
      sweep(b, x);
    }
    if (this->verbose != 0) LOG(INFO) << role << s << " " << ParMatrix::residual(matrix, x, b, r);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::smooth(const ParMatrix& b, ParMatrix& x) {
  sweeps(b, x, "smooth ", false, false);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::smoothFromZero(const ParMatrix& b, ParMatrix& x) {
  sweeps(b, x, "smooth ", false, true);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::precondition(const ParMatrix& b, ParMatrix& x) {
  if (initial_zero) x.fill(Value(0));
  if (max_iters > 0 && max_iters <= sweepCount) {
    b.deepCopy(x);
    return;
  }
  sweeps(b, x, "precondition ", true, initial_zero);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& /*M*/, ParMatrixFree& /*A*/,
                                                                const ParMatrix& b, ParMatrix& x, int& iters,
                                                                double& relres) {
  relaxUntilConverged(matrix, b, x, r, this->max_its, this->rtol, iters, relres,
                      [this](const ParMatrix& rhs, ParMatrix& v) { sweep(rhs, v); },
                      [this](int k, double, double, double rel) {
                        if (this->verbose != 0) LOG(INFO) << "solve " << k << " " << rel;
                      });
  // The closing line stays silent: this class reads no "verbose".
  this->finishSolve(iters, this->max_its, relres, relres < this->rtol);
}

#define VELMO_INSTANTIATE_JACOBI(Value, GlobalIndex, LocalIndex) \
  template class ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_JACOBI)
#undef VELMO_INSTANTIATE_JACOBI

VELMO_REGISTER_FLOATING(ParSmootherT, SmootherJacobi, ParSmootherJacobi_T);
VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondJacobi, ParSmootherJacobi_T);
VELMO_REGISTER_FLOATING(ParSolverT, SolverJacobi, ParSmootherJacobi_T);

}  // namespace velmo
