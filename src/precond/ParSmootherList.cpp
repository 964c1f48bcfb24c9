#include "precond/ParSmootherList.h"

#include "operators/OperatorList.h"
#include "operators/OperatorTypes.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherList_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  smoothers = createMembers<ParSmoother>(params, "smoothers", "SmootherList");
  this->paramRecord().set("smoothers", describeMembers(params, "smoothers", smoothers));
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherList_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  for (const auto& smoother : smoothers) smoother->setup(A);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherList_T<Value, GlobalIndex, LocalIndex>::smooth(const ParMatrix& b, ParMatrix& x) {
  for (const auto& smoother : smoothers) smoother->smooth(b, x);
}

#define VELMO_INSTANTIATE_SMOOTHER_LIST(Value, GlobalIndex, LocalIndex) \
  template class ParSmootherList_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_SMOOTHER_LIST)
#undef VELMO_INSTANTIATE_SMOOTHER_LIST

// No float member, on purpose.
#define VELMO_REGISTER_SMOOTHER_LIST(G, GWord)                                                                \
  VELMO_REGISTER(ParSmootherT, SmootherList, ParSmootherList_T, double, float64, G, GWord, int, int);          \
  VELMO_REGISTER(ParSmootherT, SmootherList, ParSmootherList_T, Complex<float>, complex32, G, GWord, int, int); \
  VELMO_REGISTER(ParSmootherT, SmootherList, ParSmootherList_T, Complex<double>, complex64, G, GWord, int, int)
VELMO_REGISTER_SMOOTHER_LIST(long, int64_t);
VELMO_REGISTER_SMOOTHER_LIST(int, int32_t);
#undef VELMO_REGISTER_SMOOTHER_LIST

}  // namespace velmo
