#pragma once

#include "kernels/impl/MatOpsImpl.h"

namespace velmo {

// Bodies of MatOps, included only by the instantiation unit of each execution space. Row
// selections run one work item per element moved, so a GPU spreads even a few wide rows over
// many threads.

template <class T, class I, class Space>
void MatOpsImpl<T, I, Space>::get_element_value(const Space& s, I cols, const T* a, I i, I j, T* out) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { *out = a[long(i) * cols + j]; });
}

template <class T, class I, class Space>
void MatOpsImpl<T, I, Space>::set_element_value(const Space& s, I cols, T* a, I i, I j, T v) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) { a[long(i) * cols + j] = v; });
}

template <class T, class I, class Space>
void MatOpsImpl<T, I, Space>::select_rows(const Space& s, I cols, const T* a, I n, const int* indices,
                                          T* sub) {
  spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
    long k = e / cols;
    sub[e] = a[long(indices[k]) * cols + (e - k * cols)];
  });
}

template <class T, class I, class Space>
void MatOpsImpl<T, I, Space>::unselect_rows(const Space& s, I cols, T* a, I n, const int* indices,
                                            const T* sub) {
  spm::parallel_for(Policy(s, 0, long(n) * cols), VELMO_LAMBDA(long e) {
    long k = e / cols;
    a[long(indices[k]) * cols + (e - k * cols)] = sub[e];
  });
}

}  // namespace velmo
