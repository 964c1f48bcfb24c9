#pragma once

#include "kernels/MatOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// MatOps for one execution space; bodies in MatOpsBodies.h.
template <class T, class I, class Space>
struct MatOpsImpl {
  using Policy = spm::RangePolicy<Space>;

  static void get_element_value(const Space& s, I cols, const T* a, I i, I j, T* out);
  static void set_element_value(const Space& s, I cols, T* a, I i, I j, T v);
  static void select_rows(const Space& s, I cols, const T* a, I n, const int* indices, T* sub);
  static void unselect_rows(const Space& s, I cols, T* a, I n, const int* indices, const T* sub);
};

// The members that exist for the host space alone (bodies in MatOpsHostBodies.h): no GPU
// instantiation is missing, as there is none to make.
template <class T, class I>
struct MatOpsHostImpl {
  using Policy = spm::RangePolicy<spm::OpenMP>;

  static I lu_factor(const spm::OpenMP& s, I n, T* a, I* pivots);
  static void lu_solve(const spm::OpenMP& s, I n, const T* lu, const I* pivots, T* b);
};

}  // namespace velmo
