#pragma once

#include "kernels/impl/SpBlasOpsRelaxImpl.h"
#include "kernels/impl/ColBlockLoops.h"
#include "kernels/impl/SpBlasRowUtils.h"

namespace velmo {

// Bodies of the relaxation members of SpBlasOps, included only by the instantiation unit of
// each execution space. Row sums run in storage order from zero. The diagonal of row i is its
// last entry in column i, and a row without one is relaxed with a diagonal of 1.

// xOld and x must differ for the result not to depend on the order of rows.
template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::jacobi(const Space& s, Index rows, Index /*cols*/,
                                                     const Index* row_ptr, const Index* col_idx,
                                                     const Value* values, const Value* xOld, const Value* b,
                                                     Value* x, Value omega) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    const Value sum = detail::rowDot(row_ptr[i], row_ptr[i + 1], col_idx, values, xOld);
    const Value d = detail::rowDiagonal(row_ptr[i], row_ptr[i + 1], col_idx, values, Index(i));
    x[i] = (b[i] - sum) * omega / d + x[i];
  });
}

// An empty row has a zero norm, and the division is left unguarded.
template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::jacobi_diagLp(const Space& s, Index rows, Index /*cols*/,
                                                            const Index* row_ptr, const Index* col_idx,
                                                            const Value* values, const Value* xOld,
                                                            const Value* b, Value* x, Value omega, R p,
                                                            const Index* select) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    if (select != nullptr && select[i] < 0) {
      x[i] = xOld[i];
      return;
    }
    const Value sum = detail::rowDot(row_ptr[i], row_ptr[i + 1], col_idx, values, xOld);
    const Value d = detail::rowDiagonal(row_ptr[i], row_ptr[i + 1], col_idx, values, Index(i));
    R norm = R(0);
    for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) norm += powReal(absValue(values[k]), p);
    x[i] = (b[i] - sum) * omega * d / Value(powReal(norm, R(1) / p)) + x[i];
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::richardson(const Space& s, Index rows, Index /*cols*/,
                                                         const Index* row_ptr, const Index* col_idx,
                                                         const Value* values, const Value* xOld,
                                                         const Value* b, Value* x, Value omega) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    const Value sum = detail::rowDot(row_ptr[i], row_ptr[i + 1], col_idx, values, xOld);
    x[i] = (b[i] - sum) * omega + x[i];
  });
}

// Gauss-Seidel order needs one thread: later rows see the new values.
template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::sor(const Space& s, Index rows, Index /*cols*/,
                                                  const Index* row_ptr, const Index* col_idx,
                                                  const Value* values, const Value* b, Value* x, Value omega,
                                                  bool forward, const Index* order) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index pos = 0; pos < rows; ++pos) {
      const Index i = detail::sweepRow(pos, rows, forward, order);
      if (i < 0) continue;
      Value sum = Value(0);
      Value d = Value(1);
      for (Index e = row_ptr[i]; e < row_ptr[i + 1]; ++e) {
        if (col_idx[e] == i) {
          d = values[e];
        } else {
          sum += values[e] * x[col_idx[e]];
        }
      }
      x[i] = (b[i] - sum) * omega / d + x[i] * (Value(1) - omega);
    }
  });
}

// The diagonal is inside the sum and comes separately, hence the residual form. Ghost
// values stay fixed during the sweep; a view without storage contributes nothing.
template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::par_sor(const Space& s, Index rows, Index blockCount,
                                                      Index rank, const SpMVRawMat* blocks, const Value* b,
                                                      const Value* diag, Value* x, Value omega, bool forward,
                                                      const Index* order) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index pos = 0; pos < rows; ++pos) {
      const Index i = detail::sweepRow(pos, rows, forward, order);
      if (i < 0) continue;
      Value sum = Value(0);
      loopRowCol(i, blockCount, blocks, [&](const SpMVRawMat& blk, Index e) {
        const Value* xv = blk.rank == rank ? x : blk.x_values;
        sum += blk.values[e] * xv[blk.col_idx[e]];
      });
      x[i] = (b[i] - sum) * omega / diag[i] + x[i];
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::par_csr_row_norm_lp(const Space& s, Index rows,
                                                                  Index blockCount, const SpMVRawMat* blocks,
                                                                  R p, R* result) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    R sum = R(0);
    loopRowCol(Index(i), blockCount, blocks,
               [&](const SpMVRawMat& blk, Index e) { sum += powReal(absValue(blk.values[e]), p); });
    result[i] = powReal(sum, R(1) / p);
  });
}

// Row i sits at global position i + the first block's row offset. Only blocks whose columns
// can meet the rank's rows are scanned; a later block's match overrides an earlier one.
template <class Value, class Index, class Space>
void SpBlasOpsRelaxImpl<Value, Index, Space>::par_csr_diag(const Space& s, Index rows, Index blockCount,
                                                           const SpMVRawMat* blocks, Value* diag) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    diag[i] = Value(0);
    if (blockCount <= 0) return;
    const Index firstRows = blocks[0].rows;
    const Index firstOffset = blocks[0].row_offset;
    for (Index bl = 0; bl < blockCount; ++bl) {
      const SpMVRawMat& blk = blocks[bl];
      if (blk.row_ptr == nullptr) continue;
      if (!(blk.col_offset <= firstRows + firstOffset && firstOffset <= blk.cols + blk.col_offset)) continue;
      for (Index e = blk.row_ptr[i]; e < blk.row_ptr[i + 1]; ++e) {
        if (blk.col_idx[e] + blk.col_offset == firstOffset + i) {
          diag[i] = blk.values[e];
          break;
        }
      }
    }
  });
}

}  // namespace velmo
