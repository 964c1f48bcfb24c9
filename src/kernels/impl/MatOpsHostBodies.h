#pragma once

#include <utility>

#include "kernels/impl/MatOpsImpl.h"
#include "utils/Scalar.h"

namespace velmo {

// Bodies of the host-only MatOps members, included only by the host instantiation unit.

template <class T, class I>
I MatOpsHostImpl<T, I>::lu_factor(const spm::OpenMP& s, I n, T* a, I* pivots) {
  for (I k = 0; k < n; ++k) {
    I p = k;
    auto largest = absValue(a[long(k) * n + k]);
    for (I i = k + 1; i < n; ++i) {
      const auto magnitude = absValue(a[long(i) * n + k]);
      if (magnitude > largest) {
        largest = magnitude;
        p = i;
      }
    }
    pivots[k] = p;
    if (largest == decltype(largest)(0)) return k;
    T* rowK = a + long(k) * n;
    if (p != k) std::swap_ranges(rowK, rowK + n, a + long(p) * n);
    const T pivot = rowK[k];
    // The rows below are independent of each other: one work item a row.
    spm::parallel_for(Policy(s, long(k) + 1, n), [=](long i) {
      T* row = a + i * n;
      const T l = row[k] / pivot;
      row[k] = l;
      for (I j = k + 1; j < n; ++j) row[j] -= l * rowK[j];
    });
  }
  return n;
}

template <class T, class I>
void MatOpsHostImpl<T, I>::lu_solve(const spm::OpenMP&, I n, const T* lu, const I* pivots, T* b) {
  for (I k = 0; k < n; ++k) std::swap(b[k], b[pivots[k]]);
  for (I i = 1; i < n; ++i) {
    const T* row = lu + long(i) * n;
    T sum = b[i];
    for (I j = 0; j < i; ++j) sum -= row[j] * b[j];
    b[i] = sum;
  }
  for (I i = n - 1; i >= 0; --i) {
    const T* row = lu + long(i) * n;
    T sum = b[i];
    for (I j = i + 1; j < n; ++j) sum -= row[j] * b[j];
    b[i] = sum / row[i];
  }
}

}  // namespace velmo
