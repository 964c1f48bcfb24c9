#include "precond/ParLevelTransferSmoothAggregation.h"

#include <glog/logging.h>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  Base::create(params);
  this->paramRecord().read(params, "aggr_type", aggr_type);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>::transfer_operators(const ParCSRMatrix& A,
                                                                                             ParCSRMatrix& P,
                                                                                             ParCSRMatrix& R) {
  ParCSRMatrix sorted = A;
  sorted.sortRows();
  LOG(INFO) << "Begin get the P for  Interpolator A: " << sorted.getRows() << "x" << sorted.getCols() << "\n";
  const double omega = 2 * this->relax / 3;
  const typename Ops::ParMatrix D = sorted.getDiag(0);
  typename Ops::ParIntCSRMatrix S;
  Ops::strength(sorted, D, S, this->eps_strong);
  LOG(INFO) << "finish strength: " << sorted.getRows() << " " << sorted.getCols() << " " << sorted.getNnzs() << "\n";

  typename Ops::ParIntMatrix aggr;
  long naggr = 0;
  if (aggr_type == "serial") {
    LOG(INFO) << "use serial aggregate strategy";
    typename Ops::IntVector local;
    int count = 0;
    Ops::aggregate(S.gather(0), local, count);
    aggr.scatter(0, S.getComm(), local);
    naggr = count;
  } else {
    Ops::aggregate(S, aggr, naggr);
  }
  LOG(INFO) << "finish aggregate: aggr_type " << aggr_type << ", naggr " << naggr << "\n";

  ParCSRMatrix Ptent, smoothed;
  Ops::tentative_prolongation(int(sorted.getRows()), int(naggr), aggr, Ptent);
  Ops::tentative_smooth(sorted, int(naggr), Ptent, S, smoothed, omega);
  smoothed.sortRows();
  P = smoothed;
  P.transpose(R);
}

#define VELMO_INSTANTIATE_PAR_SA(Value, GlobalIndex, LocalIndex) \
  template class ParLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_PAR_SA)
#undef VELMO_INSTANTIATE_PAR_SA

VELMO_REGISTER_FLOATING(ParLevelTransferT, LevelTransferSmoothAggregation, ParLevelTransferSmoothAggregation_T);

}  // namespace velmo
