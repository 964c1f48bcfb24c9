#include "kernels/SpLevelTransferOps.h"

#include "kernels/impl/KernelTypes.h"
#include "kernels/impl/SpLevelTransferOpsImpl.h"
#include "kernels/spm/Dispatch.h"

// The SpLevelTransferOps family: each member picks the space of its device.
namespace velmo {

#define VELMO_RS_DISPATCH(op, ...)                                                                            \
  detail::dispatch(dev, [&](const auto& s) {                                                                  \
    SpLevelTransferOpsImpl<Value, GlobalIndex, LocalIndex, std::decay_t<decltype(s)>>::op(s, __VA_ARGS__); \
  })

template <class Value, class GlobalIndex, class LocalIndex>
void SpLevelTransferOps<Value, GlobalIndex, LocalIndex>::rs_connect(const Device& dev, RawMat A, double eps_strong,
                                                                    MarkRawMat S, int* cf) {
  VELMO_RS_DISPATCH(rs_connect, A, eps_strong, S, cf);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SpLevelTransferOps<Value, GlobalIndex, LocalIndex>::rs_cfsplit(const Device& dev, RawMat A, MarkRawMat S,
                                                                    int* cf, LocalIndex* lambda, LocalIndex* ptr,
                                                                    LocalIndex* cnt, LocalIndex* i2n,
                                                                    LocalIndex* n2i) {
  VELMO_RS_DISPATCH(rs_cfsplit, A, S, cf, lambda, ptr, cnt, i2n, n2i);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SpLevelTransferOps<Value, GlobalIndex, LocalIndex>::rs_interpolation(const Device& dev, RawMat A, MarkRawMat S,
                                                                          const int* cf, bool do_trunc,
                                                                          double eps_trunc, Value* Amin, Value* Amax,
                                                                          LocalIndex* cidx, LocalIndex* naggr,
                                                                          RawMat P) {
  VELMO_RS_DISPATCH(rs_interpolation, A, S, cf, do_trunc, eps_trunc, Amin, Amax, cidx, naggr, P);
}

#undef VELMO_RS_DISPATCH

#define VELMO_INSTANTIATE(V, G, L) template struct SpLevelTransferOps<V, G, L>;
VELMO_FOR_EACH_LEVEL_TRANSFER_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
