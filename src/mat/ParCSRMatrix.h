#pragma once

#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "comu/Transport.h"
#include "kernels/RawMat.h"
#include "mat/COOMatrix.h"
#include "mat/CSRMatrix.h"
#include "mat/Matrix.h"
#include "mat/ParMatrix.h"
#include "mat/Partitioner.h"
#include "operators/ParOperator.h"
#include "utils/Complex.h"
#include "utils/Device.h"

namespace velmo {

// Distributed sparse matrix. Rows are split over the ranks by the row partitioner; a rank's
// rows are cut by the column partitioner into one CSRMatrixT per column part that holds
// entries, with columns counted from the start of the part. The block of the rank's own part
// is the local block, the others need vector entries of other ranks.
//
// Copies of the handle share everything; create replaces the implementation, so earlier
// handles keep the old data. Blocks handed in by create, createSeq and setLocalMatrix are
// shared, not copied.
//
// Entries may also be assembled one at a time by global index, from many threads:
// beginAssemble, setValue, endAssemble. The buffer outlives endAssemble until the next
// beginAssemble or releaseAssembly.
template <class Value, class GlobalIndex, class LocalIndex>
class ParCSRMatrixT : public ParMatrixFreeT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using AsyncMatVecObject = typename ParMatrixFree::AsyncMatVecObject;
  using LocalMatrix = CSRMatrixT<Value, LocalIndex>;
  using Vector = MatrixT<Value, LocalIndex, MatrixLayoutRowMajor>;
  using IndexList = MatrixT<int, int, MatrixLayoutRowMajor>;
  using Partitioner = PartitionerT<GlobalIndex, LocalIndex>;
  using RawMat = COT_SpMVCSRRawMat<Value, LocalIndex>;
  using RawMatList = MatrixT<RawMat, int, MatrixLayoutRowMajor>;
  using AssemblyBuffer = COOMatrixT<Value, GlobalIndex, GlobalIndex>;

  // One column block with the vectors of its part of a product.
  struct SpmvColBlock {
    int reserved = 0;
    int blockId = -1;  // the column part, once stored
    IndexList ghostIndices;
    LocalMatrix mat;
    Vector x;  // the entries of the input vector that this block multiplies
    Vector sendX;
    Vector recvX;
    Vector y;  // a remote block's own contribution, added to the result under spmvLock
  };

  using BlockFn = std::function<void(int, SpmvColBlock*)>;
  using RowFn = std::function<bool(GlobalIndex, GlobalIndex)>;
  using ElementFn = std::function<bool(GlobalIndex, GlobalIndex, Value&)>;

  struct ParCSRMatrixImpl {
    // What this rank sends to one neighbour in a product.
    struct SpmvSendMeta {
      IndexList indices;
      Vector values;
    };

    int comm = comu::kCommSelf;
    GlobalIndex rows = 0;
    GlobalIndex cols = 0;
    Device device;
    Partitioner rowPartitioner;
    Partitioner colPartitioner;
    AssemblyBuffer assembleCoo;
    // Kept for the product over several ranks, which would wait on an event per receive.
    bool useRecvEvent = true;
    std::map<int, SpmvColBlock> colBlocks;
    // The exchange state of a product over several ranks; empty with one rank.
    std::map<int, SpmvSendMeta> sendMeta;
    Vector sendBuffer;
    bool matVecPrepared = false;
    // Serialises accumulation into the result of a product.
    std::mutex spmvLock;
  };

  // Also reads USE_RECV_EVENT; create does not.
  ParCSRMatrixT();

  // Each create makes a new implementation. A zero dimension leaves the partitioners empty.
  void create(GlobalIndex rows, GlobalIndex cols, const Device& device, int comm = comu::kCommSelf);
  // `col_blocks` is empty or has one element per column part; the partitioners are shared.
  void create(const Partitioner& rowPartitioner, const Partitioner& colPartitioner,
              const std::vector<LocalMatrix>& col_blocks, const Device& device, int comm = comu::kCommSelf);
  // This rank's rows are `csr`, one column part, shared and not copied.
  void createSeq(const LocalMatrix& csr, int comm = comu::kCommSelf);

  // Element i becomes the block of column part i when it holds entries. Empty elements leave
  // an earlier block of that part in place.
  void setLocalMatrix(const std::vector<LocalMatrix>& blocks);
  // A negative `block` is the calling rank's own part; a missing block reads as a new empty
  // matrix.
  LocalMatrix getLocalMatrix(int block = -1) const;

