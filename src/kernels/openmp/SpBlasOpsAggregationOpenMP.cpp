#include "kernels/impl/SpBlasOpsAggregationBodies.h"
#include "kernels/impl/KernelTypes.h"

// The host instantiation of these bodies; no other unit includes them for this space.
namespace velmo {

#define VELMO_INSTANTIATE(V, I) template struct SpBlasOpsAggregationImpl<V, I, spm::OpenMP>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
