#pragma once

#include <limits>

#include "kernels/impl/SpLevelTransferOpsImpl.h"

namespace velmo {

// Bodies of SpLevelTransferOps, included only by the instantiation unit of each execution
// space. The splitting, the numbering of coarse points and the running sum of row pointers
// are ordered (a range of one); the other steps write disjoint rows and run over rows.

namespace detail {

constexpr int kMarkUndecided = 'U';
constexpr int kMarkCoarse = 'C';
constexpr int kMarkFine = 'F';

// Complex values are ordered by their real parts; real values as they are.
template <class Value>
VELMO_HD bool rsLess(const Value& a, const Value& b) {
  return realPart(a) < realPart(b);
}

// Exchanges the points at two positions of the bucket queue.
template <class Index>
VELMO_HD void rsSwap(Index* i2n, Index* n2i, Index from, Index to) {
  const Index moved = i2n[to];
  i2n[to] = i2n[from];
  i2n[from] = moved;
  n2i[i2n[to]] = to;
  n2i[moved] = from;
}

// Whether entry k of row i takes part in the interpolation: strong, to a 'C' point and, with
// truncation, outside the row's bounds.
template <class RawMat, class MarkRawMat, class Value, class Index>
VELMO_HD bool rsInterpolates(const RawMat& A, const MarkRawMat& S, const int* cf, bool do_trunc, const Value* Amin,
                             const Value* Amax, Index i, Index k) {
  if (S.values[k] == 0 || cf[A.col_idx[k]] != kMarkCoarse) return false;
  return !do_trunc || rsLess(A.values[k], Amin[i]) || rsLess(Amax[i], A.values[k]);
}

}  // namespace detail

// A row is decided 'F' when its most negative off-diagonal is below twice the rounding unit.
template <class Value, class GlobalIndex, class LocalIndex, class Space>
void SpLevelTransferOpsImpl<Value, GlobalIndex, LocalIndex, Space>::rs_connect(const Space& s, RawMat A,
                                                                               double eps_strong, MarkRawMat S,
                                                                               int* cf) {
  using R = RealOf<Value>;
  const R tiny = 2 * std::numeric_limits<R>::epsilon();
  const Value eps = Value(R(eps_strong));
  spm::parallel_for(Policy(s, 0, A.rows), VELMO_LAMBDA(long row) {
    const LocalIndex i = LocalIndex(row);
    Value amin = Value(0);
    for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      S.values[k] = 0;
      if (A.col_idx[k] != i && !detail::rsLess(amin, A.values[k])) amin = A.values[k];
    }
    if (absValue(amin) < tiny) {
      cf[i] = detail::kMarkFine;
      return;
    }
    const Value threshold = amin * eps;
    for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k)
      S.values[k] = int(A.col_idx[k] != i && detail::rsLess(A.values[k], threshold));
  });
}

// A bucket queue on lambda: bucket l holds positions ptr[l] .. ptr[l] + cnt[l] - 1 of i2n.
// Taking the top point as 'C' makes its undecided neighbours 'F', which raises the points
// those depend on strongly, and lowers the points it depends on strongly itself.
template <class Value, class GlobalIndex, class LocalIndex, class Space>
void SpLevelTransferOpsImpl<Value, GlobalIndex, LocalIndex, Space>::rs_cfsplit(const Space& s, RawMat A,
                                                                               MarkRawMat S, int* cf,
                                                                               LocalIndex* lambda, LocalIndex* ptr,
                                                                               LocalIndex* cnt, LocalIndex* i2n,
                                                                               LocalIndex* n2i) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    const LocalIndex n = A.rows;
    const LocalIndex buckets = 2 * n + 1;
    // The whole row counts, weak entries and the diagonal too.
    for (LocalIndex i = 0; i < n; ++i) {
      LocalIndex l = 0;
      for (LocalIndex k = S.row_ptr[i]; k < S.row_ptr[i + 1]; ++k)
        l += cf[S.col_idx[k]] == detail::kMarkUndecided ? 1 : 2;
      lambda[i] = l;
    }
    for (LocalIndex l = 0; l <= buckets; ++l) ptr[l] = 0;
    for (LocalIndex l = 0; l < buckets; ++l) cnt[l] = 0;
    for (LocalIndex i = 0; i < n; ++i) ++ptr[lambda[i] + 1];
    for (LocalIndex l = 0; l < buckets; ++l) ptr[l + 1] += ptr[l];
    for (LocalIndex i = 0; i < n; ++i) {
      const LocalIndex position = ptr[lambda[i]] + cnt[lambda[i]]++;
      i2n[position] = i;
      n2i[i] = position;
    }

    for (LocalIndex top = n - 1; top >= 0; --top) {
      const LocalIndex i = i2n[top];
      if (lambda[i] == 0) {
        for (LocalIndex k = 0; k < n; ++k)
          if (cf[k] == detail::kMarkUndecided) cf[k] = detail::kMarkCoarse;
        return;
      }
      --cnt[lambda[i]];
      if (cf[i] == detail::kMarkFine) continue;
      cf[i] = detail::kMarkCoarse;

      for (LocalIndex k = S.row_ptr[i]; k < S.row_ptr[i + 1]; ++k) {
        const LocalIndex c = S.col_idx[k];
        if (cf[c] != detail::kMarkUndecided) continue;
        cf[c] = detail::kMarkFine;
        for (LocalIndex j = A.row_ptr[c]; j < A.row_ptr[c + 1]; ++j) {
          const LocalIndex e = A.col_idx[j];
          const LocalIndex l = lambda[e];
          if (S.values[j] == 0 || cf[e] != detail::kMarkUndecided || l + 1 >= n) continue;
          detail::rsSwap(i2n, n2i, n2i[e], ptr[l] + cnt[l] - 1);
          --cnt[l];
          ++cnt[l + 1];
          ptr[l + 1] = ptr[l] + cnt[l];
          lambda[e] = l + 1;
        }
      }

      for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
        const LocalIndex c = A.col_idx[k];
        const LocalIndex l = lambda[c];
        if (S.values[k] == 0 || cf[c] != detail::kMarkUndecided || l == 0) continue;
        detail::rsSwap(i2n, n2i, n2i[c], ptr[l]);
        --cnt[l];
        ++cnt[l - 1];
        ++ptr[l];
        lambda[c] = l - 1;
      }
    }
  });
}

