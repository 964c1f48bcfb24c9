#include "kernels/impl/SpLevelTransferOpsBodies.h"
#include "kernels/impl/KernelTypes.h"

// The host instantiation of these bodies; no other unit includes them for this space.
namespace velmo {

#define VELMO_INSTANTIATE(V, G, L) template struct SpLevelTransferOpsImpl<V, G, L, spm::OpenMP>;
VELMO_FOR_EACH_LEVEL_TRANSFER_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
