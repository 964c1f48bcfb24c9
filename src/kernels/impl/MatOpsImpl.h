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

}  // namespace velmo
