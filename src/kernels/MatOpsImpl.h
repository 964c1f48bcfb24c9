#pragma once

#include "kernels/Dispatch.h"
#include "kernels/MatOps.h"
#include "kernels/spm.h"

namespace velmo {

// Bodies of MatOps for one execution space. Row selections run one work item per element
// moved, so a GPU spreads even a few wide rows over many threads.
template <class T, class I, class Space>
struct MatOpsImpl {
  using Policy = spm::RangePolicy<Space>;

  VELMO_KERNEL_ENTRY static void get_element_value(const Space& s, I cols, const T* a, I i, I j, T* out) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { *out = a[long(i) * cols + j]; });
  }

  VELMO_KERNEL_ENTRY static void set_element_value(const Space& s, I cols, T* a, I i, I j, T v) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { a[long(i) * cols + j] = v; });
  }

  VELMO_KERNEL_ENTRY static void select_rows(const Space& s, I cols, const T* a, I n, const int* indices, T* sub) {
    spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
      long k = e / cols;
      sub[e] = a[long(indices[k]) * cols + (e - k * cols)];
    });
  }

  VELMO_KERNEL_ENTRY static void unselect_rows(const Space& s, I cols, T* a, I n, const int* indices, const T* sub) {
    spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
      long k = e / cols;
      a[long(indices[k]) * cols + (e - k * cols)] = sub[e];
    });
  }
};

// The GPU side of these bodies is compiled by nvcc alone, in MatOpsCuda.cu.
#if defined(VELMO_HAVE_CUDA) && !defined(__CUDACC__)
extern template struct MatOpsImpl<int, int, spm::Cuda>;
extern template struct MatOpsImpl<int, long, spm::Cuda>;
extern template struct MatOpsImpl<long, int, spm::Cuda>;
extern template struct MatOpsImpl<long, long, spm::Cuda>;
extern template struct MatOpsImpl<float, int, spm::Cuda>;
extern template struct MatOpsImpl<float, long, spm::Cuda>;
extern template struct MatOpsImpl<double, int, spm::Cuda>;
extern template struct MatOpsImpl<double, long, spm::Cuda>;
extern template struct MatOpsImpl<Complex<float>, int, spm::Cuda>;
extern template struct MatOpsImpl<Complex<float>, long, spm::Cuda>;
extern template struct MatOpsImpl<Complex<double>, int, spm::Cuda>;
extern template struct MatOpsImpl<Complex<double>, long, spm::Cuda>;
#endif

}  // namespace velmo
