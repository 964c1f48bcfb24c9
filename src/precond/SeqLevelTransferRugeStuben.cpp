#include "precond/SeqLevelTransferRugeStuben.h"

#include "kernels/impl/KernelTypes.h"
#include "mat/ParCSRMatrix.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void SeqLevelTransferRugeStuben_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  ParamRecord& record = this->paramRecord();
  record.read(params, "eps_strong", eps_strong);
  record.read(params, "do_trunc", do_trunc);
  record.read(params, "eps_trunc", eps_trunc);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SeqLevelTransferRugeStuben_T<Value, GlobalIndex, LocalIndex>::transfer_operators(const ParCSRMatrix& A,
                                                                                      ParCSRMatrix& P,
                                                                                      ParCSRMatrix& R) {
  Impl& m = this->beginImpl();
  m.A = A.gather(0);
  if (m.A.getNnzs() > 0) m.A.sortRows();
  Ops::connect(m.A, eps_strong, m.S, m.cf);
  Ops::cfsplit(m.A, m.S, m.cf);
  Ops::interpolation(m.A, m.S, m.cf, do_trunc, eps_trunc, m.naggr, m.P);
  if (m.P.getNnzs() > 0) m.P.sortRows();
  P.scatter(0, A.getComm(), m.P);
  P.transpose(R);
  this->endImpl();
}

// The value types with a long global index, as the hierarchy uses them.
#define VELMO_INSTANTIATE_SEQ_RS(V, G, L) template class SeqLevelTransferRugeStuben_T<V, G, L>;
VELMO_INSTANTIATE_SEQ_RS(float, long, int)
VELMO_INSTANTIATE_SEQ_RS(double, long, int)
VELMO_INSTANTIATE_SEQ_RS(Complex<float>, long, int)
VELMO_INSTANTIATE_SEQ_RS(Complex<double>, long, int)
#undef VELMO_INSTANTIATE_SEQ_RS

VELMO_REGISTER_FLOATING_LONG(ParLevelTransferT, LevelTransferRugeStubenSeq, SeqLevelTransferRugeStuben_T);

}  // namespace velmo
