#pragma once

#include "kernels/RawMat.h"
#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo {

// Kernels of classical (Ruge-Stuben) coarsening on one rank's compressed rows, arrays on
// `dev`. The strength matrix S has A's pattern with 1 at strong entries; point marks are the
// character codes 'U' (undecided), 'C' (coarse) and 'F' (fine) stored in ints.
//
// Complex values are ordered by their real parts: "negative" means a negative real part.
// The thresholds for "zero" are relative to the rounding unit of the value's real type.
template <class Value, class GlobalIndex, class LocalIndex>
struct SpLevelTransferOps {
  using RawMat = COT_CSRRawMat<Value, LocalIndex>;
  using MarkRawMat = COT_CSRRawMat<int, LocalIndex>;

  // Per row: S marks the off-diagonals below eps_strong times the row's most negative
  // off-diagonal; a row without a negative off-diagonal becomes 'F'. Other marks stay.
  static void rs_connect(const Device& dev, RawMat A, double eps_strong, MarkRawMat S, int* cf);
  // Splits the 'U' points into 'C' and 'F', best candidate first. Work arrays: lambda, i2n
  // and n2i of A.rows elements; ptr and cnt of 2 A.rows + 2, as a point's measure counts each
  // entry of its row once or twice.
  static void rs_cfsplit(const Device& dev, RawMat A, MarkRawMat S, int* cf, LocalIndex* lambda, LocalIndex* ptr,
                         LocalIndex* cnt, LocalIndex* i2n, LocalIndex* n2i);
  // Direct interpolation from the strong coarse neighbours, built in two passes. With null
  // P.col_idx: numbers the 'C' points into cidx, their count into *naggr, and fills P.row_ptr
  // (and, with do_trunc, the truncation bounds Amin and Amax). Otherwise fills P.
  static void rs_interpolation(const Device& dev, RawMat A, MarkRawMat S, const int* cf, bool do_trunc,
                               double eps_trunc, Value* Amin, Value* Amax, LocalIndex* cidx, LocalIndex* naggr,
                               RawMat P);
};

}  // namespace velmo
