#include "precond/SeqLevelTransferSmoothAggregation.h"

#include <glog/logging.h>

#include <cmath>

#include "kernels/SpBlasOps.h"
#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParamRecord& record = this->paramRecord();
  record.read(params, "eps_strong", eps_strong);
  record.read(params, "relax", relax);
  record.read(params, "block_size", block_size);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>::transfer_operators(const ParCSRMatrix& A,
                                                                                             ParCSRMatrix& P,
                                                                                             ParCSRMatrix& R) {
  const double omega = 2 * relax / 3;
  Impl& m = this->beginImpl();
  m.A = A.getLocalMatrix(-1);
  if (m.A.getNnzs() > 0) m.A.sortRows();
  const double eps = eps_strong * std::pow(0.5, this->level_id);
  const LocalIndex rows = m.A.getRows();
  LOG(INFO) << "size " << rows << ", eps_strong " << eps << ", block_size  " << block_size << " relax " << relax
            << ", omega " << omega << std::endl;

  const Device device = m.A.getDevice();
  m.D.create(rows, 1, device);
  m.D.fill(Value(0));
  if (m.A.getNnzs() > 0)
    SpBlasOps<Value, LocalIndex>::csr_diag(device, rows, m.A.getCols(), m.A.getRowPtr(), m.A.getColIdx(),
                                           m.A.getValues(), m.D.getData(), 0, 0);
  Ops::strength(m.A, m.D, m.S, eps);
  LOG(INFO) << "finish strength: " << rows << " " << m.A.getCols() << " " << m.A.getNnzs() << "\n";
  Ops::aggregate(m.S, m.aggr, m.naggr);
  LOG(INFO) << "finish aggregate: " << m.naggr << "\n";
  Ops::tentative_prolongation(rows, m.naggr, m.aggr, m.Ptent);
  Ops::tentative_smooth(m.A, m.naggr, m.Ptent, m.S, m.P, omega);
  if (m.P.getNnzs() > 0) m.P.sortRows();
  if (device == Device(0, 0)) {
    m.A.check(false);
    m.Ptent.check(false);
    m.P.check(false);
  }

  P.createSeq(m.P, A.getComm());
  P.transpose(R);
  this->endImpl();
}

#define VELMO_INSTANTIATE_SEQ_SA(Value, GlobalIndex, LocalIndex) \
  template class SeqLevelTransferSmoothAggregation_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_SEQ_SA)
#undef VELMO_INSTANTIATE_SEQ_SA

VELMO_REGISTER_FLOATING(ParLevelTransferT, LevelTransferSmoothAggregationSeq, SeqLevelTransferSmoothAggregation_T);

}  // namespace velmo
