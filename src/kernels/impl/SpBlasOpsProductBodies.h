#pragma once

#include <type_traits>
#include <vector>

#include "kernels/impl/SpBlasOpsProductImpl.h"
#include "kernels/impl/SpBlasRowUtils.h"

namespace velmo {

// Bodies of the product, sum, sort and transpose members of SpBlasOps, included only by the
// instantiation unit of each execution space. No numeric cancellation is removed: an entry
// that sums to zero stays.

namespace detail {

// Linear probe from the home slot, for one full circle at most. Returns the slot holding
// `key` (present = true), else where to insert it: the first deleted slot passed, or the
// empty slot that ended the search; null when the table is full.
template <class Slot, class Index>
VELMO_HD Slot* probe(Slot* table, Index size, Index key, bool& present) {
  present = false;
  Index slot = Index(hashHome(key, size));
  Slot* deleted = nullptr;
  for (Index step = 0; step < size; ++step, slot = (slot + 1) % size) {
    Slot& cur = table[slot];
    if (cur.state == 0) return deleted ? deleted : &cur;
    if (cur.state == 2) {
      if (deleted == nullptr) deleted = &cur;
    } else if (cur.key == key) {
      present = true;
      return &cur;
    }
  }
  return deleted;
}

}  // namespace detail

// Marker product, serial on either side. Columns stand in order of first touch; the row
// start doubles as the marker threshold, so the marker is not reset between rows.
namespace detail {

// Row i of A B: the number of distinct columns (marker[j] == i marks column j as counted).
template <class Value, class Index>
VELMO_HD Index productRowCount(Index i, const Index* A_row_ptr, const Index* A_col_idx, const Index* B_row_ptr,
                               const Index* B_col_idx, Index* marker) {
  Index count = 0;
  for (Index ka = A_row_ptr[i]; ka < A_row_ptr[i + 1]; ++ka) {
    const Index k = A_col_idx[ka];
    for (Index kb = B_row_ptr[k]; kb < B_row_ptr[k + 1]; ++kb) {
      const Index j = B_col_idx[kb];
      if (marker[j] != i) {
        marker[j] = i;
        ++count;
      }
    }
  }
  return count;
}

// Row i of A B into its run from C_row_ptr[i], columns in order of first touch. A marker below
// the row's start is from an earlier row, so rows visited in ascending order need no reset.
template <class Value, class Index>
VELMO_HD void productRowFill(Index i, const Index* A_row_ptr, const Index* A_col_idx, const Value* A_values,
                             const Index* B_row_ptr, const Index* B_col_idx, const Value* B_values,
                             const Index* C_row_ptr, Index* C_col_idx, Value* C_values, Index* marker) {
  const Index start = C_row_ptr[i];
  Index pos = start;
  for (Index ka = A_row_ptr[i]; ka < A_row_ptr[i + 1]; ++ka) {
    const Index k = A_col_idx[ka];
    const Value a = A_values[ka];
    for (Index kb = B_row_ptr[k]; kb < B_row_ptr[k + 1]; ++kb) {
      const Index j = B_col_idx[kb];
      const Value v = B_values[kb] * a;
      if (marker[j] < start) {
        marker[j] = pos;
        C_col_idx[pos] = j;
        C_values[pos] = v;
        ++pos;
      } else {
        C_values[marker[j]] += v;
      }
    }
  }
}

}  // namespace detail

// Every row of the product depends on its own row of A alone, so the host cuts the rows into
// one chunk per thread, each with a marker of its own: the rows come out exactly as in one
// pass. A GPU runs the whole product on one thread with the caller's marker.
template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matmul(const Space& s, Index rowsA, Index /*colsA*/,
                                                           Index colsB, const Index* A_row_ptr,
                                                           const Index* A_col_idx, const Value* A_values,
                                                           const Index* B_row_ptr, const Index* B_col_idx,
                                                           const Value* B_values, Index* C_row_ptr,
                                                           Index* C_col_idx, Value* C_values, Index* marker) {
  const bool symbolic = C_col_idx == nullptr || C_values == nullptr;
  if constexpr (std::is_same_v<Space, spm::OpenMP>) {
    // The launch cuts the rows into these chunks and runs each one in row order.
    const long chunks = std::min<long>(rowsA, std::max(1, s.threads));
    if (chunks == 0) {
      C_row_ptr[0] = 0;
      return;
    }
    std::vector<Index> markers(size_t(chunks) * size_t(colsB), Index(-1));
    Index* const base = markers.data();
    // A few long rows (a coarse R) are work enough for the team.
    spm::parallel_chunks(s, rowsA, long(A_row_ptr[rowsA]), [=](long k, long begin, long end) {
      Index* own = base + k * long(colsB);
      for (Index i = Index(begin); i < Index(end); ++i) {
        if (symbolic)
          C_row_ptr[i + 1] = detail::productRowCount<Value>(i, A_row_ptr, A_col_idx, B_row_ptr, B_col_idx, own);
        else
          detail::productRowFill(i, A_row_ptr, A_col_idx, A_values, B_row_ptr, B_col_idx, B_values, C_row_ptr,
                                 C_col_idx, C_values, own);
      }
    });
    if (!symbolic) return;
    C_row_ptr[0] = 0;
    for (Index i = 0; i < rowsA; ++i) C_row_ptr[i + 1] += C_row_ptr[i];
  } else {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
      C_row_ptr[0] = 0;
      for (Index j = 0; j < colsB; ++j) marker[j] = -1;
      for (Index i = 0; i < rowsA; ++i) {
        if (symbolic)
          C_row_ptr[i + 1] = detail::productRowCount<Value>(i, A_row_ptr, A_col_idx, B_row_ptr, B_col_idx, marker);
        else
          detail::productRowFill(i, A_row_ptr, A_col_idx, A_values, B_row_ptr, B_col_idx, B_values, C_row_ptr,
                                 C_col_idx, C_values, marker);
      }
      if (symbolic)
        for (Index i = 0; i < rowsA; ++i) C_row_ptr[i + 1] += C_row_ptr[i];
    });
  }
}

