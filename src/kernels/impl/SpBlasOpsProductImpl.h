#pragma once

#include "kernels/SpBlasOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// The product, sum, sort and transpose members of SpBlasOps for one execution space;
// bodies in SpBlasOpsProductBodies.h.
template <class Value, class Index, class Space>
struct SpBlasOpsProductImpl {
  using Ops = SpBlasOps<Value, Index>;
  using RawMat = typename Ops::RawMat;
  using MergeRawMat = typename Ops::MergeRawMat;
  using SpMVRawMat = typename Ops::SpMVRawMat;
  using Slot = typename Ops::Slot;
  using Policy = spm::RangePolicy<Space>;

  static void csr_matmul(const Space& s, Index rowsA, Index colsA, Index colsB, const Index* A_row_ptr,
                         const Index* A_col_idx, const Value* A_values, const Index* B_row_ptr,
                         const Index* B_col_idx, const Value* B_values, Index* C_row_ptr, Index* C_col_idx,
                         Value* C_values, Index* marker);
  static void csr_matmul_aAD(const Space& s, Value alpha, SpMVRawMat A);
  static void csr_matmul_aDA(const Space& s, Value alpha, const Value* diag, MergeRawMat A);
  static void csr_matadd(const Space& s, Value alpha, RawMat A, Value beta, RawMat B, RawMat C,
                         RawMat scratch);
  static void csr_matadd_hash(const Space& s, Value alpha, RawMat A, Value beta, RawMat B, RawMat C,
                              Slot* slots);
  static void csr_matadd_vec(const Space& s, Index rows, Index count, const RawMat* list, RawMat out,
                             Index* marker);
  static void csr_sort_rows(const Space& s, Index rows, Index cols, const Index* row_ptr, Index* col_idx,
                            Value* values);
  static void csr_transpose(const Space& s, Index rows, Index cols, const Index* row_ptr,
                            const Index* col_idx, const Value* values, Index* out_row_ptr, Index* out_col_idx,
                            Value* out_values);
};

}  // namespace velmo
