#pragma once

#include <memory>

#include "precond/LevelTransferOpsRS.h"
#include "precond/ParLevelTransfer.h"

namespace velmo {

// Classical (Ruge-Stuben) coarsening, "LevelTransferRugeStubenSeq": the operator is gathered
// to rank 0, split into coarse and fine points there, and the direct interpolation is
// scattered back as P; R = P^T.
//
// Keys: "eps_strong" (0.25), "do_trunc" (true; a JSON boolean) and "eps_trunc" (0.2).
template <class Value, class GlobalIndex, class LocalIndex>
class SeqLevelTransferRugeStuben_T : public ParLevelTransferT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using Ops = LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>;

  // The gathered results of one call, kept for inspection when keep_impl is set.
  struct Impl {
    typename Ops::CSRMatrix A;
    typename Ops::IntCSRMatrix S;
    typename Ops::IntVector cf;
    int naggr = 0;
    typename Ops::CSRMatrix P;
    // The coarse operator P^T A P, formed only when keep_impl is set.
    typename Ops::CSRMatrix Ac;
  };

  ~SeqLevelTransferRugeStuben_T() override = default;

  void create(const json& params);
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;

  // Set by no key: keeps Impl after the call and forms its coarse operator.
  void setKeepImpl(bool keep) { keep_impl = keep; }
  std::shared_ptr<Impl> getImpl() const { return impl; }

 protected:
  std::shared_ptr<Impl> impl;
  bool keep_impl = false;
  double eps_strong = 0.25;
  bool do_trunc = true;
  double eps_trunc = 0.2;
};

}  // namespace velmo
