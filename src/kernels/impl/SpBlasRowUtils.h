#pragma once

#include <cstdlib>
#include <type_traits>

#include "kernels/spm/spm.h"
#include "utils/HostDevice.h"

// Row-level helpers shared by the sparse kernels; all callable on host and device.
namespace velmo {

// Stable insertion sort of one row by column: rows are short, and the value moves with its
// column.
template <class Index, class Value>
VELMO_HD inline void sort_row(Index* cols, Value* values, Index n) {
  for (Index i = 1; i < n; ++i) {
    const Index c = cols[i];
    const Value v = values[i];
    Index j = i;
    for (; j > 0 && cols[j - 1] > c; --j) {
      cols[j] = cols[j - 1];
      values[j] = values[j - 1];
    }
    cols[j] = c;
    values[j] = v;
  }
}

namespace detail {

// `sum` plus the products a_ik x_k of one row's entries [begin, end), added in storage order.
template <class Index, class Value>
VELMO_HD inline Value rowDot(Index begin, Index end, const Index* col_idx, const Value* values, const Value* x,
                             Value sum = Value(0)) {
  for (Index k = begin; k < end; ++k) sum += values[k] * x[col_idx[k]];
  return sum;
}

// The diagonal a sweep divides by: the row's last entry in column `row`, 1 when there is none.
template <class Index, class Value>
VELMO_HD inline Value rowDiagonal(Index begin, Index end, const Index* col_idx, const Value* values, Index row) {
  Value d = Value(1);
  for (Index k = begin; k < end; ++k) {
    if (col_idx[k] == row) d = values[k];
  }
  return d;
}

// The row a sweep visits at position `pos`: forward or backward, through `order` when one is
// given. A negative row means the position is skipped.
template <class Index>
VELMO_HD inline Index sweepRow(Index pos, Index rows, bool forward, const Index* order) {
  const Index k = forward ? pos : rows - 1 - pos;
  return order ? order[k] : k;
}

// Turns per-row counts in ptr[1..n] into offsets, with ptr[0] = 0; ordered, so a range of one.
template <class Index, class Space>
void prefixSumRows(const Space& s, Index n, Index* ptr) {
  spm::parallel_for(spm::RangePolicy<Space>(s, 0, 1), VELMO_LAMBDA(long) {
    ptr[0] = 0;
    for (Index i = 0; i < n; ++i) ptr[i + 1] += ptr[i];
  });
}

// Bisection over an ascending list.
template <class Index>
VELMO_HD inline bool sortedContains(const Index* list, Index n, Index key) {
  Index lo = 0, hi = n - 1;
  while (lo <= hi) {
    Index mid = lo + (hi - lo) / 2;
    if (list[mid] == key) return true;
    if (list[mid] < key) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return false;
}

// Home slot of `key` in a table of `size` slots: the 32-bit finaliser mix, computed in the
// signed width of Index (arithmetic shifts, wrapping products), then sign-extended to 64 bits.
template <class Index>
VELMO_HD inline unsigned long long hashHome(Index key, Index size) {
  using U = std::make_unsigned_t<Index>;
  Index x = key;
  x ^= x >> 16;
  x = Index(U(x) * U(0x85ebca6bu));
  x ^= x >> 13;
  x = Index(U(x) * U(0xc2b2ae35u));
  x ^= x >> 16;
  return static_cast<unsigned long long>(static_cast<long long>(x)) % static_cast<unsigned long long>(size);
}

// Marks a state the algorithm cannot reach; stops the kernel rather than write garbage.
VELMO_HD inline void unreachable() {
#if defined(__CUDA_ARCH__)
  __trap();
#else
  std::abort();
#endif
}

}  // namespace detail
}  // namespace velmo