template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matmul_aAD(const Space& s, Value alpha, SpMVRawMat A) {
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      A.values[k] = A.x_values[A.col_idx[k]] * alpha * A.values[k];
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matmul_aDA(const Space& s, Value alpha, const Value* diag,
                                                               MergeRawMat A) {
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    const Value f = diag[i] * alpha;
    for (Index k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) A.values[k] = A.values[k] * f;
  });
}

// Sorted merge. The symbolic pass sorts the rows of A and B in place and merges them into
// the scratch at A.row_ptr[i] + B.row_ptr[i], always room enough; the numeric pass only
// copies. Only equal heads combine, so a column repeated within one row stays repeated.
template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matadd(const Space& s, Value alpha, RawMat A, Value beta,
                                                           RawMat B, RawMat C, RawMat scratch) {
  Index* C_ptr = const_cast<Index*>(C.row_ptr);
  if (C.col_idx == nullptr || C.values == nullptr) {
    spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
      Index ka = A.row_ptr[i], endA = A.row_ptr[i + 1];
      Index kb = B.row_ptr[i], endB = B.row_ptr[i + 1];
      sort_row(A.col_idx + ka, A.values + ka, endA - ka);
      sort_row(B.col_idx + kb, B.values + kb, endB - kb);
      const Index start = ka + kb;
      Index p = start;
      while (ka < endA && kb < endB) {
        const Index ca = A.col_idx[ka], cb = B.col_idx[kb];
        if (ca < cb) {
          scratch.col_idx[p] = ca;
          scratch.values[p] = alpha * A.values[ka++];
        } else if (cb < ca) {
          scratch.col_idx[p] = cb;
          scratch.values[p] = beta * B.values[kb++];
        } else {
          scratch.col_idx[p] = ca;
          scratch.values[p] = beta * B.values[kb++] + alpha * A.values[ka++];
        }
        ++p;
      }
      for (; ka < endA; ++ka, ++p) {
        scratch.col_idx[p] = A.col_idx[ka];
        scratch.values[p] = alpha * A.values[ka];
      }
      for (; kb < endB; ++kb, ++p) {
        scratch.col_idx[p] = B.col_idx[kb];
        scratch.values[p] = beta * B.values[kb];
      }
      C_ptr[i + 1] = p - start;
    });
    detail::prefixSumRows(s, A.rows, C_ptr);
    return;
  }
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    const Index from = A.row_ptr[i] + B.row_ptr[i];
    for (Index k = C_ptr[i]; k < C_ptr[i + 1]; ++k) {
      C.col_idx[k] = scratch.col_idx[from + k - C_ptr[i]];
      C.values[k] = scratch.values[from + k - C_ptr[i]];
    }
  });
}

