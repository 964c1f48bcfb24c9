#pragma once

#include "operators/ParOperator.h"
#include "utils/FactoryFwd.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
class ParCSRMatrixT;

// Turns one level's operator into its prolongation and restriction; the coarse operator is
// the hierarchy's business.
template <class Value, class GlobalIndex, class LocalIndex>
class ParLevelTransferT : public ParOperator {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;

  ~ParLevelTransferT() override = default;

  // P: rows(A) by n_coarse, R its transpose. The caller sets the level id first.
  virtual void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) = 0;

  void setLevelId(int id) { level_id = id; }

  static Factory<ParLevelTransferT>& getFactory();

 protected:
  // Position of this transfer in the hierarchy.
  int level_id = 0;
};

// Building blocks of a level transfer, open to plug-ins. No built-in class derives from
// them, so their operations are declared with the first concrete class; until then the
// pure destructor keeps them abstract.
template <class Value, class GlobalIndex, class LocalIndex>
class ParRestrictionerT : public ParOperator {
 public:
  ~ParRestrictionerT() override = 0;
  static Factory<ParRestrictionerT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParProlongationerT : public ParOperator {
 public:
  ~ParProlongationerT() override = 0;
  static Factory<ParProlongationerT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParCoarsenerT : public ParOperator {
 public:
  ~ParCoarsenerT() override = 0;
  static Factory<ParCoarsenerT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParInterpolatorT : public ParOperator {
 public:
  ~ParInterpolatorT() override = 0;
  static Factory<ParInterpolatorT>& getFactory();
};

template <class Value, class GlobalIndex, class LocalIndex>
class ParAggregatorT : public ParOperator {
 public:
  ~ParAggregatorT() override = 0;
  static Factory<ParAggregatorT>& getFactory();
};

template <class V, class G, class L>
ParRestrictionerT<V, G, L>::~ParRestrictionerT() = default;
template <class V, class G, class L>
ParProlongationerT<V, G, L>::~ParProlongationerT() = default;
template <class V, class G, class L>
ParCoarsenerT<V, G, L>::~ParCoarsenerT() = default;
template <class V, class G, class L>
ParInterpolatorT<V, G, L>::~ParInterpolatorT() = default;
template <class V, class G, class L>
ParAggregatorT<V, G, L>::~ParAggregatorT() = default;

}  // namespace velmo
