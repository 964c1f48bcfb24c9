#include "kernels/impl/KernelTypes.h"
#include "kernels/impl/MatOpsBodies.h"
#include "kernels/impl/MatOpsHostBodies.h"

// The host instantiation of these bodies, the host-only members among them; no other unit
// includes them for this space.
namespace velmo {

#define VELMO_INSTANTIATE(V, I)                          \
  template struct MatOpsImpl<V, I, spm::OpenMP>;       \
  template struct MatOpsHostImpl<V, I>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
