#include "precond/ParPrecondList.h"

#include "operators/OperatorList.h"
#include "operators/OperatorTypes.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParPrecondList_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  preconditioners = createMembers<ParPreconditioner>(params, "preconditioners", "PrecondList");
  this->paramRecord().set("preconditioners", describeMembers(params, "preconditioners", preconditioners));
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParPrecondList_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  const auto* csr = dynamic_cast<const ParCSRMatrix*>(&A);
  CHECK(csr != nullptr) << "PrecondList setup should be a ParCSRMatrix!";
  matrix = *csr;
  for (const auto& M : preconditioners) M->setup(A);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParPrecondList_T<Value, GlobalIndex, LocalIndex>::precondition(const ParMatrix& b, ParMatrix& x) {
  if (preconditioners.empty()) {
    b.deepCopy(x);
    return;
  }
  preconditioners.front()->precondition(b, x);
  for (size_t k = 1; k < preconditioners.size(); ++k) {
    ParMatrix::residual(matrix, x, b, residual);
    // Each correction starts from zero, whatever the preconditioner's initial_zero says.
    correction.resize(x.getRows(), x.getCols(), x.getDevice(), x.getComm());
    correction.fill(Value(0));
    preconditioners[k]->precondition(residual, correction);
    ParMatrix::axpy(Value(1), correction, x);
  }
}

#define VELMO_INSTANTIATE_PRECOND_LIST(Value, GlobalIndex, LocalIndex) \
  template class ParPrecondList_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_PRECOND_LIST)
#undef VELMO_INSTANTIATE_PRECOND_LIST

VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondList, ParPrecondList_T);

}  // namespace velmo
