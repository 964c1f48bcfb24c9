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

  static void get_element_value(const Space& s, I cols, const T* a, I i, I j, T* out) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { *out = a[long(i) * cols + j]; });
  }

  static void set_element_value(const Space& s, I cols, T* a, I i, I j, T v) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { a[long(i) * cols + j] = v; });
  }

  static void select_rows(const Space& s, I cols, const T* a, I n, const int* indices, T* sub) {
    spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
      long k = e / cols;
      sub[e] = a[long(indices[k]) * cols + (e - k * cols)];
    });
  }

  static void unselect_rows(const Space& s, I cols, T* a, I n, const int* indices, const T* sub) {
    spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
      long k = e / cols;
      a[long(indices[k]) * cols + (e - k * cols)] = sub[e];
    });
  }
};

}  // namespace velmo