// Unsorted sum through one open-addressing table per row, in the slot run starting at
// A.row_ptr[i] + B.row_ptr[i] and exactly as long as the two rows together. The tables are
// built on every call, so the numeric call needs no state from the symbolic one. Columns
// stand in order of first appearance, A's before B's new ones.
template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matadd_hash(const Space& s, Value alpha, RawMat A,
                                                                Value beta, RawMat B, RawMat C, Slot* slots) {
  Index* C_ptr = const_cast<Index*>(C.row_ptr);
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    Slot* table = slots + A.row_ptr[i] + B.row_ptr[i];
    const Index size = A.row_ptr[i + 1] - A.row_ptr[i] + B.row_ptr[i + 1] - B.row_ptr[i];
    for (Index k = 0; k < size; ++k) table[k].state = 0;
    Index count = 0;
    for (int m = 0; m < 2; ++m) {
      const RawMat& X = m == 0 ? A : B;
      for (Index k = X.row_ptr[i]; k < X.row_ptr[i + 1]; ++k) {
        // One slot per entry of the two rows: an absent column always finds room.
        bool present = false;
        Slot* slot = detail::probe(table, size, X.col_idx[k], present);
        if (!present) {
          slot->state = 1;
          slot->key = X.col_idx[k];
          slot->value = count++;
        }
      }
    }
    C_ptr[i + 1] = count;
  });
  detail::prefixSumRows(s, A.rows, C_ptr);
  if (C.col_idx == nullptr || C.values == nullptr) return;

  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long i) {
    Slot* table = slots + A.row_ptr[i] + B.row_ptr[i];
    const Index size = A.row_ptr[i + 1] - A.row_ptr[i] + B.row_ptr[i + 1] - B.row_ptr[i];
    for (Index k = C_ptr[i]; k < C_ptr[i + 1]; ++k) C.values[k] = Value(0);
    for (int m = 0; m < 2; ++m) {
      const RawMat& X = m == 0 ? A : B;
      const Value factor = m == 0 ? alpha : beta;
      for (Index k = X.row_ptr[i]; k < X.row_ptr[i + 1]; ++k) {
        bool present = false;
        const Slot* slot = detail::probe(table, size, X.col_idx[k], present);
        if (!present) detail::unreachable();
        const Index p = C_ptr[i] + slot->value;
        C.col_idx[p] = X.col_idx[k];
        C.values[p] += X.values[k] * factor;
      }
    }
  });
}