  int getComm() const override { return m_impl->comm; }
  Device getDevice() const override { return m_impl->device; }
  GlobalIndex getRows() const override { return m_impl->rows; }
  GlobalIndex getCols() const override { return m_impl->cols; }
  // Only the stored values change; no data moves.
  void setComm(int comm) { m_impl->comm = comm; }
  void setDevice(const Device& device) { m_impl->device = device; }
  // USE_RECV_EVENT as read by the default constructor; true when unset, and after create.
  bool getUseRecvEvent() const { return m_impl->useRecvEvent; }

  // Stored entries of this rank, all blocks together.
  long getNnzs() const;
  Partitioner getRowPartitioner() const { return m_impl->rowPartitioner; }
  Partitioner getColPartitioner() const { return m_impl->colPartitioner; }
  // This rank's rows [begin, end); either pointer may be null.
  void getOwnerShipRange(GlobalIndex* begin, GlobalIndex* end) const {
    m_impl->rowPartitioner.getOwnerShipRange(comu::commRank(m_impl->comm), begin, end);
  }

  // One host view per block in ascending part order, pointing at data on the blocks' device.
  // `rawMats` keeps its storage when large enough: meant for setup, not for every product.
  void getRawMat(RawMatList& rawMats) const;

  // Walks the assembly buffer, not the blocks, in hash order: rowFn(row, entries of the row),
  // then elemFn(row, col, value) per entry. Values written through elemFn reach the blocks at
  // the next endAssemble. Either function may be empty.
  void traversal(RowFn rowFn, ElementFn elemFn);

  // The partitioners are shared with the copy; the assembly buffer is not copied.
  void deepCopy(ParCSRMatrixT& out) const;
  ParCSRMatrixT deepCopy() const;
  // To the current device `out` becomes an alias of this matrix. Otherwise `out` keeps the
  // storage of blocks that already have the right shape on `device`.
  void toDevice(const Device& device, ParCSRMatrixT& out) const;
  ParCSRMatrixT toDevice(const Device& device) const;

  // Assembly. beginAssemble needs positive dimensions. setValue takes any index and may be
  // called from many threads at once, but not concurrently with beginAssemble or endAssemble;
  // a row must be inside the global range by endAssemble. Columns must fit in 32 bits.
  void beginAssemble();
  void setValue(GlobalIndex row, GlobalIndex col, const Value& v, SetValueMode mode);
  void endAssemble();
  // An extension to the assembly sequence: empties the buffer and frees the memory its entries
  // hold, often several times that of the blocks. The blocks stay as they are; traversal then
  // sees nothing, and a further endAssemble builds from what is set afterwards.
  void releaseAssembly() { m_impl->assembleCoo.clear(); }
  // Row i of `a` is global row i; `a` is copied to the host for reading if needed.
  void createByAssemble(const CSRMatrixT<Value, GlobalIndex>& a, int comm = comu::kCommSelf);

  // Input and output; gather and scatter are collective over the comm.
  //
  // The whole matrix at `root`, on this matrix's device; an empty matrix on the other ranks
  // and for a zero dimension.
  LocalMatrix gather(int root) const;
  // This matrix becomes the distributed form of `a`, on a's device: every rank gives a's shape,
  // the root its entries.
  void scatter(int root, int comm, const LocalMatrix& a);
  // One Matrix Market coordinate file per block, "<base>.part<rank>+<block>.<ranks>.mtx", where
  // the base is `name` up to ".mtx"; columns count from the start of the block's part. The
  // matrix must be on the host. Failed writes are not reported.
  void saveToFile(const std::string& name) const;
  // A readable dump of every block as a dense array; not a file format.
  void saveToStream(std::ostream& os) const;
  // One coordinate file as this rank's rows, one column part, on comm 0x44000000. A stream
  // already failed, or a file that does not open, leaves the matrix unchanged.
  void loadFromFile(const std::string& name);
  void loadFromStream(std::istream& is);

  // Change or read an entry of the stored pattern, by global index; nothing is inserted.
  // Entries of rows owned elsewhere or of missing blocks are not written (false) or not
  // found (*found false, value zero).
  bool setElementValue(GlobalIndex row, GlobalIndex col, const Value& v);
  Value getElementValue(GlobalIndex row, GlobalIndex col, bool* found = nullptr) const;

  // y = alpha A x + beta y.
  void aAxpby(Value alpha, const ParMatrix& x, Value beta, ParMatrix& y, AsyncMatVecObject* async = nullptr) override;
  void aAxpbz(Value alpha, const ParMatrix& x, Value beta, const ParMatrix& z, ParMatrix& y) override;
  // y = A x; `y` is recreated unless it already has A's rows, x's cols, A's device and comm.
  void matVec(const ParMatrix& x, ParMatrix& y, AsyncMatVecObject* async = nullptr) override;
  ParMatrix matVec(const ParMatrix& x);

