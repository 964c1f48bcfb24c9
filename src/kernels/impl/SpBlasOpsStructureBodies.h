#pragma once

#include "kernels/impl/SpBlasOpsStructureImpl.h"
#include "kernels/impl/SpBlasRowUtils.h"

namespace velmo {

// Bodies of the structure members of SpBlasOps, included only by the instantiation unit of
// each execution space. Views carry `row_ptr` as const; a builder owns its output's `row_ptr`
// and writes it. An output view with a null `col_idx` or `values` asks for the symbolic pass
// only.

// The beta == 0 body never reads z, so NaNs left in it do not spread.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::aAxpby(const Space& s, Value alpha, Index rows,
                                                         Index /*cols*/, const Index* row_ptr,
                                                         const Index* row_end, const Index* col_idx,
                                                         const Value* values, const Value* x, Value beta,
                                                         const Value* z, Value* y) {
  if (beta == Value(0)) {
    spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
      y[i] = alpha * detail::rowDot(row_ptr[i], row_end[i], col_idx, values, x);
    });
  } else {
    spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
      y[i] = z[i] * beta + detail::rowDot(row_ptr[i], row_end[i], col_idx, values, x) * alpha;
    });
  }
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::aAxpby_multi(const Space& s, Value alpha, Index rows,
                                                               Index cols, const Index* row_ptr,
                                                               const Index* col_idx, const Value* values,
                                                               Index nvecs, Index ldx, const Value* x,
                                                               Value beta, Index ldy, Value* y) {
  for (Index v = 0; v < nvecs; ++v) {
    aAxpby(s, alpha, rows, cols, row_ptr, row_ptr + 1, col_idx, values, x + long(v) * ldx, beta,
           y + long(v) * ldy, y + long(v) * ldy);
  }
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr2dense(const Space& s, Index rows, Index cols,
                                                            const Index* row_ptr, const Index* col_idx,
                                                            const Value* values, Value* dense) {
  spm::parallel_for(Policy(s, 0, long(rows) * cols), VELMO_LAMBDA(long i) { dense[i] = Value(0); });
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) dense[i * cols + col_idx[k]] = values[k];
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr_diag(const Space& s, Index rows, Index /*cols*/,
                                                           const Index* row_ptr, const Index* col_idx,
                                                           const Value* values, Value* diag, Index rowOffset,
                                                           Index colOffset) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
      if (col_idx[k] + colOffset == i + rowOffset) {
        diag[i] = values[k];
        break;
      }
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr_axpby_diag(const Space& s, Value alpha, const Value* x,
                                                                 Value beta, const Value* y, MergeRawMat A,
                                                                 MergeRawMat out) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    const long g = i + A.row_offset;
    bool hasDiag = false;
    for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      if (A.col_idx[k] + A.col_offset == g) hasDiag = true;
    }
    const bool inBlock = g >= A.col_offset && g < long(A.col_offset) + A.cols;
    outPtr[i + 1] = A.row_ptr[i + 1] - A.row_ptr[i] + (inBlock && !hasDiag ? 1 : 0);
  });
  detail::prefixSumRows(s, A.rows, outPtr);
  if (out.col_idx == nullptr || out.values == nullptr) return;

  const bool betaZero = beta == Value(0);
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    const long g = i + A.row_offset;
    const Value xi = x ? x[i] : Value(0);
    const Value yi = y ? y[i] : Value(1);
    Index p = outPtr[i];
    bool hasDiag = false;
    for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      const Index c = A.col_idx[k];
      Value v = A.values[k];
      if (c + A.col_offset == g) {
        const Value t = betaZero ? Value(0) : beta * yi * v;
        v = alpha * xi + t;
        hasDiag = true;
      }
      out.col_idx[p] = c;
      out.values[p] = v;
      ++p;
    }
    // The appended entry's column is the local row number, with no offset applied.
    if (!hasDiag && g >= A.col_offset && g < long(A.col_offset) + A.cols) {
      out.col_idx[p] = Index(i);
      out.values[p] = xi * alpha;
    }
  });
}

