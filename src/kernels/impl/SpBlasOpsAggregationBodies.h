#pragma once

#include "kernels/impl/ColBlockLoops.h"
#include "kernels/impl/SpBlasOpsAggregationImpl.h"
#include "kernels/impl/SpBlasRowUtils.h"

namespace velmo {

// Bodies of the smoothed-aggregation members of SpBlasOps, included only by the instantiation
// unit of each execution space. Row marks: -2 isolated, -1 undecided, 0 and up an aggregate.
// Every aggregation body and every builder that keeps a running count is ordered (a range of
// one); strength and filter write disjoint rows and run over rows.

namespace detail {

// The first block whose columns belong to `rank`, or null.
template <class Index, class View>
VELMO_HD const View* blockOfRank(Index rank, Index count, const View* views) {
  for (Index b = 0; b < count; ++b) {
    if (views[b].rank == rank) return &views[b];
  }
  return nullptr;
}

// Initial marks: a row without a strong entry in the own blocks and without a strong path of
// length two to another rank is isolated.
template <class Index, class View>
VELMO_HD void aggregateInitial(Index rows, Index me, Index sCount, const View* S, Index s2Count, const View* S2,
                               Index* aggr, Index* owner, Index* nUndone) {
  Index isolated = 0;
  for (Index i = 0; i < rows; ++i) {
    Index strong = 0;
    const auto countStrong = [&](const View& blk, Index k) {
      if (blk.values[k] != 0) ++strong;
    };
    loopLocalCol(i, me, sCount, S, countStrong);
    loopRemoteCol(i, me, s2Count, S2, countStrong);
    if (strong == 0) {
      aggr[i] = -2;
      ++isolated;
    } else {
      aggr[i] = -1;
    }
    owner[i] = -1;
  }
  *nUndone = rows - isolated;
}

// One round of claims. A row within distance two of another rank waits for the undecided rows
// of higher ranks there; when it goes, it takes every undecided row it reaches, weak or strong,
// and claims the other ranks' rows through records. A row with only local reach grows its
// aggregate as the local form does, taking over earlier aggregates' rows.
template <class Index, class View, class Record>
VELMO_HD void aggregateRound(Index rows, Index me, Index sCount, const View* S, Index s2Count, const View* S2,
                             Index* aggr, Index* owner, Index* naggrLocal, Index* nUndone, Record* records,
                             Index* recordCount, Index* stack) {
  const auto join = [&](Index c, Index id) {
    owner[c] = me;
    aggr[c] = id;
  };
  const auto joinUndecided = [&](Index c, Index id) {
    if (aggr[c] != -1) return;
    join(c, id);
    --*nUndone;
  };
  // The ghost mark guards against claiming one row twice in a round.
  const auto claimRemote = [&](const View& ghosts, Index c, Index id) {
    if (ghosts.x_values[c] != -1) return;
    ghosts.x_values[c] = id;
    records[(*recordCount)++] = Record{ghosts.rank, c, id};
  };

  for (Index i = 0; i < rows; ++i) {
    if (aggr[i] != -1) continue;
    Index remoteReach = 0;
    loopRemoteCol(i, me, s2Count, S2, [&](const View& blk, Index k) {
      if (blk.values[k] != 0) ++remoteReach;
    });
    if (remoteReach > 0) {
      bool wait = false;
      loopRemoteCol(i, me, s2Count, S2, [&](const View& blk, Index k) {
        if (blk.x_values[blk.col_idx[k]] == -1 && me < blk.rank) wait = true;
      });
      if (wait) continue;
      const Index id = (*naggrLocal)++;
      join(i, id);
      --*nUndone;
      const auto takeLocal = [&](const View& blk, Index k) {
        if (blk.col_idx[k] != i) joinUndecided(blk.col_idx[k], id);
      };
      loopLocalCol(i, me, sCount, S, takeLocal);
      loopRemoteCol(i, me, sCount, S, [&](const View& blk, Index k) {
        if (const View* ghosts = blockOfRank(blk.rank, s2Count, S2)) claimRemote(*ghosts, blk.col_idx[k], id);
      });
      loopLocalCol(i, me, s2Count, S2, takeLocal);
      loopRemoteCol(i, me, s2Count, S2, [&](const View& blk, Index k) { claimRemote(blk, blk.col_idx[k], id); });
      continue;
    }

    const Index id = (*naggrLocal)++;
    join(i, id);
    --*nUndone;
    Index top = 0;
    loopLocalCol(i, me, sCount, S, [&](const View& blk, Index k) {
      const Index c = blk.col_idx[k];
      if (blk.values[k] == 0 || aggr[c] == -2) return;
      if (aggr[c] == -1) --*nUndone;
      join(c, id);
      stack[top++] = c;
    });
    while (top > 0) {
      const Index c = stack[--top];
      loopLocalCol(c, me, sCount, S, [&](const View& blk, Index k) {
        if (blk.values[k] != 0) joinUndecided(blk.col_idx[k], id);
      });
    }
  }
}

// Received claims override what the rows held; the last one wins.
template <class Index, class Record>
VELMO_HD void aggregateApply(Index* aggr, Index* owner, Index* nUndone, const Record* records, Index count) {
  for (Index r = 0; r < count; ++r) {
    const Record& rec = records[r];
    if (aggr[rec.index] == -1) --*nUndone;
    owner[rec.index] = rec.rank;
    aggr[rec.index] = rec.aggregate;
  }
}

}  // namespace detail

// Squares are compared, so d_i d_c <= 0 makes every nonzero entry strong.
template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::csr_strength(const Space& s, Index rows, Index /*cols*/,
                                                                 const Index* row_ptr, const Index* col_idx,
                                                                 const Value* values, const Value* diag,
                                                                 Index* marks, double eps, Index rowOffset,
                                                                 Index colOffset) {
  const Value eps2 = Value(R(eps * eps));
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
      const Index c = col_idx[k];
      const Value a = values[k];
      marks[k] = Index(colOffset + c != rowOffset + Index(i) && absValue(a * a) > realPart(eps2 * diag[i] * diag[c]));
    }
  });
}

