#include "precond/ParSmootherSOR.h"

#include <glog/logging.h>

#include "kernels/SpBlasOps.h"
#include "operators/OperatorTypes.h"
#include "precond/RelaxationSolve.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParSolverT<Value, GlobalIndex, LocalIndex>::create(params);
  ParamRecord& record = this->paramRecord();
  record.read(params, "relax", relax);
  record.read(params, "forward", forward);
  record.read(params, "nsweeps", nsweeps);
  record.readFlag(params, "initial_zero", initial_zero);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  const auto* csr = dynamic_cast<const ParCSRMatrix*>(&A);
  CHECK(csr != nullptr) << "ParSOR setup should be a ParCSRMatrix!";
  matrix = *csr;
  matrix.getDiag(diag, 0);
  rank = comu::commRank(matrix.getComm());
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::sor_step(const ParMatrix& b, ParMatrix& x, double omega,
                                                                bool forward, const int* colors) {
  // No product: the exchange leaves the own block's x sharing x, and would bring the remote
  // blocks their entries.
  matrix.exchangeMatVec(x, {}, {}, {}, nullptr);
  matrix.getRawMat(hostViews);
  hostViews.toDevice(matrix.getDevice(), deviceViews);
  const Device device = matrix.getDevice();
  SpBlasOps<Value, LocalIndex>::par_sor(device, LocalIndex(x.getLocalMatrix().getRows()),
                                        LocalIndex(deviceViews.getRows()), rank, deviceViews.getData(),
                                        b.getLocalMatrix().getData(), diag.getLocalMatrix().getData(),
                                        x.getLocalMatrix().getData(), Value(omega), forward, colors);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::sweeps(const ParMatrix& b, ParMatrix& x, const char* role) {
  for (int s = 0; s < nsweeps; ++s) {
    sor_step(b, x, relax, forward, nullptr);
    if (this->verbose != 0) LOG(INFO) << role << s << " " << ParMatrix::residual(matrix, x, b, r);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::smooth(const ParMatrix& b, ParMatrix& x) {
  sweeps(b, x, "smooth ");
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::precondition(const ParMatrix& b, ParMatrix& x) {
  if (initial_zero) x.fill(Value(0));
  sweeps(b, x, "precondition ");
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& /*M*/, ParMatrixFree& /*A*/,
                                                             const ParMatrix& b, ParMatrix& x, int& iters,
                                                             double& relres) {
  this->beginSolve();
  relaxUntilConverged(
      matrix, b, x, r, this->max_its, this->rtol, iters, relres,
      [this](const ParMatrix& rhs, ParMatrix& v) { sor_step(rhs, v, relax, forward, nullptr); },
      [this](int k, double res, double res_r0, double rel) { this->logSolverStatus(k, res, res_r0, rel); });
  this->finishSolve(iters, this->max_its, relres, relres < this->rtol);
}

#define VELMO_INSTANTIATE_SOR(Value, GlobalIndex, LocalIndex) \
  template class ParSmootherSOR_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_SOR)
#undef VELMO_INSTANTIATE_SOR

VELMO_REGISTER_FLOATING(ParSmootherT, SmootherSOR, ParSmootherSOR_T);
VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondSOR, ParSmootherSOR_T);
VELMO_REGISTER_FLOATING(ParSolverT, SolverSOR, ParSmootherSOR_T);

}  // namespace velmo
