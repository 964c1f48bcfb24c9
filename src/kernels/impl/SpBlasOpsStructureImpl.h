#pragma once

#include "kernels/SpBlasOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// The product, extraction and concatenation members of SpBlasOps for one execution space;
// bodies in SpBlasOpsStructureBodies.h.
template <class Value, class Index, class Space>
struct SpBlasOpsStructureImpl {
  using Ops = SpBlasOps<Value, Index>;
  using RawMat = typename Ops::RawMat;
  using MergeRawMat = typename Ops::MergeRawMat;
  using Policy = spm::RangePolicy<Space>;

  static void aAxpby(const Space& s, Value alpha, Index rows, Index cols, const Index* row_ptr,
                     const Index* row_end, const Index* col_idx, const Value* values, const Value* x,
                     Value beta, const Value* z, Value* y);
  static void aAxpby_multi(const Space& s, Value alpha, Index rows, Index cols, const Index* row_ptr,
                           const Index* col_idx, const Value* values, Index nvecs, Index ldx, const Value* x,
                           Value beta, Index ldy, Value* y);
  static void csr2dense(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                        const Value* values, Value* dense);
  static void csr_diag(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                       const Value* values, Value* diag, Index rowOffset, Index colOffset);
  static void csr_axpby_diag(const Space& s, Value alpha, const Value* x, Value beta, const Value* y,
                             MergeRawMat A, MergeRawMat out);
  static void csr_append_rows(const Space& s, RawMat out, Index startRow, Index startNnz, RawMat src);
  static void csr_merge_cols(const Space& s, Index count, const MergeRawMat* blocks, RawMat out);
  static void csr_merge_rows(const Space& s, Index count, const MergeRawMat* blocks, RawMat out);
  static void get_row_element_count(const Space& s, RawMat A, Index count, Index* result);
  static void get_col_element_count(const Space& s, RawMat A, Index count, Index* result);
  static void get_element_value(const Space& s, Index rows, Index cols, const Index* row_ptr,
                                const Index* col_idx, const Value* values, Index row, Index col, Value* value,
                                int* found);
  static void set_element_value(const Space& s, Index rows, Index cols, const Index* row_ptr,
                                const Index* col_idx, Value* values, Index row, Index col, Value value,
                                int* found);
  static void get_selected_rows(const Space& s, RawMat A, Index n, const Index* selected, RawMat out,
                                bool keepPositions);
  static void get_selected_cols(const Space& s, RawMat A, Index n, const Index* selected, RawMat out,
                                Index shift);
};

}  // namespace velmo