// A root takes its strong neighbours even from earlier aggregates; their strong neighbours
// join only when undecided. Take-overs can empty an aggregate, so the survivors are numbered
// again by first appearance.
template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::csr_aggregate(const Space& s, Index rows, Index /*cols*/,
                                                                  const Index* row_ptr, const Index* col_idx,
                                                                  const Index* marks, Index* aggr, Index* stack,
                                                                  Index* renumber, Index* count) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index i = 0; i < rows; ++i) {
      aggr[i] = -2;
      for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
        if (marks[k] != 0) {
          aggr[i] = -1;
          break;
        }
      }
    }
    Index id = 0;
    for (Index i = 0; i < rows; ++i) {
      if (aggr[i] != -1) continue;
      aggr[i] = id;
      Index top = 0;
      for (Index k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
        const Index c = col_idx[k];
        if (marks[k] == 0 || aggr[c] == -2) continue;
        aggr[c] = id;
        stack[top++] = c;
      }
      while (top > 0) {
        const Index c = stack[--top];
        for (Index k = row_ptr[c]; k < row_ptr[c + 1]; ++k) {
          if (marks[k] != 0 && aggr[col_idx[k]] == -1) aggr[col_idx[k]] = id;
        }
      }
      ++id;
    }
    for (Index a = 0; a < id; ++a) renumber[a] = -1;
    Index n = 0;
    for (Index i = 0; i < rows; ++i) {
      if (aggr[i] < 0) continue;
      if (renumber[aggr[i]] == -1) renumber[aggr[i]] = n++;
      aggr[i] = renumber[aggr[i]];
    }
    *count = n;
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::par_csr_aggregate(
    const Space& s, Index rows, Index rank, Index sCount, const MarkRawMat* S, Index s2Count, const MarkRawMat* S2,
    Index* aggr, Index* owner, Index* naggrLocal, Index* nUndone, Record* records, Index* recordCount,
    Index* stack) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    if (stack != nullptr) {
      detail::aggregateRound(rows, rank, sCount, S, s2Count, S2, aggr, owner, naggrLocal, nUndone, records,
                             recordCount, stack);
    } else if (records == nullptr && recordCount == nullptr) {
      detail::aggregateInitial(rows, rank, sCount, S, s2Count, S2, aggr, owner, nUndone);
    } else {
      detail::aggregateApply(aggr, owner, nUndone, records, *recordCount);
    }
  });
}

template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::par_csr_aggregate_select(const Space& s, const Record* records,
                                                                             const Index* recordCount, Index target,
                                                                             Index* selectedCount,
                                                                             Record* selected) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    Index n = 0;
    for (Index r = 0; r < *recordCount; ++r) {
      if (records[r].rank != target) continue;
      if (selected != nullptr) selected[n] = records[r];
      ++n;
    }
    if (selected == nullptr) *selectedCount = n;
  });
}

