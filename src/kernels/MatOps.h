#pragma once

#include "utils/Complex.h"
#include "utils/Device.h"

namespace velmo {

// Operations on dense row-major matrices held as raw arrays on `dev`; `cols` is the length
// of a row. Element positions are not range-checked here: the containers do that.
template <class T, class I>
struct MatOps {
  // out[0] = a(i, j), with `out` a one-element array on `dev`.
  static void get_element_value(const Device& dev, I cols, const T* a, I i, I j, T* out);
  static void set_element_value(const Device& dev, I cols, T* a, I i, I j, T v);
  // Row k of `sub` becomes row indices[k] of `a`, for k < n.
  static void select_rows(const Device& dev, I cols, const T* a, I n, const int* indices, T* sub);
  // Row indices[k] of `a` becomes row k of `sub`: the inverse scatter of select_rows.
  static void unselect_rows(const Device& dev, I cols, T* a, I n, const int* indices, const T* sub);
};

}  // namespace velmo
