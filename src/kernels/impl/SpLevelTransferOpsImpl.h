#pragma once

#include "kernels/SpLevelTransferOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// The members of SpLevelTransferOps for one execution space; bodies in
// SpLevelTransferOpsBodies.h.
template <class Value, class GlobalIndex, class LocalIndex, class Space>
struct SpLevelTransferOpsImpl {
  using Ops = SpLevelTransferOps<Value, GlobalIndex, LocalIndex>;
  using RawMat = typename Ops::RawMat;
  using MarkRawMat = typename Ops::MarkRawMat;
  using Policy = spm::RangePolicy<Space>;

  static void rs_connect(const Space& s, RawMat A, double eps_strong, MarkRawMat S, int* cf);
  static void rs_cfsplit(const Space& s, RawMat A, MarkRawMat S, int* cf, LocalIndex* lambda, LocalIndex* ptr,
                         LocalIndex* cnt, LocalIndex* i2n, LocalIndex* n2i);
  static void rs_interpolation(const Space& s, RawMat A, MarkRawMat S, const int* cf, bool do_trunc,
                               double eps_trunc, Value* Amin, Value* Amax, LocalIndex* cidx, LocalIndex* naggr,
                               RawMat P);
};

}  // namespace velmo
