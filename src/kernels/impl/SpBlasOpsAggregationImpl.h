#pragma once

#include "kernels/SpBlasOps.h"
#include "kernels/spm/spm.h"

namespace velmo {

// The smoothed-aggregation members of SpBlasOps for one execution space; bodies in
// SpBlasOpsAggregationBodies.h.
template <class Value, class Index, class Space>
struct SpBlasOpsAggregationImpl {
  using Ops = SpBlasOps<Value, Index>;
  using R = typename Ops::R;
  using SpMVRawMat = typename Ops::SpMVRawMat;
  using MarkRawMat = typename Ops::MarkRawMat;
  using Record = typename Ops::Record;
  using Policy = spm::RangePolicy<Space>;

  static void csr_strength(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                           const Value* values, const Value* diag, Index* marks, double eps, Index rowOffset,
                           Index colOffset);
  static void csr_aggregate(const Space& s, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                            const Index* marks, Index* aggr, Index* stack, Index* renumber, Index* count);
  static void par_csr_aggregate(const Space& s, Index rows, Index rank, Index sCount, const MarkRawMat* S,
                                Index s2Count, const MarkRawMat* S2, Index* aggr, Index* owner, Index* naggrLocal,
                                Index* nUndone, Record* records, Index* recordCount, Index* stack);
  static void par_csr_aggregate_select(const Space& s, const Record* records, const Index* recordCount,
                                       Index target, Index* selectedCount, Record* selected);
  static void csr_tentative_prolongation(const Space& s, Index rows, Index naggr, const Index* aggr,
                                         Index* row_ptr, Index* col_idx, Value* values);
  static void csr_tentative_filter(const Space& s, Index rows, Index blockCount, const SpMVRawMat* A,
                                   const MarkRawMat* S, const SpMVRawMat* out);
  static void csr_tentative_smooth(const Space& s, Index rows, Index cols, Index naggr, const Index* A_row_ptr,
                                   const Index* A_col_idx, const Value* A_values, const Index* marks,
                                   const Index* T_row_ptr, const Index* T_col_idx, const Value* T_values,
                                   Index* P_row_ptr, Index* P_col_idx, Value* P_values, Value omega, Index* marker);
};

}  // namespace velmo