// Unnormalised: the one near-null vector is the constant.
template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::csr_tentative_prolongation(const Space& s, Index rows,
                                                                               Index /*naggr*/, const Index* aggr,
                                                                               Index* row_ptr, Index* col_idx,
                                                                               Value* values) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    if (col_idx == nullptr || values == nullptr) {
      row_ptr[0] = 0;
      for (Index i = 0; i < rows; ++i) row_ptr[i + 1] = row_ptr[i] + (aggr[i] >= 0 ? 1 : 0);
      return;
    }
    for (Index i = 0; i < rows; ++i) {
      if (aggr[i] < 0) continue;
      col_idx[row_ptr[i]] = aggr[i];
      values[row_ptr[i]] = Value(1);
    }
  });
}

// A row without a stored diagonal loses its weak part.
template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::csr_tentative_filter(const Space& s, Index rows,
                                                                         Index blockCount, const SpMVRawMat* A,
                                                                         const MarkRawMat* S,
                                                                         const SpMVRawMat* out) {
  spm::parallel_for(Policy(s, 0, rows), VELMO_LAMBDA(long i) {
    Value weak = Value(0);
    Index diagBlock = -1, diagPos = -1;
    for (Index b = 0; b < blockCount; ++b) {
      const SpMVRawMat& a = A[b];
      if (a.row_ptr == nullptr) continue;
      for (Index k = a.row_ptr[i]; k < a.row_ptr[i + 1]; ++k) {
        if (a.row_offset + Index(i) == a.col_offset + a.col_idx[k]) {
          diagBlock = b;
          diagPos = k;
          continue;
        }
        const Value kept = S[b].values[k] != 0 ? a.values[k] : Value(0);
        out[b].values[k] = kept;
        weak += a.values[k] - kept;
      }
    }
    if (diagBlock >= 0) out[diagBlock].values[diagPos] = A[diagBlock].values[diagPos] + weak;
  });
}

// The filtered diagonal is the diagonal plus the weak entries; a zero one gives the row no
// strong term. The marker doubles as position in the fill pass: a column touched before the
// row start is new to the row.
template <class Value, class Index, class Space>
void SpBlasOpsAggregationImpl<Value, Index, Space>::csr_tentative_smooth(
    const Space& s, Index rows, Index /*cols*/, Index naggr, const Index* A_row_ptr, const Index* A_col_idx,
    const Value* A_values, const Index* marks, const Index* T_row_ptr, const Index* T_col_idx,
    const Value* T_values, Index* P_row_ptr, Index* P_col_idx, Value* P_values, Value omega, Index* marker) {
  spm::parallel_for(Policy(s, 0, 1), VELMO_LAMBDA(long) {
    for (Index e = 0; e < naggr; ++e) marker[e] = -1;
    if (P_col_idx == nullptr || P_values == nullptr) {
      P_row_ptr[0] = 0;
      for (Index i = 0; i < rows; ++i) {
        Index count = 0;
        for (Index j = A_row_ptr[i]; j < A_row_ptr[i + 1]; ++j) {
          const Index c = A_col_idx[j];
          if (c != i && marks[j] == 0) continue;
          for (Index t = T_row_ptr[c]; t < T_row_ptr[c + 1]; ++t) {
            if (marker[T_col_idx[t]] != i) {
              marker[T_col_idx[t]] = i;
              ++count;
            }
          }
        }
        P_row_ptr[i + 1] = P_row_ptr[i] + count;
      }
      return;
    }
    for (Index i = 0; i < rows; ++i) {
      Value dia = Value(0);
      for (Index j = A_row_ptr[i]; j < A_row_ptr[i + 1]; ++j) {
        if (A_col_idx[j] == i || marks[j] == 0) dia += A_values[j];
      }
      if (dia != Value(0)) dia = -omega / dia;
      const Index rowBegin = P_row_ptr[i];
      Index rowEnd = rowBegin;
      for (Index j = A_row_ptr[i]; j < A_row_ptr[i + 1]; ++j) {
        const Index c = A_col_idx[j];
        Value w;
        if (c == i) {
          w = Value(1) - omega;
        } else if (marks[j] != 0) {
          w = A_values[j] * dia;
        } else {
          continue;
        }
        for (Index t = T_row_ptr[c]; t < T_row_ptr[c + 1]; ++t) {
          const Index e = T_col_idx[t];
          if (marker[e] < rowBegin) {
            marker[e] = rowEnd;
            P_col_idx[rowEnd] = e;
            P_values[rowEnd] = T_values[t] * w;
            ++rowEnd;
          } else {
            P_values[marker[e]] += T_values[t] * w;
          }
        }
      }
    }
  });
}

}  // namespace velmo
