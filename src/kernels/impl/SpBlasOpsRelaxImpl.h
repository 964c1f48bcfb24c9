#pragma once

#include "kernels/SpBlasOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// The relaxation members of SpBlasOps for one execution space; bodies in
// SpBlasOpsRelaxBodies.h.
template <class Value, class Index, class Space>
struct SpBlasOpsRelaxImpl {
  using Ops = SpBlasOps<Value, Index>;
  using R = typename Ops::R;
  using SpMVRawMat = typename Ops::SpMVRawMat;
  using Policy = spm::RangePolicy<Space>;

  static void jacobi(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                     const Value* values, const Value* xOld, const Value* b, Value* x, Value omega);
  static void jacobi_diagLp(const Space& s, Index rows, Index cols, const Index* row_ptr,
                            const Index* col_idx, const Value* values, const Value* xOld, const Value* b,
                            Value* x, Value omega, R p, const Index* select);
  static void richardson(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                         const Value* values, const Value* xOld, const Value* b, Value* x, Value omega);
  static void sor(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                  const Value* values, const Value* b, Value* x, Value omega, bool forward,
                  const Index* order);
  static void par_sor(const Space& s, Index rows, Index blockCount, Index rank, const SpMVRawMat* blocks,
                      const Value* b, const Value* diag, Value* x, Value omega, bool forward,
                      const Index* order);
  static void par_csr_row_norm_lp(const Space& s, Index rows, Index blockCount, const SpMVRawMat* blocks, R p,
                                  R* result);
  static void par_csr_diag(const Space& s, Index rows, Index blockCount, const SpMVRawMat* blocks,
                           Value* diag);
};

}  // namespace velmo
