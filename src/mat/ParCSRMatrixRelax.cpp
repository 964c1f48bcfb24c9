#include "kernels/SpBlasOps.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrixTypes.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::sor(const ParMatrix& b, ParMatrix& x, Value omega,
                                                        bool forward) const {
  auto own = m_impl->colBlocks.find(comu::commRank(m_impl->comm));
  if (own == m_impl->colBlocks.end()) return;
  const LocalMatrix& m = own->second.mat;
  SpBlasOps<Value, LocalIndex>::sor(m_impl->device, m.getRows(), m.getCols(), m.getRowPtr(), m.getColIdx(),
                                    m.getValues(), b.getLocalMatrix().getData(), x.getLocalMatrix().getData(), omega,
                                    forward, nullptr);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::jacobi(const ParMatrix& b, ParMatrix& x, Value omega) const {
  auto own = m_impl->colBlocks.find(comu::commRank(m_impl->comm));
  if (own == m_impl->colBlocks.end()) return;
  Vector xLocal = x.getLocalMatrix();
  own->second.mat.jacobi(b.getLocalMatrix(), xLocal, omega);
}

#define VELMO_INSTANTIATE_PAR_CSR_RELAX(Value, GlobalIndex)                                                    \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::sor(const ParMatrixT<Value, GlobalIndex, int>&,         \
                                                            ParMatrixT<Value, GlobalIndex, int>&, Value, bool) \
      const;                                                                                                    \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::jacobi(const ParMatrixT<Value, GlobalIndex, int>&,      \
                                                               ParMatrixT<Value, GlobalIndex, int>&, Value) const;
VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_PAR_CSR_RELAX)
#undef VELMO_INSTANTIATE_PAR_CSR_RELAX

}  // namespace velmo
