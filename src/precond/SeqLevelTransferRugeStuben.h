#pragma once

#include <memory>

#include "precond/KeptImpl.h"
#include "precond/LevelTransferOpsRS.h"
#include "precond/ParLevelTransfer.h"

namespace velmo {

// The gathered results of one Ruge-Stuben call.
template <class Value, class GlobalIndex, class LocalIndex>
struct RugeStubenSeqResults {
  using Ops = LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>;
  typename Ops::CSRMatrix A;
  typename Ops::IntCSRMatrix S;
  typename Ops::IntVector cf;
  int naggr = 0;
  typename Ops::CSRMatrix P;
  // The coarse operator P^T A P, formed only when the results are kept.
  typename Ops::CSRMatrix Ac;
};

// Classical (Ruge-Stuben) coarsening, "LevelTransferRugeStubenSeq": the operator is gathered
// to rank 0, split into coarse and fine points there, and the direct interpolation is
// scattered back as P; R = P^T.
//
// Keys: "eps_strong" (0.25), "do_trunc" (true; a JSON boolean) and "eps_trunc" (0.2).
template <class Value, class GlobalIndex, class LocalIndex>
class SeqLevelTransferRugeStuben_T : public ParLevelTransferT<Value, GlobalIndex, LocalIndex>,
                                     public KeptImpl<RugeStubenSeqResults<Value, GlobalIndex, LocalIndex>> {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using Ops = LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>;
  using Impl = RugeStubenSeqResults<Value, GlobalIndex, LocalIndex>;

  ~SeqLevelTransferRugeStuben_T() override = default;

  void create(const json& params);
  void transfer_operators(const ParCSRMatrix& A, ParCSRMatrix& P, ParCSRMatrix& R) override;

 protected:
  double eps_strong = 0.25;
  bool do_trunc = true;
  double eps_trunc = 0.2;
};

}  // namespace velmo
