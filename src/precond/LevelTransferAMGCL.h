#pragma once

#include "precond/SeqLevelTransferRugeStuben.h"
#include "precond/SeqLevelTransferSmoothAggregation.h"

namespace velmo {

// Level transfers computed by the AMGCL library on the operator gathered to rank 0; the
// prolongation is scattered back and R = P^T. Built only when velmo is configured with
// AMGCL (VELMO_WITH_AMGCL); otherwise their names stay unregistered. Float and double values.

// "LevelTransferSmoothAggregationAMGCL": AMGCL's smoothed aggregation without a spectral
// estimate (omega = 2 relax / 3). The keys and the halving of the threshold on each coarser
// level are those of the sequential strategy. Impl keeps AMGCL's strong connections,
// aggregates and tentative prolongation for inspection.
template <class Value, class GlobalIndex, class LocalIndex>
class LevelTransferSmoothAggregationAMGCL_T
    : public SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex> {
  using Base = SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParCSRMatrix;
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;
};

// "LevelTransferRugeStubenAMGCL": AMGCL's classical coarsening, with the keys of
// "LevelTransferRugeStubenSeq". Impl keeps AMGCL's strong connections and split.
template <class Value, class GlobalIndex, class LocalIndex>
class LevelTransferRugeStubenAMGCL_T : public SeqLevelTransferRugeStuben_T<Value, GlobalIndex, LocalIndex> {
  using Base = SeqLevelTransferRugeStuben_T<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParCSRMatrix;
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;
};

}  // namespace velmo