// Weights of an 'F' row: its negative and its positive off-diagonals are each interpolated
// from the strong coarse ones of the same sign, scaled so that the row's sums are kept;
// truncation drops the small ones and spreads their share over the kept ones.
template <class Value, class GlobalIndex, class LocalIndex, class Space>
void SpLevelTransferOpsImpl<Value, GlobalIndex, LocalIndex, Space>::rs_interpolation(
    const Space& s, RawMat A, MarkRawMat S, const int* cf, bool do_trunc, double eps_trunc, Value* Amin,
    Value* Amax, LocalIndex* cidx, LocalIndex* naggr, RawMat P) {
  using R = RealOf<Value>;
  const LocalIndex n = A.rows;
  LocalIndex* row_ptr = const_cast<LocalIndex*>(P.row_ptr);

  if (P.col_idx == nullptr) {
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
      LocalIndex count = 0;
      for (LocalIndex i = 0; i < n; ++i)
        if (cf[i] == detail::kMarkCoarse) cidx[i] = count++;
      *naggr = count;
    });
    const Value trunc = Value(R(eps_trunc));
    spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long row) {
      const LocalIndex i = LocalIndex(row);
      if (cf[i] == detail::kMarkCoarse) {
        row_ptr[i + 1] = 1;
        return;
      }
      if (do_trunc) {
        Value amin = Value(0), amax = Value(0);
        for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
          if (S.values[k] == 0 || cf[A.col_idx[k]] != detail::kMarkCoarse) continue;
          if (detail::rsLess(A.values[k], amin)) amin = A.values[k];
          if (detail::rsLess(amax, A.values[k])) amax = A.values[k];
        }
        Amin[i] = amin * trunc;
        Amax[i] = amax * trunc;
      }
      LocalIndex count = 0;
      for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k)
        if (detail::rsInterpolates(A, S, cf, do_trunc, Amin, Amax, i, k)) ++count;
      row_ptr[i + 1] = count;
    });
    spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
      row_ptr[0] = 0;
      for (LocalIndex i = 0; i < n; ++i) row_ptr[i + 1] += row_ptr[i];
    });
    return;
  }

  const R eps = std::numeric_limits<R>::epsilon();
  spm::parallel_for(Policy(s, 0, n), VELMO_LAMBDA(long row) {
    const LocalIndex i = LocalIndex(row);
    LocalIndex out = row_ptr[i];
    if (cf[i] == detail::kMarkCoarse) {
      P.col_idx[out] = cidx[i];
      P.values[out] = Value(1);
      return;
    }
    const Value zero = Value(0);
    Value dia = zero, a_num = zero, a_den = zero, a_drop = zero, b_num = zero, b_den = zero, b_drop = zero;
    for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      const LocalIndex c = A.col_idx[k];
      const Value v = A.values[k];
      if (c == i) {
        dia = v;
        continue;
      }
      const bool strongCoarse = S.values[k] != 0 && cf[c] == detail::kMarkCoarse;
      if (detail::rsLess(v, zero)) {
        a_num += v;
        if (!strongCoarse) continue;
        a_den += v;
        if (do_trunc && detail::rsLess(Amin[i], v)) a_drop += v;
      } else {
        b_num += v;
        if (!strongCoarse) continue;
        b_den += v;
        if (do_trunc && detail::rsLess(v, Amax[i])) b_drop += v;
      }
    }
    R cf_neg = 1, cf_pos = 1;
    if (do_trunc) {
      if (absValue(a_den - a_drop) > eps) cf_neg = absValue(a_den) / absValue(a_den - a_drop);
      if (absValue(b_den - b_drop) > eps) cf_pos = absValue(b_den) / absValue(b_den - b_drop);
    }
    if (detail::rsLess(zero, b_num) && absValue(b_den) < eps) dia += b_num;
    const R alpha = absValue(a_den) <= eps ? R(0) : -cf_neg * absValue(a_num) / (absValue(dia) * absValue(a_den));
    const R beta = absValue(b_den) <= eps ? R(0) : -cf_pos * absValue(b_num) / (absValue(dia) * absValue(b_den));
    for (LocalIndex k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      if (!detail::rsInterpolates(A, S, cf, do_trunc, Amin, Amax, i, k)) continue;
      const Value v = A.values[k];
      P.col_idx[out] = cidx[A.col_idx[k]];
      P.values[out] = Value(detail::rsLess(v, zero) ? alpha : beta) * v;
      ++out;
    }
  });
}

}  // namespace velmo
