#pragma once

#include <memory>
#include <vector>

#include "mat/ParCSRMatrix.h"
#include "operators/ParOperator.h"

namespace velmo {

// Preconditioners combined multiplicatively, "PrecondList": x = M1 b, then for each further
// Mk, x += Mk (b - A x). Key "preconditioners": an array of objects, each with
// "preconditioner_type" and its "<Name>_params". The matrix must be a ParCSRMatrixT.
template <class Value, class GlobalIndex, class LocalIndex>
class ParPrecondList_T : public ParPreconditionerT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;

  ~ParPrecondList_T() override = default;

  void create(const json& params);
  void setup(const ParMatrixFree& A) override;
  // An empty list is the identity.
  void precondition(const ParMatrix& b, ParMatrix& x) override;

 private:
  std::vector<std::shared_ptr<ParPreconditioner>> preconditioners;
  ParCSRMatrix matrix;
  // Work vectors, kept so that repeated applications allocate nothing.
  ParMatrix residual;
  ParMatrix correction;
};

}  // namespace velmo