// The copy follows out.row_ptr, so startNnz is not needed.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr_append_rows(const Space& s, RawMat out, Index startRow,
                                                                  Index /*startNnz*/, RawMat src) {
  Index* p = const_cast<Index*>(out.row_ptr) + startRow;
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    if (startRow == 0) p[0] = 0;
    for (Index j = 0; j < src.rows; ++j) {
      p[j + 1] = p[j] + (src.row_ptr ? src.row_ptr[j + 1] - src.row_ptr[j] : Index(0));
    }
  });
  if (src.row_ptr == nullptr) return;
  spm::parallel_for(Policy(s, 0, src.rows), VELMO_LAMBDA(long j) {
    Index dst = p[j];
    for (Index k = src.row_ptr[j]; k < src.row_ptr[j + 1]; ++k, ++dst) {
      out.col_idx[dst] = src.col_idx[k];
      out.values[dst] = src.values[k];
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr_merge_cols(const Space& s, Index count,
                                                                 const MergeRawMat* blocks, RawMat out) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  spm::parallel_for(Policy(s, 0, out.rows), VELMO_LAMBDA(long i) {
    Index len = 0;
    for (Index b = 0; b < count; ++b) len += blocks[b].row_ptr[i + 1] - blocks[b].row_ptr[i];
    outPtr[i + 1] = len;
  });
  detail::prefixSumRows(s, out.rows, outPtr);
  if (out.col_idx == nullptr || out.values == nullptr) return;

  spm::parallel_for(Policy(s, 0, out.rows), VELMO_LAMBDA(long i) {
    Index p = outPtr[i];
    for (Index b = 0; b < count; ++b) {
      const MergeRawMat& blk = blocks[b];
      for (Index k = blk.row_ptr[i]; k < blk.row_ptr[i + 1]; ++k, ++p) {
        out.col_idx[p] = blk.col_idx[k] + blk.col_offset;
        out.values[p] = blk.values[k];
      }
    }
  });
}

// Rows land at the block's local row numbers: only a single block merges correctly.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::csr_merge_rows(const Space& s, Index count,
                                                                 const MergeRawMat* blocks, RawMat out) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    Index pos = 1;
    for (Index b = 0; b < count; ++b) {
      for (Index r = 0; r < blocks[b].rows; ++r, ++pos) {
        outPtr[pos] = blocks[b].row_ptr[r + 1] - blocks[b].row_ptr[r];
      }
    }
  });
  detail::prefixSumRows(s, out.rows, outPtr);
  if (out.col_idx == nullptr || out.values == nullptr) return;

  spm::parallel_for(Policy(s, 0, count), VELMO_LAMBDA(long b) {
    const MergeRawMat& blk = blocks[b];
    for (Index r = 0; r < blk.rows; ++r) {
      Index p = outPtr[r];
      for (Index k = blk.row_ptr[r]; k < blk.row_ptr[r + 1]; ++k, ++p) {
        out.col_idx[p] = blk.col_idx[k] + blk.col_offset;
        out.values[p] = blk.values[k];
      }
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::get_row_element_count(const Space& s, RawMat A, Index count,
                                                                        Index* result) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index i = 0; i < count; ++i) result[i] = A.row_end[i] - A.row_ptr[i];
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::get_col_element_count(const Space& s, RawMat A, Index count,
                                                                        Index* result) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index c = 0; c < count; ++c) result[c] = 0;
    for (Index i = 0; i < A.rows; ++i) {
      for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) ++result[A.col_idx[k]];
    }
  });
}

// Element access scans linearly, since rows need not be sorted.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::get_element_value(const Space& s, Index /*rows*/,
                                                                    Index /*cols*/, const Index* row_ptr,
                                                                    const Index* col_idx, const Value* values,
                                                                    Index row, Index col, Value* value,
                                                                    int* found) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    *found = 0;
    *value = Value(0);
    for (Index k = row_ptr[row]; k < row_ptr[row + 1]; ++k) {
      if (col_idx[k] == col) {
        *found = 1;
        *value = values[k];
        break;
      }
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::set_element_value(const Space& s, Index /*rows*/,
                                                                    Index /*cols*/, const Index* row_ptr,
                                                                    const Index* col_idx, Value* values,
                                                                    Index row, Index col, Value value,
                                                                    int* found) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    *found = 0;
    for (Index k = row_ptr[row]; k < row_ptr[row + 1]; ++k) {
      if (col_idx[k] == col) {
        *found = 1;
        values[k] = value;
        break;
      }
    }
  });
}

// With keepPositions a selected row keeps its number, so a row selected twice counts once.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::get_selected_rows(const Space& s, RawMat A, Index n,
                                                                    const Index* selected, RawMat out,
                                                                    bool keepPositions) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  if (out.col_idx == nullptr || out.values == nullptr) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
      for (Index i = 0; i <= out.rows; ++i) outPtr[i] = 0;
      for (Index k = 0; k < n; ++k) {
        const Index r = selected[k];
        outPtr[(keepPositions ? r : k) + 1] = A.row_ptr[r + 1] - A.row_ptr[r];
      }
      for (Index i = 0; i < out.rows; ++i) outPtr[i + 1] += outPtr[i];
    });
    return;
  }
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long k) {
    const Index r = selected[k];
    Index p = keepPositions ? outPtr[r] : outPtr[k];
    for (Index j = A.row_ptr[r]; j < A.row_ptr[r + 1]; ++j, ++p) {
      out.col_idx[p] = A.col_idx[j];
      out.values[p] = A.values[j];
    }
  });
}

// Membership is decided by bisection, so `selected` must be ascending.
template <class Value, class Index, class Space>
void SpBlasOpsStructureImpl<Value, Index, Space>::get_selected_cols(const Space& s, RawMat A, Index n,
                                                                    const Index* selected, RawMat out,
                                                                    Index shift) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  if (out.col_idx == nullptr || out.values == nullptr) {
    spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
      Index kept = 0;
      for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
        if (detail::sortedContains(selected, n, A.col_idx[k])) ++kept;
      }
      outPtr[i + 1] = kept;
    });
    detail::prefixSumRows(s, A.rows, outPtr);
    return;
  }
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    Index p = outPtr[i];
    for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      const Index c = A.col_idx[k];
      if (detail::sortedContains(selected, n, c)) {
        out.col_idx[p] = c + shift;
        out.values[p] = A.values[k];
        ++p;
      }
    }
  });
}

}  // namespace velmo
