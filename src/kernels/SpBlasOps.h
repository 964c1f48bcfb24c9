#pragma once

#include "kernels/AggregateData.h"
#include "kernels/RawMat.h"
#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo {

// Kernels over compressed rows whose arrays live on `dev`. Builders of a new pattern are
// called twice: with null output `col_idx`/`values` they only fill the output `row_ptr`, and
// once the caller has sized the output from `row_ptr[rows]`, a second call fills it.
template <class Value, class Index>
struct SpBlasOps {
  using R = RealOf<Value>;
  using RawMat = COT_CSRRawMat<Value, Index>;
  using MergeRawMat = COT_MergeCSRRawMat<Value, Index>;
  using SpMVRawMat = COT_SpMVCSRRawMat<Value, Index>;
  using Slot = HashTableSlot<Index, Index>;
  // A strength matrix's column block: its values are the marks.
  using MarkRawMat = COT_SpMVCSRRawMat<Index, Index>;
  using Record = AggregateData<Index>;

  // ---- products, extraction and concatenation ----

  // y = alpha A x + beta z, where z may be y itself; beta == 0 never reads z. A separate z
  // spares a residual the copy of its right-hand side.
  static void aAxpby(const Device& dev, Value alpha, Index rows, Index cols, const Index* row_ptr,
                     const Index* row_end, const Index* col_idx, const Value* values, const Value* x,
                     Value beta, const Value* z, Value* y);
  // aAxpby on nvecs column-major vectors with leading dimensions ldx and ldy.
  static void aAxpby_multi(const Device& dev, Value alpha, Index rows, Index cols, const Index* row_ptr,
                           const Index* col_idx, const Value* values, Index nvecs, Index ldx,
                           const Value* x, Value beta, Index ldy, Value* y);
  // Row-major dense copy; a repeated column keeps the later value.
  static void csr2dense(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                        const Index* col_idx, const Value* values, Value* dense);
  // diag[i] = first entry of row i on the global diagonal; rows without one are left alone.
  static void csr_diag(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                       const Index* col_idx, const Value* values, Value* diag, Index rowOffset,
                       Index colOffset);
  // out = A with its diagonal replaced by alpha x + beta y a; null x reads 0, null y reads 1.
  static void csr_axpby_diag(const Device& dev, Value alpha, const Value* x, Value beta, const Value* y,
                             MergeRawMat A, MergeRawMat out);
  // Appends src's rows to out from row startRow on.
  static void csr_append_rows(const Device& dev, RawMat out, Index startRow, Index startNnz, RawMat src);
  // Side by side concatenation of `count` blocks with the same rows.
  static void csr_merge_cols(const Device& dev, Index count, const MergeRawMat* blocks, RawMat out);
  // Stacking of `count` blocks; the rows of each block land at their local numbers.
  static void csr_merge_rows(const Device& dev, Index count, const MergeRawMat* blocks, RawMat out);
  static void get_row_element_count(const Device& dev, RawMat A, Index count, Index* result);
  static void get_col_element_count(const Device& dev, RawMat A, Index count, Index* result);
  // First stored entry at (row, col): *found = 1 and its value, else *found = 0 and zero.
  static void get_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                const Index* col_idx, const Value* values, Index row, Index col,
                                Value* value, int* found);
  // Overwrites the first stored entry at (row, col); never inserts.
  static void set_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                const Index* col_idx, Value* values, Index row, Index col, Value value,
                                int* found);
  static void get_selected_rows(const Device& dev, RawMat A, Index n, const Index* selected, RawMat out,
                                bool keepPositions);
  // `selected` must be ascending; kept columns are renumbered c + shift.
  static void get_selected_cols(const Device& dev, RawMat A, Index n, const Index* selected, RawMat out,
                                Index shift);

  // ---- matrix products, sums, sort and transpose ----

  // C = A B with columns in order of first touch; marker holds colsB elements.
  static void csr_matmul(const Device& dev, Index rowsA, Index colsA, Index colsB, const Index* A_row_ptr,
                         const Index* A_col_idx, const Value* A_values, const Index* B_row_ptr,
                         const Index* B_col_idx, const Value* B_values, Index* C_row_ptr,
                         Index* C_col_idx, Value* C_values, Index* marker);
  // A = alpha A diag(A.x_values), in place.
  static void csr_matmul_aAD(const Device& dev, Value alpha, SpMVRawMat A);
  // A = alpha diag(diag) A, in place.
  static void csr_matmul_aDA(const Device& dev, Value alpha, const Value* diag, MergeRawMat A);
  // C = alpha A + beta B by sorted merge through `scratch` (A.nnzs + B.nnzs entries); sorts
  // the rows of A and B in place.
  static void csr_matadd(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B, RawMat C,
                         RawMat scratch);
  // C = alpha A + beta B by per-row hash tables in `slots` (A.nnzs + B.nnzs of them).
  static void csr_matadd_hash(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B, RawMat C,
                              Slot* slots);
  // out = sum of `count` matrices; marker holds out.cols elements.
  static void csr_matadd_vec(const Device& dev, Index rows, Index count, const RawMat* list, RawMat out,
                             Index* marker);
  static void csr_sort_rows(const Device& dev, Index rows, Index cols, const Index* row_ptr, Index* col_idx,
                            Value* values);
  // Counting-sort transpose; output rows come out sorted.
  static void csr_transpose(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                            const Index* col_idx, const Value* values, Index* out_row_ptr,
                            Index* out_col_idx, Value* out_values);

  // ---- relaxation ----

  static void jacobi(const Device& dev, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                     const Value* values, const Value* xOld, const Value* b, Value* x, Value omega);
  // Jacobi step weighted by diagonal / row p-norm; rows with a negative select copy xOld.
  static void jacobi_diagLp(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                            const Index* col_idx, const Value* values, const Value* xOld, const Value* b,
                            Value* x, Value omega, R p, const Index* select);
  static void richardson(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                         const Index* col_idx, const Value* values, const Value* xOld, const Value* b,
                         Value* x, Value omega);
  // One Gauss-Seidel/SOR sweep in place; `order` (may be null) lists rows, negative skips.
  static void sor(const Device& dev, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                  const Value* values, const Value* b, Value* x, Value omega, bool forward,
                  const Index* order);
  // SOR sweep across the column blocks of a distributed matrix; the block owned by `rank`
  // reads x in place, the others their gathered x_values.
  static void par_sor(const Device& dev, Index rows, Index blockCount, Index rank, const SpMVRawMat* blocks,
                      const Value* b, const Value* diag, Value* x, Value omega, bool forward,
                      const Index* order);
  // result[i] = (sum over all blocks of |a|^p)^(1/p).
  static void par_csr_row_norm_lp(const Device& dev, Index rows, Index blockCount, const SpMVRawMat* blocks,
                                  R p, R* result);
  // diag[i] = diagonal entry of row i across the blocks, 0 when there is none.
  static void par_csr_diag(const Device& dev, Index rows, Index blockCount, const SpMVRawMat* blocks,
                           Value* diag);

  // ---- smoothed aggregation ----
  // Marks, row marks and counters are Index data; a nonzero mark is a strong entry. The
  // aggregation and prolongation builders are ordered: row order is part of their result.

  // marks[k] = 1 where a^2 > eps^2 d_i d_c (|a^2| > Re(eps^2 d_i d_c) for complex values), else
  // 0; never on the global diagonal. d is read at the block's own column number.
  static void csr_strength(const Device& dev, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                           const Value* values, const Value* diag, Index* marks, double eps, Index rowOffset,
                           Index colOffset);
  // aggr: -2 for a row without strong entries, else its aggregate, numbered by first
  // appearance; *count aggregates. stack and renumber hold rows elements each.
  static void csr_aggregate(const Device& dev, Index rows, Index cols, const Index* row_ptr, const Index* col_idx,
                            const Index* marks, Index* aggr, Index* stack, Index* renumber, Index* count);
  // One step of distributed aggregation over the strength blocks S and the blocks S2 of S^2,
  // whose remote x_values hold the other ranks' marks. The pointers choose the mode: with a
  // stack, one round of claims, recording each claim of another rank's row in `records` at
  // *recordCount; without stack, records and count, the initial marks; otherwise the
  // *recordCount received `records` are applied.
  static void par_csr_aggregate(const Device& dev, Index rows, Index rank, Index sCount, const MarkRawMat* S,
                                Index s2Count, const MarkRawMat* S2, Index* aggr, Index* owner, Index* naggrLocal,
                                Index* nUndone, Record* records, Index* recordCount, Index* stack);
  // The records addressed to `target`: counted into *selectedCount when `selected` is null,
  // else copied in order to its front.
  static void par_csr_aggregate_select(const Device& dev, const Record* records, const Index* recordCount,
                                       Index target, Index* selectedCount, Record* selected);
  // Row i holds 1 in column aggr[i], or nothing for a negative mark.
  static void csr_tentative_prolongation(const Device& dev, Index rows, Index naggr, const Index* aggr,
                                         Index* row_ptr, Index* col_idx, Value* values);
  // out = A with the entries of zero mark in S stored as zeros and added to the diagonal, so
  // that row sums stay; the three lists have the same blocks and patterns.
  static void csr_tentative_filter(const Device& dev, Index rows, Index blockCount, const SpMVRawMat* A,
                                   const MarkRawMat* S, const SpMVRawMat* out);
  // P = (I - omega D^-1 Af) T in one pass, Af being A filtered by the marks and D its diagonal;
  // columns in order of first touch. marker holds naggr elements.
  static void csr_tentative_smooth(const Device& dev, Index rows, Index cols, Index naggr, const Index* A_row_ptr,
                                   const Index* A_col_idx, const Value* A_values, const Index* marks,
                                   const Index* T_row_ptr, const Index* T_col_idx, const Value* T_values,
                                   Index* P_row_ptr, Index* P_col_idx, Value* P_values, Value omega, Index* marker);
};

}  // namespace velmo
