#include "operators/OperatorTypes.h"
#include "precond/ParLevelTransfer.h"

#include "utils/Factory.h"

namespace velmo {

template <class V, class G, class L>
Factory<ParLevelTransferT<V, G, L>>& ParLevelTransferT<V, G, L>::getFactory() {
  static Factory<ParLevelTransferT> factory("level_transfer_type");
  return factory;
}

template <class V, class G, class L>
Factory<ParRestrictionerT<V, G, L>>& ParRestrictionerT<V, G, L>::getFactory() {
  static Factory<ParRestrictionerT> factory("restrictioner_type");
  return factory;
}

template <class V, class G, class L>
Factory<ParProlongationerT<V, G, L>>& ParProlongationerT<V, G, L>::getFactory() {
  static Factory<ParProlongationerT> factory("prolongationer_type");
  return factory;
}

template <class V, class G, class L>
Factory<ParCoarsenerT<V, G, L>>& ParCoarsenerT<V, G, L>::getFactory() {
  static Factory<ParCoarsenerT> factory("coarsener_type");
  return factory;
}

template <class V, class G, class L>
Factory<ParInterpolatorT<V, G, L>>& ParInterpolatorT<V, G, L>::getFactory() {
  static Factory<ParInterpolatorT> factory("interpolator_type");
  return factory;
}

template <class V, class G, class L>
Factory<ParAggregatorT<V, G, L>>& ParAggregatorT<V, G, L>::getFactory() {
  static Factory<ParAggregatorT> factory("aggregator_type");
  return factory;
}

#define VELMO_INSTANTIATE_TRANSFER(V, G, L)   \
  template class ParLevelTransferT<V, G, L>;  \
  template class ParRestrictionerT<V, G, L>;  \
  template class ParProlongationerT<V, G, L>; \
  template class ParCoarsenerT<V, G, L>;      \
  template class ParInterpolatorT<V, G, L>;   \
  template class ParAggregatorT<V, G, L>;

VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_TRANSFER)

#undef VELMO_INSTANTIATE_TRANSFER

}  // namespace velmo