  // Owns the order of communication and computation of a product: localFn(key, block) runs
  // for the own block, or (-1, null) when this rank has none; remoteFn for each remote block
  // once its entries of x have arrived; finishFn when all are done. With one rank it blocks
  // until localFn has returned, and there are no remote blocks. The own block's x afterwards
  // shares the local part of `x`, also when no function is given.
  void exchangeMatVec(const ParMatrix& x, const BlockFn& localFn, const BlockFn& remoteFn,
                      const std::function<void()>& finishFn, AsyncMatVecObject* async);
  // The per-matrix setup of a product; there is none with one rank.
  void prepareMatVec(bool /*force*/) const {}

  // Algebra on whole matrices, block by block. A result handed in may be one of the
  // operands. Products leave their rows unsorted: sortRows sorts every block.

  // C = this B: block r of this matrix meets the rows of B held by rank r. This rank's rows
  // of B are shared, not copied; a product without entries leaves C without blocks.
  void multiply(const ParCSRMatrixT& B, ParCSRMatrixT& C) const;
  ParCSRMatrixT multiply(const ParCSRMatrixT& B) const;
  // Rows and columns swap partitioners; each transposed block goes to the owner of its
  // column part.
  void transpose(ParCSRMatrixT& out) const;
  ParCSRMatrixT transpose() const;
  // Z = alpha X + beta Y; sorts the rows of X and Y in place.
  static void matadd(Value alpha, const ParCSRMatrixT& X, Value beta, const ParCSRMatrixT& Y, ParCSRMatrixT& Z);
  // A = alpha A, alpha diag(D) A and alpha A diag(D), in place on the storage the blocks
  // share with other handles. matmul_aAD leaves each block's x holding its columns' factors.
  static void scale(ParCSRMatrixT& A, Value alpha);
  static void matmul_aDA(Value alpha, const ParMatrix& D, ParCSRMatrixT& A);
  static void matmul_aAD(Value alpha, const ParMatrix& D, ParCSRMatrixT& A);
  // (sum over all blocks of |a|^p)^(1/p) for each row.
  void rowNorm(typename ParMatrix::RealParMatrix& out, double p) const;
  typename ParMatrix::RealParMatrix rowNorm(double p) const;
  // The diagonal by rows (`dim` 0, the only one); 0 where no entry is stored. `out` keeps its
  // storage when it already fits.
  void getDiag(ParMatrix& out, int dim) const;
  ParMatrix getDiag(int dim) const;
  // The own block's diagonal becomes alpha x + beta y a (CSRMatrixT::axpbyDiag) in a new
  // block; other handles of the old block keep it. An empty x or y is allowed.
  static void axpbyDiag(Value alpha, const ParMatrix& x, Value beta, const ParMatrix& y, ParCSRMatrixT& A);
  void sortRows();

  // Purely local relaxation on the own block: remote blocks are ignored and nothing is
  // exchanged. A rank without an own block leaves x as it is.
  void sor(const ParMatrix& b, ParMatrix& x, Value omega, bool forward) const;
  void jacobi(const ParMatrix& b, ParMatrix& x, Value omega) const;

 private:
  // y = alpha A x + beta z over the column blocks; z may be y.
  void product(Value alpha, const ParMatrix& x, Value beta, const ParMatrix& z, ParMatrix& y,
               AsyncMatVecObject* async);
  // The block holding (row, col) and the entry's position in it; null when the row is owned
  // elsewhere, the block is missing or the matrix has no partition.
  SpmvColBlock* findBlock(GlobalIndex row, GlobalIndex col, LocalIndex* localRow, LocalIndex* blockCol) const;

  std::shared_ptr<ParCSRMatrixImpl> m_impl;
};

extern template class ParCSRMatrixT<int, int, int>;
extern template class ParCSRMatrixT<long, int, int>;
extern template class ParCSRMatrixT<float, int, int>;
extern template class ParCSRMatrixT<double, int, int>;
extern template class ParCSRMatrixT<Complex<float>, int, int>;
extern template class ParCSRMatrixT<Complex<double>, int, int>;
extern template class ParCSRMatrixT<int, long, int>;
extern template class ParCSRMatrixT<long, long, int>;
extern template class ParCSRMatrixT<float, long, int>;
extern template class ParCSRMatrixT<double, long, int>;
extern template class ParCSRMatrixT<Complex<float>, long, int>;
extern template class ParCSRMatrixT<Complex<double>, long, int>;

}  // namespace velmo
