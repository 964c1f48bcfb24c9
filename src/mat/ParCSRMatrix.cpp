#include "mat/ParCSRMatrix.h"

#include <glog/logging.h>

#include <cstdlib>

#include "kernels/BlasOps.h"
#include "mat/Assembly.h"
#include "mat/ParMatrixTypes.h"

namespace velmo {

namespace {

// `n` elements at `p` on `device`, readable on the host: `p` itself, or a copy in `staging`.
template <class T>
const T* readableOnHost(const T* p, size_t n, const Device& device, std::vector<T>& staging) {
  if (device == Device(0, 0) || n == 0) return p;
  staging.resize(n);
  Device(device).rawCopyTo(sizeof(T) * n, p, Device(0, 0), staging.data());
  return staging.data();
}

// What the callbacks of one product need. They capture only a pointer to it, so that
// std::function keeps them inline and a product allocates nothing.
template <class Value, class Vector>
struct ProductContext {
  Value alpha;
  Value beta;
  Vector xLocal;
  Vector zLocal;
  Vector yLocal;
  std::mutex* lock;
};

}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::ParCSRMatrixT() {
  create(0, 0, Device(0, 0), comu::kCommSelf);
  if (const char* flag = std::getenv("USE_RECV_EVENT"))
    m_impl->useRecvEvent = int(std::strtol(flag, nullptr, 10)) != 0;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::create(GlobalIndex rows, GlobalIndex cols, const Device& device,
                                                           int comm) {
  auto impl = std::make_shared<ParCSRMatrixImpl>();
  impl->comm = comm;
  impl->rows = rows;
  impl->cols = cols;
  impl->device = device;
  if (rows > 0 && cols > 0) {
    impl->rowPartitioner.create(rows, comm);
    impl->colPartitioner.create(cols, comm);
  }
  m_impl = std::move(impl);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::create(const Partitioner& rowPartitioner,
                                                           const Partitioner& colPartitioner,
                                                           const std::vector<LocalMatrix>& col_blocks,
                                                           const Device& device, int comm) {
  if (!col_blocks.empty())
    CHECK_EQ(col_blocks.size(), colPartitioner.getNumParts())
        << "num of col blocks should equal to the col partitioner size";
  auto impl = std::make_shared<ParCSRMatrixImpl>();
  impl->comm = comm;
  impl->rows = rowPartitioner.getGlobalSize();
  impl->cols = colPartitioner.getGlobalSize();
  impl->device = device;
  impl->rowPartitioner = rowPartitioner;
  impl->colPartitioner = colPartitioner;
  m_impl = std::move(impl);
  setLocalMatrix(col_blocks);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::createSeq(const LocalMatrix& csr, int comm) {
  create(csr.getRows(), csr.getCols(), csr.getDevice(), comm);
  setLocalMatrix({csr});
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::setLocalMatrix(const std::vector<LocalMatrix>& blocks) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    if (blocks[i].getNnzs() < 1) continue;
    SpmvColBlock& block = m_impl->colBlocks[int(i)];
    block.mat = blocks[i];
    block.blockId = int(i);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getLocalMatrix(int block) const -> LocalMatrix {
  const int key = block < 0 ? comu::commRank(m_impl->comm) : block;
  auto found = m_impl->colBlocks.find(key);
  return found == m_impl->colBlocks.end() ? LocalMatrix() : found->second.mat;
}

template <class Value, class GlobalIndex, class LocalIndex>
long ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getNnzs() const {
  long nnzs = 0;
  for (const auto& entry : m_impl->colBlocks) nnzs += entry.second.mat.getNnzs();
  return nnzs;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getRawMat(RawMatList& rawMats) const {
  const auto& blocks = m_impl->colBlocks;
  rawMats.resize(int(blocks.size()), 1, Device(0, 0));
  if (blocks.empty()) return;
  GlobalIndex begin = 0;
  getOwnerShipRange(&begin, nullptr);
  RawMat* view = rawMats.getData();
  for (const auto& [key, block] : blocks) {
    const LocalMatrix& mat = block.mat;
    const LocalIndex* rowPtr = mat.getRowPtr();
    *view++ = RawMat{mat.getRows(),
                     mat.getCols(),
                     mat.getNnzs(),
                     0,
                     rowPtr,
                     rowPtr ? rowPtr + 1 : nullptr,
                     mat.getColIdx(),
                     mat.getValues(),
                     LocalIndex(begin),
                     LocalIndex(m_impl->colPartitioner.getPartBegin(key)),
                     key,
                     block.x.getData(),
                     block.y.getData()};
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::traversal(RowFn rowFn, ElementFn elemFn) {
  for (auto& [row, rowMap] : m_impl->assembleCoo.getRowMaps()) {
    if (rowFn) rowFn(row, GlobalIndex(rowMap->entries.size()));
    if (!elemFn) continue;
    for (auto& [col, value] : rowMap->entries) elemFn(row, col, value);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::deepCopy(ParCSRMatrixT& out) const {
  // Held here because `out` may be this very matrix.
  const auto src = m_impl;
  std::vector<LocalMatrix> blocks(size_t(src->colPartitioner.getNumParts()));
  for (size_t i = 0; i < blocks.size(); ++i) {
    const LocalMatrix block = getLocalMatrix(int(i));
    if (block.getNnzs() >= 1) block.deepCopy(blocks[i]);
  }
  out.create(src->rowPartitioner, src->colPartitioner, blocks, src->device, src->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
ParCSRMatrixT<Value, GlobalIndex, LocalIndex> ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::deepCopy() const {
  ParCSRMatrixT out;
  deepCopy(out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::toDevice(const Device& device, ParCSRMatrixT& out) const {
  // Held here because `out` may be this very matrix.
  const auto src = m_impl;
  if (device == src->device) {
    out.m_impl = src;
    return;
  }
  if (out.getRows() != src->rows || out.getCols() != src->cols || out.getDevice() != device ||
      out.getComm() != src->comm)
    out.create(src->rows, src->cols, device, src->comm);
  // Built aside and swapped in, so that `out` keeps no block the source does not have.
  std::map<int, SpmvColBlock> blocks;
  auto& kept = out.m_impl->colBlocks;
  for (const auto& [key, block] : src->colBlocks) {
    auto old = kept.find(key);
    SpmvColBlock& copy = blocks[key];
    copy.blockId = block.blockId;
    if (old != kept.end()) copy.mat = old->second.mat;
    block.mat.toDevice(device, copy.mat);
  }
  kept.swap(blocks);
}

template <class Value, class GlobalIndex, class LocalIndex>
ParCSRMatrixT<Value, GlobalIndex, LocalIndex> ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::toDevice(
    const Device& device) const {
  ParCSRMatrixT out;
  toDevice(device, out);
  return out;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::beginAssemble() {
  beginAssembly(m_impl->assembleCoo, m_impl->rowPartitioner, m_impl->cols, m_impl->comm);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::setValue(GlobalIndex row, GlobalIndex col, const Value& v,
                                                             SetValueMode mode) {
  m_impl->assembleCoo.setValue(row, col, v, mode);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::endAssemble() {
  endAssembly(m_impl->assembleCoo, m_impl->rowPartitioner, m_impl->comm, [this](const auto& owned) {
    LOG(INFO) << "begin coo to csr";
    LocalMatrix csr;
    owned.toCSR(csr);
    csr.sortRows();
    if (csr.getDevice() != m_impl->device) csr = csr.toDevice(m_impl->device);
    std::vector<LocalMatrix> blocks;
    csr.splitCols(m_impl->colPartitioner, blocks);
    setLocalMatrix(blocks);
  });
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::createByAssemble(const CSRMatrixT<Value, GlobalIndex>& a,
                                                                     int comm) {
  create(a.getRows(), a.getCols(), a.getDevice(), comm);
  // Nothing to assemble, and no partition to assemble into.
  if (m_impl->rowPartitioner.getNumParts() == 0) return;
  beginAssemble();
  const GlobalIndex rows = a.getRows();
  const size_t nnzs = size_t(a.getNnzs());
  std::vector<GlobalIndex> rowPtrCopy, colIdxCopy;
  std::vector<Value> valuesCopy;
  const GlobalIndex* rowPtr = readableOnHost(a.getRowPtr(), size_t(rows) + 1, a.getDevice(), rowPtrCopy);
  const GlobalIndex* colIdx = readableOnHost(a.getColIdx(), nnzs, a.getDevice(), colIdxCopy);
  const Value* values = readableOnHost(a.getValues(), nnzs, a.getDevice(), valuesCopy);
  for (GlobalIndex i = 0; i < rows; ++i) {
    for (int k = int(rowPtr[i]); k < rowPtr[i + 1]; ++k) setValue(i, colIdx[k], values[k], 0);
  }
  endAssemble();
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::findBlock(GlobalIndex row, GlobalIndex col,
                                                               LocalIndex* localRow, LocalIndex* blockCol) const
    -> SpmvColBlock* {
  const ParCSRMatrixImpl& impl = *m_impl;
  if (impl.rowPartitioner.getNumParts() == 0 || impl.colPartitioner.getNumParts() == 0) return nullptr;
  if (impl.rowPartitioner.getOwner(row, localRow) != comu::commRank(impl.comm)) return nullptr;
  auto found = m_impl->colBlocks.find(impl.colPartitioner.getOwner(col, blockCol));
  return found == m_impl->colBlocks.end() ? nullptr : &found->second;
}

template <class Value, class GlobalIndex, class LocalIndex>
bool ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::setElementValue(GlobalIndex row, GlobalIndex col,
                                                                    const Value& v) {
  LocalIndex localRow = 0, blockCol = 0;
  SpmvColBlock* block = findBlock(row, col, &localRow, &blockCol);
  return block != nullptr && block->mat.setElementValue(localRow, blockCol, v);
}

template <class Value, class GlobalIndex, class LocalIndex>
Value ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::getElementValue(GlobalIndex row, GlobalIndex col,
                                                                     bool* found) const {
  LocalIndex localRow = 0, blockCol = 0;
  const SpmvColBlock* block = findBlock(row, col, &localRow, &blockCol);
  if (block != nullptr) return block->mat.getElementValue(localRow, blockCol, found);
  if (found) *found = false;
  return Value();
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::aAxpby(Value alpha, const ParMatrix& x, Value beta, ParMatrix& y,
                                                           AsyncMatVecObject* async) {
  product(alpha, x, beta, y, y, async);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::aAxpbz(Value alpha, const ParMatrix& x, Value beta,
                                                           const ParMatrix& z, ParMatrix& y) {
  z.shapeLike(y);
  product(alpha, x, beta, z, y, nullptr);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::product(Value alpha, const ParMatrix& x, Value beta,
                                                            const ParMatrix& z, ParMatrix& y,
                                                            AsyncMatVecObject* async) {
  const ParCSRMatrixT& A = *this;
  // The device and comm checks follow in exchangeMatVec, before any callback runs.
  CHECK(A.getCols() == x.getRows()) << "aAxpby: A.cols != x.rows";
  CHECK(A.getRows() == y.getRows() && x.getCols() == y.getCols()) << "aAxpby: A.rows!= y.rows || x.cols != y.cols";

  using Context = ProductContext<Value, Vector>;
  Context context{alpha, beta, x.getLocalMatrix(), z.getLocalMatrix(), y.getLocalMatrix(), &m_impl->spmvLock};
  Context* ctx = &context;
  // The local product writes the common result directly and must be its first writer, so it
  // holds the lock throughout; a remote block works into its own y and locks only to add it.
  const BlockFn localFn = [ctx](int, SpmvColBlock* block) {
    std::lock_guard<std::mutex> guard(*ctx->lock);
    if (block != nullptr) {
      block->mat.aAxpbz(ctx->alpha, ctx->xLocal, ctx->beta, ctx->zLocal, ctx->yLocal);
    } else {
      Vector& y = ctx->yLocal;
      if (!ctx->zLocal.sharesStorageWith(y)) ctx->zLocal.deepCopy(y);
      BlasOps<Value, LocalIndex>::scal(y.getDevice(), y.getRows() * y.getCols(), ctx->beta, y.getData());
    }
  };
  const BlockFn remoteFn = [ctx](int, SpmvColBlock* block) {
    block->mat.aAxpby(ctx->alpha, block->x, Value(0), block->y);
    std::lock_guard<std::mutex> guard(*ctx->lock);
    ctx->yLocal += block->y;
  };
  exchangeMatVec(x, localFn, remoteFn, std::function<void()>(), async);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::matVec(const ParMatrix& x, ParMatrix& y,
                                                           AsyncMatVecObject* async) {
  const ParCSRMatrixImpl& impl = *m_impl;
  if (y.getRows() != impl.rows || y.getCols() != x.getCols() || y.getDevice() != impl.device ||
      y.getComm() != impl.comm)
    y.create(impl.rows, x.getCols(), impl.device, impl.comm);
  aAxpby(Value(1.0), x, Value(0.0), y, async);
}

template <class Value, class GlobalIndex, class LocalIndex>
auto ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::matVec(const ParMatrix& x) -> ParMatrix {
  ParMatrix y;
  matVec(x, y, nullptr);
  return y;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParCSRMatrixT<Value, GlobalIndex, LocalIndex>::exchangeMatVec(const ParMatrix& x, const BlockFn& localFn,
                                                                   const BlockFn& /*remoteFn*/,
                                                                   const std::function<void()>& /*finishFn*/,
                                                                   AsyncMatVecObject* /*async*/) {
  const ParCSRMatrixT& A = *this;
  CHECK(A.getCols() == x.getRows()) << "aAxpby: A.cols != x.rows";
  CHECK(A.getDevice() == x.getDevice()) << "aAxpby: A and x must on the same device";
  CHECK(A.getComm() == x.getComm()) << "aAxpby: A and x must have the same comm";
  // With one rank every block is local: nothing to receive, no remote block, nothing left to
  // finish or signal once localFn has returned.
  auto own = m_impl->colBlocks.find(comu::commRank(m_impl->comm));
  if (own != m_impl->colBlocks.end()) {
    own->second.x = x.getLocalMatrix();
    if (localFn) localFn(own->first, &own->second);
  } else if (localFn) {
    localFn(-1, nullptr);
  }
}

#define VELMO_INSTANTIATE_PAR_CSR_MATRIX(Value, GlobalIndex) template class ParCSRMatrixT<Value, GlobalIndex, int>;
VELMO_FOR_EACH_PAR_MATRIX_TYPE(VELMO_INSTANTIATE_PAR_CSR_MATRIX)
#undef VELMO_INSTANTIATE_PAR_CSR_MATRIX

}  // namespace velmo
