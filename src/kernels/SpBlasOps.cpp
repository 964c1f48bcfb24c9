#include "kernels/impl/KernelTypes.h"
#include "kernels/impl/SpBlasOpsAggregationImpl.h"
#include "kernels/impl/SpBlasOpsProductImpl.h"
#include "kernels/impl/SpBlasOpsRelaxImpl.h"
#include "kernels/impl/SpBlasOpsStructureImpl.h"
#include "kernels/spm/Dispatch.h"

// The SpBlasOps family: each member picks the space of its device and runs the body of its
// theme (structure and extraction, products and sums, relaxation, smoothed aggregation).
namespace velmo {

namespace {
template <class Value, class Index, class Space>
using StructureImpl = SpBlasOpsStructureImpl<Value, Index, std::decay_t<Space>>;
template <class Value, class Index, class Space>
using ProductImpl = SpBlasOpsProductImpl<Value, Index, std::decay_t<Space>>;
template <class Value, class Index, class Space>
using RelaxImpl = SpBlasOpsRelaxImpl<Value, Index, std::decay_t<Space>>;
template <class Value, class Index, class Space>
using AggregationImpl = SpBlasOpsAggregationImpl<Value, Index, std::decay_t<Space>>;
}  // namespace

#define VELMO_SPBLAS_DISPATCH(impl, op, ...) \
  detail::dispatch(dev, [&](const auto& s) { impl<Value, Index, decltype(s)>::op(s, __VA_ARGS__); })

template <class Value, class Index>
void SpBlasOps<Value, Index>::aAxpby(const Device& dev, Value alpha, Index rows, Index cols,
                                     const Index* row_ptr, const Index* row_end, const Index* col_idx,
                                     const Value* values, const Value* x, Value beta, const Value* z,
                                     Value* y) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, aAxpby, alpha, rows, cols, row_ptr, row_end, col_idx, values, x, beta, z, y);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::aAxpby_multi(const Device& dev, Value alpha, Index rows, Index cols,
                                           const Index* row_ptr, const Index* col_idx, const Value* values,
                                           Index nvecs, Index ldx, const Value* x, Value beta, Index ldy,
                                           Value* y) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, aAxpby_multi, alpha, rows, cols, row_ptr, col_idx, values, nvecs, ldx, x, beta, ldy, y);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr2dense(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                        const Index* col_idx, const Value* values, Value* dense) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr2dense, rows, cols, row_ptr, col_idx, values, dense);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_diag(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                       const Index* col_idx, const Value* values, Value* diag, Index rowOffset,
                                       Index colOffset) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr_diag, rows, cols, row_ptr, col_idx, values, diag, rowOffset, colOffset);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_axpby_diag(const Device& dev, Value alpha, const Value* x, Value beta,
                                             const Value* y, MergeRawMat A, MergeRawMat out) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr_axpby_diag, alpha, x, beta, y, A, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_append_rows(const Device& dev, RawMat out, Index startRow, Index startNnz,
                                              RawMat src) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr_append_rows, out, startRow, startNnz, src);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_merge_cols(const Device& dev, Index count, const MergeRawMat* blocks,
                                             RawMat out) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr_merge_cols, count, blocks, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_merge_rows(const Device& dev, Index count, const MergeRawMat* blocks,
                                             RawMat out) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, csr_merge_rows, count, blocks, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_row_element_count(const Device& dev, RawMat A, Index count, Index* result) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, get_row_element_count, A, count, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_col_element_count(const Device& dev, RawMat A, Index count, Index* result) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, get_col_element_count, A, count, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                                const Index* col_idx, const Value* values, Index row, Index col,
                                                Value* value, int* found) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, get_element_value, rows, cols, row_ptr, col_idx, values, row, col, value, found);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::set_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                                const Index* col_idx, Value* values, Index row, Index col,
                                                Value value, int* found) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, set_element_value, rows, cols, row_ptr, col_idx, values, row, col, value, found);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_selected_rows(const Device& dev, RawMat A, Index n, const Index* selected,
                                                RawMat out, bool keepPositions) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, get_selected_rows, A, n, selected, out, keepPositions);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_selected_cols(const Device& dev, RawMat A, Index n, const Index* selected,
                                                RawMat out, Index shift) {
  VELMO_SPBLAS_DISPATCH(StructureImpl, get_selected_cols, A, n, selected, out, shift);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul(const Device& dev, Index rowsA, Index colsA, Index colsB,
                                         const Index* A_row_ptr, const Index* A_col_idx, const Value* A_values,
                                         const Index* B_row_ptr, const Index* B_col_idx, const Value* B_values,
                                         Index* C_row_ptr, Index* C_col_idx, Value* C_values, Index* marker) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matmul, rowsA, colsA, colsB, A_row_ptr, A_col_idx, A_values, B_row_ptr, B_col_idx,
                        B_values, C_row_ptr, C_col_idx, C_values, marker);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul_aAD(const Device& dev, Value alpha, SpMVRawMat A) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matmul_aAD, alpha, A);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul_aDA(const Device& dev, Value alpha, const Value* diag, MergeRawMat A) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matmul_aDA, alpha, diag, A);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B,
                                         RawMat C, RawMat scratch) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matadd, alpha, A, beta, B, C, scratch);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd_hash(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B,
                                              RawMat C, Slot* slots) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matadd_hash, alpha, A, beta, B, C, slots);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd_vec(const Device& dev, Index rows, Index count, const RawMat* list,
                                             RawMat out, Index* marker) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_matadd_vec, rows, count, list, out, marker);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_sort_rows(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            Index* col_idx, Value* values) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_sort_rows, rows, cols, row_ptr, col_idx, values);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_transpose(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            const Index* col_idx, const Value* values, Index* out_row_ptr,
                                            Index* out_col_idx, Value* out_values) {
  VELMO_SPBLAS_DISPATCH(ProductImpl, csr_transpose, rows, cols, row_ptr, col_idx, values, out_row_ptr, out_col_idx,
                        out_values);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::jacobi(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                     const Index* col_idx, const Value* values, const Value* xOld, const Value* b,
                                     Value* x, Value omega) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, jacobi, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::jacobi_diagLp(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            const Index* col_idx, const Value* values, const Value* xOld,
                                            const Value* b, Value* x, Value omega, R p, const Index* select) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, jacobi_diagLp, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega, p, select);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::richardson(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                         const Index* col_idx, const Value* values, const Value* xOld,
                                         const Value* b, Value* x, Value omega) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, richardson, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::sor(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                  const Index* col_idx, const Value* values, const Value* b, Value* x, Value omega,
                                  bool forward, const Index* order) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, sor, rows, cols, row_ptr, col_idx, values, b, x, omega, forward, order);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_sor(const Device& dev, Index rows, Index blockCount, Index rank,
                                      const SpMVRawMat* blocks, const Value* b, const Value* diag, Value* x,
                                      Value omega, bool forward, const Index* order) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, par_sor, rows, blockCount, rank, blocks, b, diag, x, omega, forward, order);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_row_norm_lp(const Device& dev, Index rows, Index blockCount,
                                                  const SpMVRawMat* blocks, R p, R* result) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, par_csr_row_norm_lp, rows, blockCount, blocks, p, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_diag(const Device& dev, Index rows, Index blockCount,
                                           const SpMVRawMat* blocks, Value* diag) {
  VELMO_SPBLAS_DISPATCH(RelaxImpl, par_csr_diag, rows, blockCount, blocks, diag);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_strength(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                           const Index* col_idx, const Value* values, const Value* diag,
                                           Index* marks, double eps, Index rowOffset, Index colOffset) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, csr_strength, rows, cols, row_ptr, col_idx, values, diag, marks, eps, rowOffset,
                        colOffset);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_aggregate(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            const Index* col_idx, const Index* marks, Index* aggr, Index* stack,
                                            Index* renumber, Index* count) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, csr_aggregate, rows, cols, row_ptr, col_idx, marks, aggr, stack, renumber, count);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_aggregate(const Device& dev, Index rows, Index rank, Index sCount,
                                                const MarkRawMat* S, Index s2Count, const MarkRawMat* S2,
                                                Index* aggr, Index* owner, Index* naggrLocal, Index* nUndone,
                                                Record* records, Index* recordCount, Index* stack) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, par_csr_aggregate, rows, rank, sCount, S, s2Count, S2, aggr, owner, naggrLocal,
                        nUndone, records, recordCount, stack);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_aggregate_select(const Device& dev, const Record* records,
                                                       const Index* recordCount, Index target, Index* selectedCount,
                                                       Record* selected) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, par_csr_aggregate_select, records, recordCount, target, selectedCount, selected);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_tentative_prolongation(const Device& dev, Index rows, Index naggr,
                                                         const Index* aggr, Index* row_ptr, Index* col_idx,
                                                         Value* values) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, csr_tentative_prolongation, rows, naggr, aggr, row_ptr, col_idx, values);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_tentative_filter(const Device& dev, Index rows, Index blockCount,
                                                   const SpMVRawMat* A, const MarkRawMat* S, const SpMVRawMat* out) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, csr_tentative_filter, rows, blockCount, A, S, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_tentative_smooth(const Device& dev, Index rows, Index cols, Index naggr,
                                                   const Index* A_row_ptr, const Index* A_col_idx,
                                                   const Value* A_values, const Index* marks,
                                                   const Index* T_row_ptr, const Index* T_col_idx,
                                                   const Value* T_values, Index* P_row_ptr, Index* P_col_idx,
                                                   Value* P_values, Value omega, Index* marker) {
  VELMO_SPBLAS_DISPATCH(AggregationImpl, csr_tentative_smooth, rows, cols, naggr, A_row_ptr, A_col_idx, A_values, marks,
                        T_row_ptr, T_col_idx, T_values, P_row_ptr, P_col_idx, P_values, omega, marker);
}

#undef VELMO_SPBLAS_DISPATCH

#define VELMO_INSTANTIATE(V, I) template struct SpBlasOps<V, I>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
