#pragma once

#include "utils/HostDevice.h"

// Walks over one row of a distributed matrix given as its list of column-block views
// (COT_SpMVCSRRawMat), split by whether a block's columns are the caller's own. Usable inside
// kernel bodies: no allocation, no recursion.
namespace velmo {

// fn(view, k) for every stored entry k of `row` in the blocks whose columns belong to `rank`,
// in order of storage.
template <class Index, class View, class Fn>
VELMO_HD inline void loopLocalCol(Index row, Index rank, Index numViews, const View* views, Fn&& fn) {
  for (Index b = 0; b < numViews; ++b) {
    const View& view = views[b];
    if (view.rank != rank) continue;
    for (Index k = view.row_ptr[row]; k < view.row_end[row]; ++k) fn(view, k);
  }
}

// The same over the blocks whose columns belong to other ranks.
template <class Index, class View, class Fn>
VELMO_HD inline void loopRemoteCol(Index row, Index rank, Index numViews, const View* views, Fn&& fn) {
  for (Index b = 0; b < numViews; ++b) {
    const View& view = views[b];
    if (view.rank == rank) continue;
    for (Index k = view.row_ptr[row]; k < view.row_end[row]; ++k) fn(view, k);
  }
}

}  // namespace velmo
