#pragma once

#include <memory>

#include "precond/LevelTransferOpsSA.h"
#include "precond/ParLevelTransfer.h"

namespace velmo {

// Smoothed aggregation on this rank's local matrix alone, "LevelTransferSmoothAggregationSeq":
// strength, aggregation, tentative prolongation and its smoothing, in their local forms. The
// strength threshold halves on each coarser level.
//
// Keys: "eps_strong" (0.08), "relax" (1.0; the smoothing weight is 2 relax / 3) and
// "block_size" (1; accepted, logged and otherwise without effect).
template <class Value, class GlobalIndex, class LocalIndex>
class SeqLevelTransferSmoothAggregation_T : public ParLevelTransferT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using Ops = LevelTransferOps_SA<Value, GlobalIndex, LocalIndex>;

  // The local results of one call, kept for inspection when keep_impl is set.
  struct Impl {
    typename Ops::CSRMatrix A;
    typename Ops::Vector D;
    typename Ops::IntCSRMatrix S;
    typename Ops::IntVector aggr;
    int naggr = 0;
    typename Ops::CSRMatrix Ptent;
    typename Ops::CSRMatrix P;
    // The coarse operator P^T A P, formed only when keep_impl is set.
    typename Ops::CSRMatrix Ac;
  };

  ~SeqLevelTransferSmoothAggregation_T() override = default;

  void create(const json& params);
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;

  // Set by no key: keeps Impl after the call and forms its coarse operator.
  void setKeepImpl(bool keep) { keep_impl = keep; }
  std::shared_ptr<Impl> getImpl() const { return impl; }

 protected:
  std::shared_ptr<Impl> impl;
  bool keep_impl = false;
  double eps_strong = 0.08;
  double relax = 1.0;
  int block_size = 1;
};

}  // namespace velmo
