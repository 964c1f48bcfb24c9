#pragma once

#include "utils/HostDevice.h"

// Walks over one row of a distributed matrix given as its list of column-block views
// (COT_SpMVCSRRawMat), in list order and each block's entries in storage order. A view
// without storage has no entries. Usable inside kernel bodies: no allocation, no recursion.
namespace velmo {

namespace detail {

template <class Index, class View, class Keep, class Fn>
VELMO_HD inline void loopRowWhere(Index row, Index numViews, const View* views, Keep&& keep, Fn&& fn) {
  for (Index b = 0; b < numViews; ++b) {
    const View& view = views[b];
    if (view.row_ptr == nullptr || !keep(view)) continue;
    for (Index k = view.row_ptr[row]; k < view.row_end[row]; ++k) fn(view, k);
  }
}

}  // namespace detail

// fn(view, k) for every stored entry k of `row` in every block.
template <class Index, class View, class Fn>
VELMO_HD inline void loopRowCol(Index row, Index numViews, const View* views, Fn&& fn) {
  detail::loopRowWhere(row, numViews, views, [](const View&) { return true; }, fn);
}

// The same over the blocks whose columns belong to `rank`.
template <class Index, class View, class Fn>
VELMO_HD inline void loopLocalCol(Index row, Index rank, Index numViews, const View* views, Fn&& fn) {
  detail::loopRowWhere(row, numViews, views, [rank](const View& v) { return v.rank == rank; }, fn);
}

// The same over the blocks whose columns belong to other ranks.
template <class Index, class View, class Fn>
VELMO_HD inline void loopRemoteCol(Index row, Index rank, Index numViews, const View* views, Fn&& fn) {
  detail::loopRowWhere(row, numViews, views, [rank](const View& v) { return v.rank != rank; }, fn);
}

}  // namespace velmo
