#include <glog/logging.h>

#include <map>
#include <vector>

#include "comu/communication_tools.h"
#include "kernels/BlasOps.h"
#include "kernels/SpBlasOps.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrixTypes.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::multiply(const ParCSRMatrixT& B, ParCSRMatrixT& C) const {
  const ParCSRMatrixT& A = *this;
  CHECK(A.getComm() == B.getComm()) << "A and B should have the same comm";
  CHECK(A.getDevice() == B.getDevice()) << "A and B should on the same device";
  B.prepareMatVec(false);
  // Held here because C may be A or B.
  const auto a = m_impl, b = B.m_impl;

  // The rows of B by the rank that holds them, each map keyed by B's column part. Any rank
  // may have columns in this rank's part, so every rank gets this rank's rows, one column
  // part at a time; the own rows are shared, not sent.
  std::vector<std::map<int, LocalMatrix>> recv(size_t(comu::commSize(a->comm)));
  for (int part = 0; part < b->colPartitioner.getNumParts(); ++part) {
    std::vector<LocalMatrix> send(recv.size(), B.getLocalMatrix(part)), received;
    comu::sparse_send_recv_stream<LocalMatrix>(a->comm, send, received, nullptr);
    for (size_t r = 0; r < recv.size(); ++r)
      if (received[r].getNnzs() > 0) recv[r][part] = received[r];
  }

  // Block r of A meets the rows of B held by rank r.
  std::vector<LocalMatrix> blocks(size_t(b->colPartitioner.getNumParts()));
  for (size_t r = 0; r < recv.size(); ++r) {
    const auto own = a->colBlocks.find(int(r));
    if (own == a->colBlocks.end()) continue;
    for (const auto& [key, rowsOfB] : recv[r]) {
      LocalMatrix product;
      own->second.mat.multiply(rowsOfB, product);
      LocalMatrix& acc = blocks[size_t(key)];
      if (acc.getNnzs() == 0) {
        acc = product;
      } else {
        LocalMatrix::matadd(Value(1), acc, Value(1), product, acc);
      }
    }
  }
  C.create(a->rowPartitioner, b->colPartitioner, blocks, a->device, a->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::multiply(const ParCSRMatrixT& B) const -> ParCSRMatrixT {
  ParCSRMatrixT C;
  multiply(B, C);
  return C;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::transpose(ParCSRMatrixT& out) const {
  // Held here because `out` may be this matrix.
  const auto a = m_impl;
  // Slot r carries the block of column part r to rank r, which owns those rows of the
  // transpose. A part beyond the communicator (a partition made for more ranks) has no owner.
  std::vector<LocalMatrix> send(size_t(comu::commSize(a->comm))), recv;
  for (const auto& [key, block] : a->colBlocks) {
    if (size_t(key) < send.size()) block.mat.transpose(send[size_t(key)]);
  }
  comu::sparse_send_recv_stream<LocalMatrix>(a->comm, send, recv, nullptr);
  out.create(a->colPartitioner, a->rowPartitioner, recv, a->device, a->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::transpose() const -> ParCSRMatrixT {
  ParCSRMatrixT out;
  transpose(out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::matadd(Value alpha, const ParCSRMatrixT& X, Value beta,
                                                           const ParCSRMatrixT& Y, ParCSRMatrixT& Z) {
  CHECK(X.getRowPartitioner() == Y.getRowPartitioner() && X.getColPartitioner() == Y.getColPartitioner())
      << "aXpbY: partition should be same";
  CHECK(X.getDevice() == Y.getDevice()) << "aXpbY: device should be same";
  CHECK(X.getComm() == Y.getComm()) << "aXpbY: comm should be same";
  // Held here because Z may be X or Y.
  const auto x = X.m_impl;
  std::vector<LocalMatrix> blocks(size_t(x->colPartitioner.getNumParts()));
  for (size_t i = 0; i < blocks.size(); ++i)
    LocalMatrix::matadd(alpha, X.getLocalMatrix(int(i)), beta, Y.getLocalMatrix(int(i)), blocks[i]);
  Z.create(x->rowPartitioner, x->colPartitioner, blocks, x->device, x->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::scale(ParCSRMatrixT& A, Value alpha) {
  for (auto& entry : A.m_impl->colBlocks) LocalMatrix::scale(entry.second.mat, alpha);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::matmul_aDA(Value alpha, const ParMatrix& D, ParCSRMatrixT& A) {
  CHECK(D.getRowPartitioner() == A.getRowPartitioner()) << "matmul_aDA: partition should be same";
  // A row's factor is owned with the row, in every block.
  const Value* factors = D.getLocalMatrix().getData();
  for (auto& entry : A.m_impl->colBlocks) {
    const LocalMatrix& mat = entry.second.mat;
    if (mat.getNnzs() > 0)
      SpBlasOps<Value, LocalIndex>::csr_matmul_aDA(A.getDevice(), alpha, factors, mat.getMergeRawMat(0, 0));
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::matmul_aAD(Value alpha, const ParMatrix& D, ParCSRMatrixT& A) {
  CHECK(D.getRowPartitioner() == A.getColPartitioner()) << "matmul_aAD: partition should be same";
  // The factors of a block's columns arrive in its x, as the entries of a product's vector do.
  A.exchangeMatVec(D, BlockFn(), BlockFn(), std::function<void()>(), nullptr);
  RawMatList views;
  A.getRawMat(views);
  for (int k = 0; k < views.getRows(); ++k)
    SpBlasOps<Value, LocalIndex>::csr_matmul_aAD(A.getDevice(), alpha, views.getData()[k]);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::rowNorm(typename ParMatrix::RealParMatrix& out, double p) const {
  const ParCSRMatrixImpl& impl = *m_impl;
  out.create(impl.rowPartitioner, impl.device, impl.comm);
  // One launch over all blocks; the kernel needs the views where it runs.
  RawMatList views, deviceViews;
  getRawMat(views);
  views.toDevice(impl.device, deviceViews);
  const auto norms = out.getLocalMatrix();
  SpBlasOps<Value, LocalIndex>::par_csr_row_norm_lp(impl.device, norms.getRows(), views.getRows(),
                                                    deviceViews.getData(), RealOf<Value>(p), norms.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::rowNorm(double p) const -> typename ParMatrix::RealParMatrix {
  typename ParMatrix::RealParMatrix out;
  rowNorm(out, p);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getDiag(ParMatrix& out, int dim) const {
  CHECK(dim == 0) << "ParCSRMatrix only support diag with row partition";
  const ParCSRMatrixImpl& impl = *m_impl;
  if (out.getRows() != impl.rows || out.getCols() != 1 || out.getDevice() != impl.device || out.getComm() != impl.comm)
    out.create(impl.rows, 1, impl.device, impl.comm);
  const Vector diag = out.getLocalMatrix();
  BlasOps<Value, LocalIndex>::fill(impl.device, diag.getSize(), Value(0), diag.getData());
  if (impl.colBlocks.empty()) return;

  // Only the blocks whose columns meet this rank's rows hold diagonal entries.
  GlobalIndex rowBegin = 0, rowEnd = 0;
  getOwnerShipRange(&rowBegin, &rowEnd);
  for (const auto& [key, block] : impl.colBlocks) {
    const GlobalIndex colBegin = impl.colPartitioner.getPartBegin(key);
    if (colBegin >= rowEnd || colBegin + impl.colPartitioner.getPartSize(key) <= rowBegin) continue;
    const LocalMatrix& mat = block.mat;
    SpBlasOps<Value, LocalIndex>::csr_diag(impl.device, mat.getRows(), mat.getCols(), mat.getRowPtr(),
                                           mat.getColIdx(), mat.getValues(), diag.getData(), LocalIndex(rowBegin),
                                           LocalIndex(colBegin));
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getDiag(int dim) const -> ParMatrix {
  ParMatrix out;
  getDiag(out, dim);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::axpbyDiag(Value alpha, const ParMatrix& x, Value beta,
                                                              const ParMatrix& y, ParCSRMatrixT& A) {
  if (x.getSize() > 0)
    CHECK(x.getRowPartitioner() == A.getRowPartitioner()) << "axpbyDiag: partition should be same";
  if (y.getSize() > 0)
    CHECK(y.getRowPartitioner() == A.getRowPartitioner()) << "axpbyDiag: partition should be same";
  const int rank = comu::commRank(A.getComm());
  const auto own = A.m_impl->colBlocks.find(rank);
  if (own == A.m_impl->colBlocks.end()) return;
  GlobalIndex rowBegin = 0;
  A.getOwnerShipRange(&rowBegin, nullptr);
  // A block that other matrices may share is replaced by a new one, unless nothing else holds it
  // and its pattern stays.
  LocalMatrix& block = own->second.mat;
  if (block.isSoleHandle() &&
      block.axpbyDiagInPlace(alpha, x.getLocalMatrix(), beta, y.getLocalMatrix(), LocalIndex(rowBegin),
                             LocalIndex(A.m_impl->colPartitioner.getPartBegin(rank))))
    return;
  LocalMatrix updated;
  LocalMatrix::axpbyDiag(alpha, x.getLocalMatrix(), beta, y.getLocalMatrix(), own->second.mat, updated,
                         LocalIndex(rowBegin), LocalIndex(A.m_impl->colPartitioner.getPartBegin(rank)));
  own->second.mat = updated;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::sortRows() {
  for (auto& entry : m_impl->colBlocks) entry.second.mat.sortRows();
}

// The class itself is instantiated with the rest of its members; these are the members
// defined here.
#define VELMO_INSTANTIATE_ALGEBRA(V, G)                                                                       \
  template void ParCSRMatrixT<V, G, int>::multiply(const ParCSRMatrixT&, ParCSRMatrixT&) const;               \
  template ParCSRMatrixT<V, G, int> ParCSRMatrixT<V, G, int>::multiply(const ParCSRMatrixT&) const;           \
  template void ParCSRMatrixT<V, G, int>::transpose(ParCSRMatrixT&) const;                                    \
  template ParCSRMatrixT<V, G, int> ParCSRMatrixT<V, G, int>::transpose() const;                              \
  template void ParCSRMatrixT<V, G, int>::matadd(V, const ParCSRMatrixT&, V, const ParCSRMatrixT&,            \
                                                 ParCSRMatrixT&);                                             \
  template void ParCSRMatrixT<V, G, int>::scale(ParCSRMatrixT&, V);                                          \
  template void ParCSRMatrixT<V, G, int>::matmul_aDA(V, const ParMatrix&, ParCSRMatrixT&);                   \
  template void ParCSRMatrixT<V, G, int>::matmul_aAD(V, const ParMatrix&, ParCSRMatrixT&);                   \
  template void ParCSRMatrixT<V, G, int>::rowNorm(ParMatrix::RealParMatrix&, double) const;                  \
  template ParMatrixT<V, G, int>::RealParMatrix ParCSRMatrixT<V, G, int>::rowNorm(double) const;             \
  template void ParCSRMatrixT<V, G, int>::getDiag(ParMatrix&, int) const;                                    \
  template ParMatrixT<V, G, int> ParCSRMatrixT<V, G, int>::getDiag(int) const;                               \
  template void ParCSRMatrixT<V, G, int>::axpbyDiag(V, const ParMatrix&, V, const ParMatrix&,                \
                                                    ParCSRMatrixT&);                                          \
  template void ParCSRMatrixT<V, G, int>::sortRows();

VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_ALGEBRA)
#undef VELMO_INSTANTIATE_ALGEBRA

}  // namespace velmo
