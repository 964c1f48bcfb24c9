#include "utils/TestCaseMatrixMarket.h"

#include <glog/logging.h>

#include <fstream>

#include "mat/CSRMatrix.h"
#include "utils/Factory.h"

namespace velmo {

namespace {

std::ifstream openInput(const std::string& path) {
  std::ifstream in(path);
  CHECK(in.good()) << "MatrixMarket: can not open " << path;
  return in;
}

}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void MatrixMarket_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  this->record.read(params, "filename_A", m_fileA);
  this->record.read(params, "filename_b", m_fileB);
  this->record.read(params, "filename_x", m_fileX);
  this->readDevice(params);
}

template <class Value, class GlobalIndex, class LocalIndex>
typename MatrixMarket_T<Value, GlobalIndex, LocalIndex>::LocalVector
MatrixMarket_T<Value, GlobalIndex, LocalIndex>::loadVector(const std::string& path, const char* what,
                                                           LocalIndex rows, const Value& fill) const {
  LocalVector v;
  if (path.empty()) {
    v.create(rows, 1, Device(0, 0));
    v.fill(fill);
    return v;
  }
  if (this->rank == 0) LOG(INFO) << "Load " << what << " from " << path;
  auto in = openInput(path);
  v.loadFromStream(in);
  return v;
}

template <class Value, class GlobalIndex, class LocalIndex>
void MatrixMarket_T<Value, GlobalIndex, LocalIndex>::generate(ParCSRMatrix& A, ParMatrix& x, ParMatrix& b) {
  const int comm = comu::kCommSelf;
  if (this->rank == 0) LOG(INFO) << "Load A from " << m_fileA;
  CSRMatrixT<Value, LocalIndex> csr;
  auto in = openInput(m_fileA);
  csr.loadFromStream(in);
  // Rows come out of the coordinate table in hash order; sorted rows read and relax better.
  csr.sortRows();

  LocalVector localX = loadVector(m_fileX, "x", csr.getRows(), Value(0));
  LocalVector localB = loadVector(m_fileB, "b", csr.getRows(), Value(1));

  ParCSRMatrix hostA;
  hostA.createSeq(csr, comm);
  hostA.toDevice(this->device, A);
  ParMatrix hostX, hostB;
  hostX.createSeq(localX, comm);
  hostB.createSeq(localB, comm);
  hostX.toDevice(this->device, x);
  hostB.toDevice(this->device, b);
}

template class MatrixMarket_T<double, long, int>;
template class MatrixMarket_T<Complex<double>, long, int>;

VELMO_REGISTER(TestCaseT, MatrixMarket, MatrixMarket_T, double, float64, long, int64_t, int, int);
VELMO_REGISTER(TestCaseT, MatrixMarket, MatrixMarket_T, Complex<double>, complex64, long, int64_t, int, int);

}  // namespace velmo
