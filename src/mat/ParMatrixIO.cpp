#include <fstream>

#include "comu/communication_tools.h"
#include "mat/ParMatrix.h"
#include "mat/ParMatrixTypes.h"
#include "mat/PartFileName.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
auto ParMatrixT<Value, GlobalIndex, LocalIndex>::gather(int root) const -> LocalMatrix {
  const ParMatrixImpl& impl = *m_impl;
  if (impl.rows == 0 || impl.cols == 0) return LocalMatrix();
  std::vector<LocalMatrix> parts;
  comu::stlmpi_gather_stream(impl.comm, impl.localMat.toDevice(Device(0, 0)), parts, root);
  if (comu::commRank(impl.comm) != root) return LocalMatrix();
  return LocalMatrix::mergeRows(impl.rowPartitioner, parts).toDevice(impl.device);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::scatter(int root, int comm, const LocalMatrix& a) {
  std::vector<LocalMatrix> pieces;
  if (comu::commRank(comm) == root) {
    Partitioner partitioner;
    partitioner.create(a.getRows(), comm);
    pieces.resize(size_t(partitioner.getNumParts()));
    for (int part = 0; part < partitioner.getNumParts(); ++part) {
      GlobalIndex begin = 0, end = 0;
      partitioner.getOwnerShipRange(part, &begin, &end);
      const auto rows = MatrixT<int, int, MatrixLayoutRowMajor>::range(int(begin), int(end), 1);
      LocalMatrix piece;
      a.selectRows(rows.toDevice(a.getDevice()), piece);
      pieces[size_t(part)] = piece.toDevice(Device(0, 0));
    }
  }
  LocalMatrix mine;
  comu::stlmpi_scatter_stream(comm, pieces, mine, root);
  create(a.getRows(), a.getCols(), a.getDevice(), comm);
  setLocalMatrix({mine.toDevice(a.getDevice())});
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::saveToFile(const std::string& name) const {
  std::ofstream out(detail::partFileBase(name) + ".part0+" + std::to_string(comu::commRank(m_impl->comm)) + "." +
                        std::to_string(comu::commSize(m_impl->comm)) + ".mtx",
                    std::ios::out);
  saveToStream(out);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::saveToStream(std::ostream& os) const {
  m_impl->localMat.saveToStream(os, 6);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::loadFromFile(const std::string& name) {
  std::ifstream in(name);
  loadFromStream(in);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParMatrixT<Value, GlobalIndex, LocalIndex>::loadFromStream(std::istream& is) {
  if (is.bad() || is.fail()) return;
  LocalMatrix m;
  m.loadFromStream(is);
  createSeq(m, comu::kCommWorld);
}

#define VELMO_INSTANTIATE_PAR_MATRIX_IO(Value, GlobalIndex)                                          \
  template MatrixT<Value, int> ParMatrixT<Value, GlobalIndex, int>::gather(int) const;                 \
  template void ParMatrixT<Value, GlobalIndex, int>::scatter(int, int, const MatrixT<Value, int>&);    \
  template void ParMatrixT<Value, GlobalIndex, int>::saveToFile(const std::string&) const;            \
  template void ParMatrixT<Value, GlobalIndex, int>::saveToStream(std::ostream&) const;               \
  template void ParMatrixT<Value, GlobalIndex, int>::loadFromFile(const std::string&);                \
  template void ParMatrixT<Value, GlobalIndex, int>::loadFromStream(std::istream&);
VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_PAR_MATRIX_IO)
#undef VELMO_INSTANTIATE_PAR_MATRIX_IO

}  // namespace velmo
