#pragma once

#include <string>

#include "precond/SeqLevelTransferSmoothAggregation.h"

namespace velmo {

// Smoothed aggregation over all ranks, "LevelTransferSmoothAggregation": strength, aggregation,
// tentative prolongation, smoothing by one damped Jacobi step (omega = 2 relax / 3, no spectral
// estimate), then R = P^T. The threshold is the same on every level.
//
// Keys: those of the sequential strategy, and "aggr_type" ("parallel"; "serial" aggregates the
// gathered strength matrix on rank 0, any other word takes the distributed path).
template <class Value, class GlobalIndex, class LocalIndex>
class ParLevelTransferSmoothAggregation_T : public SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex> {
  using Base = SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::Ops;
  using typename Base::ParCSRMatrix;

  ~ParLevelTransferSmoothAggregation_T() override = default;

  void create(const json& params);
  // Sorts the rows of A in place: the caller's matrix shares them.
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;

 private:
  std::string aggr_type = "parallel";
};

}  // namespace velmo
