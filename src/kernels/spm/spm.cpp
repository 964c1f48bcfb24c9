#include "kernels/spm/spm.h"

#ifdef VELMO_HAVE_CUDA
#include <cuda_runtime_api.h>
#endif

namespace spm {

namespace {
bool gs_spm_init = false;
}

void initialize(int, char**) { gs_spm_init = true; }
void finalize() { gs_spm_init = false; }
bool is_initialized() { return gs_spm_init; }

Cuda::~Cuda() {
#ifdef VELMO_HAVE_CUDA
  if (owns_stream && stream != nullptr) cudaStreamDestroy(static_cast<cudaStream_t>(stream));
#endif
}

}  // namespace spm
