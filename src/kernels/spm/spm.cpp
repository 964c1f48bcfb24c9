#include "kernels/spm/spm.h"

#include <omp.h>

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

namespace detail {

void runChunks(long n, int c, void (*chunk)(const void* ctx, int k), const void* ctx) {
  if (c == 1 || n < kTeamThreshold || omp_in_parallel()) {
    for (int k = 0; k < c; ++k) chunk(ctx, k);
    return;
  }
#pragma omp parallel num_threads(c)
  {
    // A team smaller than asked still runs every chunk exactly once.
    for (int k = omp_get_thread_num(); k < c; k += omp_get_num_threads()) chunk(ctx, k);
  }
}

}  // namespace detail

Cuda::~Cuda() {
#ifdef VELMO_HAVE_CUDA
  if (owns_stream && stream != nullptr) cudaStreamDestroy(static_cast<cudaStream_t>(stream));
#endif
}

}  // namespace spm
