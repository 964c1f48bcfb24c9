#include "mat/ParMatrix.h"

#include <glog/logging.h>

#include <cmath>

#include "kernels/BlasOps.h"
#include "mat/Assembly.h"
#include "mat/ParMatrixTypes.h"
#include "operators/ParOperator.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::create(GlobalIndex rows, GlobalIndex cols, const Device& device,
                                                        int comm) {
  auto impl = std::make_shared<ParMatrixImpl>();
  impl->device = device;
  impl->comm = comm;
  impl->rows = rows;
  impl->cols = cols;
  // A zero dimension leaves the partitioners empty and the local matrix unallocated.
  if (rows > 0 && cols > 0) {
    impl->rowPartitioner.create(rows, comm);
    impl->colPartitioner.create(cols, comm);
    impl->localMat.create(impl->rowPartitioner.getPartSize(comu::commRank(comm)), LocalIndex(cols), device);
    // Ready for setValue without beginAssemble.
    beginAssembly(impl->assembleCoo, impl->rowPartitioner, cols, comm);
  }
  m_impl = std::move(impl);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::create(const Partitioner& rowPartitioner,
                                                        const Partitioner& colPartitioner, const Device& device,
                                                        int comm) {
  auto impl = std::make_shared<ParMatrixImpl>();
  impl->device = device;
  impl->comm = comm;
  impl->rows = rowPartitioner.getGlobalSize();
  impl->cols = colPartitioner.getGlobalSize();
  if (impl->rows > 0 && impl->cols > 0) {
    impl->rowPartitioner = rowPartitioner;
    impl->colPartitioner = colPartitioner;
    impl->localMat.create(rowPartitioner.getPartSize(comu::commRank(comm)), LocalIndex(impl->cols), device);
  }
  m_impl = std::move(impl);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::create(const Partitioner& rowPartitioner, const Device& device,
                                                        int comm) {
  Partitioner colPartitioner;
  colPartitioner.create(1, comm);
  create(rowPartitioner, colPartitioner, device, comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::createSeq(const LocalMatrix& localMat, int comm) {
  create(localMat.getRows(), localMat.getCols(), localMat.getDevice(), comm);
  setLocalMatrix({localMat});
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::resize(GlobalIndex rows, GlobalIndex cols, const Device& device,
                                                        int comm) {
  if (rows == m_impl->rows && cols == m_impl->cols && device == m_impl->device && comm == m_impl->comm) return;
  create(rows, cols, device, comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::setLocalMatrix(const std::vector<LocalMatrix>& localMat) {
  CHECK(localMat.size() == 1) << "only support localMat.size == 1";
  m_impl->localMat = localMat[0];
}

template <class Value, class GlobalIndex, class LocalIndex>
bool ParMatrixT<Value, GlobalIndex, LocalIndex>::setElementValue(GlobalIndex row, GlobalIndex col, const Value& v) {
  if (m_impl->rowPartitioner.getNumParts() == 0) return false;
  GlobalIndex begin = 0, end = 0;
  getOwnerShipRange(&begin, &end);
  if (row < begin || row >= end) return false;
  int localCol = int(col);
  if (localCol < 0 || localCol >= m_impl->localMat.getCols()) return false;
  return m_impl->localMat.setElementValue(LocalIndex(row - begin), LocalIndex(localCol), v);
}

template <class Value, class GlobalIndex, class LocalIndex>
Value ParMatrixT<Value, GlobalIndex, LocalIndex>::getElementValue(GlobalIndex row, GlobalIndex col,
                                                                  bool* found) const {
  if (m_impl->rowPartitioner.getNumParts() > 0) {
    GlobalIndex begin = 0, end = 0;
    getOwnerShipRange(&begin, &end);
    if (row >= begin && row < end)
      return m_impl->localMat.getElementValue(LocalIndex(row - begin), LocalIndex(col), found);
  }
  if (found) *found = false;
  return Value();
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::beginAssemble() {
  beginAssembly(m_impl->assembleCoo, m_impl->rowPartitioner, m_impl->cols, m_impl->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::setValue(GlobalIndex row, GlobalIndex col, const Value& v,
                                                          SetValueMode mode) {
  m_impl->assembleCoo.setValue(row, col, v, mode);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::endAssemble() {
  endAssembly(m_impl->assembleCoo, m_impl->rowPartitioner, m_impl->comm, [this](const auto& owned) {
    // Built on the host, where entries cost no transfer each; a column outside the matrix is
    // dropped.
    LocalMatrix dense(owned.getRows(), LocalIndex(owned.getCols()), Device(0, 0));
    dense.fill(Value(0));
    for (LocalIndex i = 0; i < owned.getRows(); ++i) {
      for (const auto& [col, v] : owned.getRowMap(i)->entries) dense.setElementValue(i, LocalIndex(col), v);
    }
    m_impl->localMat = dense.toDevice(m_impl->device);
  });
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::createByAssemble(
    const MatrixT<Value, GlobalIndex, MatrixLayoutRowMajor>& a, int comm) {
  // create leaves the buffer as beginAssemble would, or no partition when `a` is empty.
  create(a.getRows(), a.getCols(), a.getDevice(), comm);
  const MatrixT<Value, GlobalIndex, MatrixLayoutRowMajor> host = a.toDevice(Device(0, 0));
  const Value* data = host.getData();
  for (GlobalIndex i = 0; i < host.getRows(); ++i) {
    for (GlobalIndex j = 0; j < host.getCols(); ++j) setValue(i, j, data[i * host.getCols() + j], 0);
  }
  endAssemble();
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::axpy(Value alpha, const ParMatrixT& x, ParMatrixT& y) {
  LocalMatrix::axpy(alpha, x.m_impl->localMat, y.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::axpby(Value alpha, const ParMatrixT& x, Value beta, ParMatrixT& y) {
  LocalMatrix::axpby(alpha, x.m_impl->localMat, beta, y.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::axpbypz(Value alpha, const ParMatrixT& x, Value beta,
                                                         const ParMatrixT& y, ParMatrixT& z) {
  LocalMatrix::axpbypz(alpha, x.m_impl->localMat, beta, y.m_impl->localMat, z.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::axpbypcz(Value alpha, const ParMatrixT& x, Value beta,
                                                          const ParMatrixT& y, Value gamma, ParMatrixT& z) {
  LocalMatrix::axpbypcz(alpha, x.m_impl->localMat, beta, y.m_impl->localMat, gamma, z.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::axypbz(Value alpha, const ParMatrixT& x, const ParMatrixT& y,
                                                        Value beta, ParMatrixT& z) {
  LocalMatrix::axypbz(alpha, x.m_impl->localMat, y.m_impl->localMat, beta, z.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
Value ParMatrixT<Value, GlobalIndex, LocalIndex>::dot(const ParMatrixT& x, const ParMatrixT& y) {
  return LocalMatrix::dot(x.m_impl->localMat, y.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::scale(Value alpha, ParMatrixT& x) {
  const LocalMatrix& m = x.m_impl->localMat;
  BlasOps<Value, LocalIndex>::scal(m.getDevice(), m.getSize(), alpha, m.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::reciprocal(Value alpha, ParMatrixT& x) {
  const LocalMatrix& m = x.m_impl->localMat;
  BlasOps<Value, LocalIndex>::reciprocal(m.getDevice(), m.getSize(), alpha, m.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::pow(Value alpha, ParMatrixT& x) {
  const LocalMatrix& m = x.m_impl->localMat;
  BlasOps<Value, LocalIndex>::pow(m.getDevice(), m.getSize(), alpha, m.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParMatrixT<Value, GlobalIndex, LocalIndex>::absSum(const ParMatrixT& x, double p) -> Real {
  const LocalMatrix& m = x.m_impl->localMat;
  return BlasOps<Value, LocalIndex>::abs_sum(m.getDevice(), m.getSize(), m.getData(), Real(p));
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParMatrixT<Value, GlobalIndex, LocalIndex>::absMax(const ParMatrixT& x) -> Real {
  const LocalMatrix& m = x.m_impl->localMat;
  return BlasOps<Value, LocalIndex>::abs_max(m.getDevice(), m.getSize(), m.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParMatrixT<Value, GlobalIndex, LocalIndex>::normL2(const ParMatrixT& x) {
  return std::sqrt(double(absSum(x, 2.0)));
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParMatrixT<Value, GlobalIndex, LocalIndex>::normL1(const ParMatrixT& x) {
  return std::sqrt(double(absSum(x, 1.0)));
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParMatrixT<Value, GlobalIndex, LocalIndex>::residual(ParMatrixFree& A, const ParMatrixT& x,
                                                            const ParMatrixT& b, ParMatrixT& r) {
  A.aAxpbz(Value(-1.0), x, Value(1.0), b, r);
  return normL2(r);
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParMatrixT<Value, GlobalIndex, LocalIndex>::residual(ParMatrixFree& A, const ParMatrixT& x,
                                                            const ParMatrixT& b) {
  ParMatrixT r;
  return residual(A, x, b, r);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::deepCopy(ParMatrixT& out) const {
  if (out.m_impl == m_impl) return;
  shapeLike(out);
  m_impl->localMat.deepCopy(out.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::shapeLike(ParMatrixT& out) const {
  const ParMatrixImpl& src = *m_impl;
  if (out.getRows() != src.rows || out.getCols() != src.cols || out.getDevice() != src.device ||
      out.getComm() != src.comm)
    out.create(src.rows, src.cols, src.device, src.comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
ParMatrixT<Value, GlobalIndex, LocalIndex> ParMatrixT<Value, GlobalIndex, LocalIndex>::deepCopy() const {
  ParMatrixT out;
  deepCopy(out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::toDevice(const Device& device, ParMatrixT& out) const {
  // Held here because `out` may be this very matrix.
  const auto src = m_impl;
  if (device == src->device) {
    out.m_impl = src;
    return;
  }
  if (out.getRows() != src->rows || out.getCols() != src->cols || out.getComm() != src->comm ||
      out.getDevice() != device)
    out.create(src->rows, src->cols, device, src->comm);
  src->localMat.toDevice(device, out.m_impl->localMat);
}

template <class Value, class GlobalIndex, class LocalIndex>
ParMatrixT<Value, GlobalIndex, LocalIndex> ParMatrixT<Value, GlobalIndex, LocalIndex>::toDevice(
    const Device& device) const {
  ParMatrixT out;
  toDevice(device, out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::extractPart(RealParMatrix& out, PartKernel kernel) const {
  // Held here because `out` may be this very matrix when Value is real.
  const auto src = m_impl;
  const LocalMatrix& m = src->localMat;
  out.create(src->rows, src->cols, src->device, src->comm);
  auto& dst = out.m_impl->localMat;
  dst.resize(m.getRows(), m.getCols(), m.getDevice());
  kernel(m.getDevice(), m.getSize(), m.getData(), dst.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::getReal(RealParMatrix& out) const {
  extractPart(out, &BlasOps<Value, LocalIndex>::get_real);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::getImag(RealParMatrix& out) const {
  extractPart(out, &BlasOps<Value, LocalIndex>::get_imag);
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParMatrixT<Value, GlobalIndex, LocalIndex>::getReal() const -> RealParMatrix {
  RealParMatrix out;
  getReal(out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParMatrixT<Value, GlobalIndex, LocalIndex>::getImag() const -> RealParMatrix {
  RealParMatrix out;
  getImag(out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
ParMatrixT<Value, GlobalIndex, LocalIndex> ParMatrixT<Value, GlobalIndex, LocalIndex>::createComplex(
    const RealParMatrix& re, const RealParMatrix& im) {
  ParMatrixT result;
  const bool haveRe = re.getSize() >= 1, haveIm = im.getSize() >= 1;
  if (!haveRe && !haveIm) return result;
  const RealParMatrix& shape = haveRe ? re : im;
  result.resize(shape.getRows(), shape.getCols(), shape.getDevice(), shape.getComm());
  LocalMatrix& dst = result.m_impl->localMat;
  if constexpr (is_complex_v<Value>) {
    if (haveRe && haveIm)
      CHECK(re.getSize() == im.getSize() && re.getDevice() == im.getDevice())
          << "createComplex: re and im must have the same size and device";
    const Real* rePart = haveRe ? re.m_impl->localMat.getData() : nullptr;
    const Real* imPart = haveIm ? im.m_impl->localMat.getData() : nullptr;
    BlasOps<Value, LocalIndex>::create_complex(dst.getDevice(), dst.getSize(), rePart, imPart, dst.getData());
  } else if (haveRe) {
    re.m_impl->localMat.deepCopy(dst);
  } else {
    // The real part of (0, im) is zero.
    dst.fill(Value(0));
  }
  return result;
}

#define VELMO_INSTANTIATE_PAR_MATRIX(Value, GlobalIndex) template class ParMatrixT<Value, GlobalIndex, int>;
VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_PAR_MATRIX)
#undef VELMO_INSTANTIATE_PAR_MATRIX

}  // namespace velmo
