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

  // The dense direct solve, meant for the floating types. Elimination runs column after column,
  // so these two are host kernels: for a GPU device the arrays are copied to the host for the
  // call and what it writes is copied back.
  //
  // LU factorisation with partial pivoting of the n x n matrix `a`, in place: the unit lower
  // factor below the diagonal, the upper one on and above it; step k swapped rows k and
  // pivots[k]. Returns the number of columns factored: n, or the first column without a
  // non-zero pivot, where it stops.
  static I lu_factor(const Device& dev, I n, T* a, I* pivots);
  // b = A^-1 b, with `lu` and `pivots` from a complete lu_factor of A.
  static void lu_solve(const Device& dev, I n, const T* lu, const I* pivots, T* b);
};

}  // namespace velmo
