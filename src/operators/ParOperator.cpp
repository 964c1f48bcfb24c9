#include "operators/ParOperator.h"

#include <glog/logging.h>

#include <iomanip>
#include <ios>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
Factory<ParMatrixFreeT<Value, GlobalIndex, LocalIndex>>& ParMatrixFreeT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<ParMatrixFreeT> factory("matrix_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
Factory<ParPreconditionerT<Value, GlobalIndex, LocalIndex>>&
ParPreconditionerT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<ParPreconditionerT> factory("preconditioner_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
Factory<ParSmootherT<Value, GlobalIndex, LocalIndex>>& ParSmootherT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<ParSmootherT> factory("smoother_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
Factory<ParSolverT<Value, GlobalIndex, LocalIndex>>& ParSolverT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<ParSolverT> factory("solver_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
Factory<ParOpBaseT<Value, GlobalIndex, LocalIndex>>& ParOpBaseT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<ParOpBaseT> factory("op_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParamRecord& record = paramRecord();
  record.read(params, "verbose", verbose);
  record.read(params, "rtol", rtol);
  record.read(params, "max_its", max_its);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::solve(ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
                                                       double& res) {
  if (!preconditioner) {
    json config = {{"preconditioner_type", "PrecondIdentity"}, {"PrecondIdentity_params", json::object()}};
    preconditioner = ParPreconditioner::getFactory().createInstance(config);
  }
  solve(*preconditioner, A, b, x, iter, res);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::beginSolve() {
  if (!logs()) return;
  LOG(INFO) << "Begin solving using " << name;
  LOG(INFO) << "iter        res          res_r0          res_b";
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::logSolverStatus(int iter, double res, double res_r0, double res_b) {
  if (!logs()) return;
  LOG(INFO) << std::scientific << std::setprecision(6) << iter << "\t" << res << "\t" << res_r0 << "\t" << res_b;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::finishSolve(int iter, int max_its, double res_b, bool converged) {
  lastConverged = converged;
  if (!logs()) return;
  LOG(INFO) << "Finish solving using " << name << ", iter/max_its " << iter << "/" << max_its << ", res_b "
            << res_b;
}

template <class Value, class GlobalIndex, class LocalIndex>
bool ParSolverT<Value, GlobalIndex, LocalIndex>::solveZeroRhs(double norm_b, ParMatrix& x) {
  if (norm_b != 0.0) return false;
  x.fill(Value(0));
  lastConverged = true;
  return true;
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParSolverT<Value, GlobalIndex, LocalIndex>::startResidual(ParMatrixFree& A, const ParMatrix& b,
                                                                 const ParMatrix& x, ParMatrix& r) {
  if (ParMatrix::normL1(x) != 0.0) return ParMatrix::residual(A, x, b, r);
  b.deepCopy(r);
  return ParMatrix::normL2(r);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverT<Value, GlobalIndex, LocalIndex>::shapeLike(const ParMatrixFree& A,
                                                           std::initializer_list<ParMatrix*> vectors) {
  for (ParMatrix* v : vectors) v->resize(A.getRows(), 1, A.getDevice(), A.getComm());
}

#define VELMO_INSTANTIATE_OPERATORS(V, G, L)    \
  template class ParMatrixFreeT<V, G, L>;       \
  template class ParPreconditionerT<V, G, L>;   \
  template class ParSmootherT<V, G, L>;         \
  template class ParSolverT<V, G, L>;           \
  template class ParOpBaseT<V, G, L>;           \
  template class ParOperatorIdentityT<V, G, L>;

VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_OPERATORS)

#undef VELMO_INSTANTIATE_OPERATORS

VELMO_REGISTER_FLOATING(ParMatrixFreeT, Identity, ParOperatorIdentityT);
VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondIdentity, ParOperatorIdentityT);
VELMO_REGISTER_FLOATING(ParSolverT, SolverPreOnly, ParOperatorIdentityT);

}  // namespace velmo