// Sum of a list of matrices with unit factors, on one thread; the marker (out.cols
// elements) is reset for every row.
template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_matadd_vec(const Space& s, Index rows, Index count,
                                                               const RawMat* list, RawMat out,
                                                               Index* marker) {
  Index* outPtr = const_cast<Index*>(out.row_ptr);
  const bool symbolic = out.col_idx == nullptr || out.values == nullptr;
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    outPtr[0] = 0;
    for (Index i = 0; i < rows; ++i) {
      for (Index c = 0; c < out.cols; ++c) marker[c] = -1;
      Index pos = outPtr[i];
      for (Index m = 0; m < count; ++m) {
        const RawMat& X = list[m];
        for (Index k = X.row_ptr[i]; k < X.row_ptr[i + 1]; ++k) {
          const Index c = X.col_idx[k];
          if (symbolic) {
            if (marker[c] < 0) {
              marker[c] = 1;
              ++pos;
            }
          } else if (marker[c] < 0) {
            marker[c] = pos;
            out.col_idx[pos] = c;
            out.values[pos] = X.values[k];
            ++pos;
          } else {
            out.values[marker[c]] += X.values[k];
          }
        }
      }
      // The symbolic pass counts from the previous row's end: this is already the prefix sum.
      if (symbolic) outPtr[i + 1] = pos;
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_sort_rows(const Space& s, Index rows, Index /*cols*/,
                                                              const Index* row_ptr, Index* col_idx,
                                                              Value* values) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    sort_row(col_idx + row_ptr[i], values + row_ptr[i], row_ptr[i + 1] - row_ptr[i]);
  });
}

// Counting sort. Entries of an output row come in ascending source row, so the output is
// sorted whatever the order of the input. Serial on a GPU; the host counts each chunk of rows
// apart, and chunk k's entries of a column follow those of chunks before it, which is where
// the serial sort puts them. The per-chunk counts are kept no larger than the input.
template <class Value, class Index, class Space>
void SpBlasOpsProductImpl<Value, Index, Space>::csr_transpose(const Space& s, Index rows, Index cols,
                                                              const Index* row_ptr, const Index* col_idx,
                                                              const Value* values, Index* out_row_ptr,
                                                              Index* out_col_idx, Value* out_values) {
  if constexpr (std::is_same_v<Space, spm::OpenMP>) {
    const long chunks = std::min<long>(rows, std::max(1, s.threads));
    if (chunks > 1 && chunks * long(cols) <= long(row_ptr[rows])) {
      // next[k * cols + c]: where chunk k writes its next entry of column c.
      std::vector<Index> next(size_t(chunks) * size_t(cols), Index(0));
      Index* const base = next.data();
      spm::parallel_chunks(s, rows, 0, [=](long chunk, long begin, long end) {
        Index* own = base + chunk * long(cols);
        for (Index k = row_ptr[begin]; k < row_ptr[end]; ++k) ++own[col_idx[k]];
      });
      out_row_ptr[0] = 0;
      for (Index c = 0; c < cols; ++c) {
        Index at = out_row_ptr[c];
        for (long k = 0; k < chunks; ++k) {
          const Index count = base[k * long(cols) + c];
          base[k * long(cols) + c] = at;
          at += count;
        }
        out_row_ptr[c + 1] = at;
      }
      spm::parallel_chunks(s, rows, 0, [=](long chunk, long begin, long end) {
        Index* own = base + chunk * long(cols);
        for (long row = begin; row < end; ++row)
          for (Index k = row_ptr[row]; k < row_ptr[row + 1]; ++k) {
            const Index p = own[col_idx[k]]++;
            out_col_idx[p] = Index(row);
            out_values[p] = values[k];
          }
      });
      return;
    }
  }
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index c = 0; c <= cols; ++c) out_row_ptr[c] = 0;
    for (Index i = 0; i < rows; ++i) {
      for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) ++out_row_ptr[col_idx[k] + 1];
    }
    for (Index c = 0; c < cols; ++c) out_row_ptr[c + 1] += out_row_ptr[c];
    for (Index i = 0; i < rows; ++i) {
      for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
        const Index p = out_row_ptr[col_idx[k]]++;
        out_col_idx[p] = i;
        out_values[p] = values[k];
      }
    }
    // Each start has moved to the next one's position: shift back by one.
    for (Index c = cols; c > 0; --c) out_row_ptr[c] = out_row_ptr[c - 1];
    out_row_ptr[0] = 0;
  });
}

}  // namespace velmo
