#include <glog/logging.h>

#include <fstream>
#include <iomanip>

#include "comu/communication_tools.h"
#include "kernels/SpBlasOps.h"
#include "mat/MatrixMarketValue.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrixTypes.h"
#include "mat/PartFileName.h"
#include "utils/Scalar.h"
#include "utils/Utils.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::gather(int root) const -> LocalMatrix {
  const ParCSRMatrixImpl& impl = *m_impl;
  if (impl.rows == 0 || impl.cols == 0) return LocalMatrix();
  std::vector<LocalMatrix> blocks(size_t(impl.colPartitioner.getNumParts()));
  for (const auto& [key, block] : impl.colBlocks) blocks[size_t(key)] = block.mat;
  const LocalMatrix mine = LocalMatrix::mergeCols(impl.colPartitioner, blocks).toDevice(Device(0, 0));
  std::vector<LocalMatrix> parts;
  comu::stlmpi_gather_stream(impl.comm, mine, parts, root);
  if (comu::commRank(impl.comm) != root) return LocalMatrix();
  return LocalMatrix::mergeRows(impl.rowPartitioner, parts).toDevice(impl.device);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::scatter(int root, int comm, const LocalMatrix& a) {
  Partitioner partitioner, colPartitioner;
  partitioner.create(a.getRows(), comm);
  colPartitioner.create(a.getCols(), comm);
  std::vector<LocalMatrix> pieces;
  if (comu::commRank(comm) == root) {
    const LocalMatrix host = a.toDevice(Device(0, 0));
    // The condition as the row split states it.
    LOG_IF(FATAL, host.getNnzs() > 0 && host.getRows() != partitioner.getGlobalSize())
        << "Check failed: this->getRows() == partitioner.getGlobalSize() "
        << "splitRows: rows.size() != partitioner.getGlobalSize()";
    pieces.resize(size_t(partitioner.getNumParts()));
    for (int part = 0; part < partitioner.getNumParts(); ++part) {
      GlobalIndex begin = 0, end = 0;
      partitioner.getOwnerShipRange(part, &begin, &end);
      host.getSelectedRows(IndexList::range(int(begin), int(end), 1), pieces[size_t(part)], false);
    }
  }
  LocalMatrix mine;
  comu::stlmpi_scatter_stream(comm, pieces, mine, root);
  std::vector<LocalMatrix> blocks;
  mine.toDevice(a.getDevice()).splitCols(colPartitioner, blocks);
  create(partitioner, colPartitioner, blocks, a.getDevice(), comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::saveToFile(const std::string& name) const {
  const ParCSRMatrixImpl& impl = *m_impl;
  CHECK(impl.device.type == 0) << "saveToFile: the matrix must be on the host";
  const std::string base = detail::partFileBase(name);
  const bool strict = Utils::isStrictMatrixMarket();
  for (const auto& [key, block] : impl.colBlocks) {
    std::ofstream out(base + ".part" + std::to_string(comu::commRank(impl.comm)) + "+" + std::to_string(key) +
                          "." + std::to_string(comu::commSize(impl.comm)) + ".mtx",
                      std::ios::out);
    const LocalMatrix& m = block.mat;
    out << "%%MatrixMarket matrix coordinate " << (is_complex_v<Value> ? "complex" : "real") << " general\n"
        << m.getRows() << " " << m.getCols() << " " << m.getNnzs() << "\n"
        << std::scientific << std::setprecision(6);
    const LocalIndex* row_ptr = m.getRowPtr();
    for (LocalIndex i = 0; i < m.getRows(); ++i) {
      for (LocalIndex k = row_ptr[i]; k < row_ptr[i + 1]; ++k) {
        out << i + 1 << " " << m.getColIdx()[k] + 1 << " ";
        writeMatrixMarketValue(out, m.getValues()[k], strict);
        out << "\n";
      }
    }
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::saveToStream(std::ostream& os) const {
  const ParCSRMatrixImpl& impl = *m_impl;
  os << "the matrix for process " << comu::commRank(impl.comm) << "/" << comu::commSize(impl.comm) << " is\n";
  for (const auto& [key, block] : impl.colBlocks) {
    os << "block " << key << "\n";
    const LocalMatrix& m = block.mat;
    Vector dense(m.getRows(), m.getCols(), impl.device);
    SpBlasOps<Value, LocalIndex>::csr2dense(impl.device, m.getRows(), m.getCols(), m.getRowPtr(), m.getColIdx(),
                                            m.getValues(), dense.getData());
    dense.saveToStream(os, 6);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::loadFromFile(const std::string& name) {
  std::ifstream in(name);
  loadFromStream(in);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::loadFromStream(std::istream& is) {
  if (is.bad() || is.fail()) return;
  LocalMatrix csr;
  csr.loadFromStream(is);
  createSeq(csr, comu::kCommWorld);
}

#define VELMO_INSTANTIATE_PAR_CSR_IO(Value, GlobalIndex)                                               \
  template CSRMatrixT<Value, int> ParCSRMatrixT<Value, GlobalIndex, int>::gather(int) const;             \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::scatter(int, int, const CSRMatrixT<Value, int>&); \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::saveToFile(const std::string&) const;           \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::saveToStream(std::ostream&) const;              \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::loadFromFile(const std::string&);               \
  template void ParCSRMatrixT<Value, GlobalIndex, int>::loadFromStream(std::istream&);
VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_PAR_CSR_IO)
#undef VELMO_INSTANTIATE_PAR_CSR_IO

}  // namespace velmo
