#pragma once

#include <memory>

#include "precond/KeptImpl.h"
#include "precond/LevelTransferOpsSA.h"
#include "precond/ParLevelTransfer.h"

namespace velmo {

// The local results of one smoothed-aggregation call.
template <class Value, class GlobalIndex, class LocalIndex>
struct SmoothAggregationSeqResults {
  using Ops = LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>;
  typename Ops::CSRMatrix A;
  typename Ops::Vector D;
  typename Ops::IntCSRMatrix S;
  typename Ops::IntVector aggr;
  int naggr = 0;
  typename Ops::CSRMatrix Ptent;
  typename Ops::CSRMatrix P;
  // The coarse operator P^T A P, formed only when the results are kept.
  typename Ops::CSRMatrix Ac;
};

// Smoothed aggregation on this rank's local matrix alone, "LevelTransferSmoothAggregationSeq":
// strength, aggregation, tentative prolongation and its smoothing, in their local forms. The
// strength threshold halves on each coarser level.
//
// Keys: "eps_strong" (0.08), "relax" (1.0; the smoothing weight is 2 relax / 3) and
// "block_size" (1; accepted, logged and otherwise without effect).
template <class Value, class GlobalIndex, class LocalIndex>
class SeqLevelTransferSmoothAggregation_T
    : public ParLevelTransferT<Value, GlobalIndex, LocalIndex>,
      public KeptImpl<SmoothAggregationSeqResults<Value, GlobalIndex, LocalIndex>> {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using Ops = LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>;
  using Impl = SmoothAggregationSeqResults<Value, GlobalIndex, LocalIndex>;

  ~SeqLevelTransferSmoothAggregation_T() override = default;

  void create(const json& params);
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;

 protected:
  double eps_strong = 0.08;
  double relax = 1.0;
  int block_size = 1;
};

}  // namespace velmo
