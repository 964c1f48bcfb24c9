#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "comu/Transport.h"
#include "mat/COOMatrix.h"
#include "mat/Matrix.h"
#include "mat/Partitioner.h"
#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
class ParMatrixFreeT;

// Distributed dense matrix, and with one column the distributed vector. Rows are split over
// the ranks; a rank holds the full width of its rows in one local MatrixT. Copies share the
// data: deepCopy duplicates, and toDevice to the current device aliases.
//
// The reductions (dot, absSum, absMax, the norms, residual) are meant over all ranks; with
// one rank they are the local values.
template <class Value, class GlobalIndex, class LocalIndex>
class ParMatrixT {
 public:
  using LocalMatrix = MatrixT<Value, LocalIndex, MatrixLayoutRowMajor>;
  using Partitioner = PartitionerT<GlobalIndex, LocalIndex>;
  using Real = RealOf<Value>;
  // The matrix of real parts: the same type for a real Value.
  using RealParMatrix = ParMatrixT<Real, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;

  struct ParMatrixImpl {
    Device device;
    int comm = comu::kCommSelf;
    GlobalIndex rows = 0;
    GlobalIndex cols = 0;
    Partitioner rowPartitioner;
    // Kept for equality checks; the local storage is never split by columns.
    Partitioner colPartitioner;
    LocalMatrix localMat;
    // Entries set by global index, waiting for endAssemble.
    COOMatrixT<Value, GlobalIndex, GlobalIndex> assembleCoo;
  };

  ParMatrixT() { create(0, 0, Device(0, 0), comu::kCommSelf); }
  ParMatrixT(GlobalIndex rows, const Device& device, int comm = comu::kCommSelf) {
    create(rows, device, comm);
  }
  ParMatrixT(GlobalIndex rows, GlobalIndex cols, const Device& device, int comm = comu::kCommSelf) {
    create(rows, cols, device, comm);
  }

  // Each create makes a new implementation; other handles keep the old data. The local
  // elements are not initialised.
  void create(GlobalIndex rows, const Device& device, int comm = comu::kCommSelf) {
    create(rows, 1, device, comm);
  }
  void create(GlobalIndex rows, GlobalIndex cols, const Device& device, int comm = comu::kCommSelf);
  void create(const Partitioner& rowPartitioner, const Partitioner& colPartitioner, const Device& device,
              int comm = comu::kCommSelf);
  // A single column partitioner of global size 1.
  void create(const Partitioner& rowPartitioner, const Device& device, int comm = comu::kCommSelf);
  // This rank's rows are `localMat`, shared and not copied.
  void createSeq(const LocalMatrix& localMat, int comm = comu::kCommSelf);

  // Keeps the data when nothing changes, so vectors can be reused in inner loops.
  void resize(GlobalIndex rows, GlobalIndex cols, const Device& device, int comm);

  // Exactly one block, which replaces the local matrix by sharing.
  void setLocalMatrix(const std::vector<LocalMatrix>& localMat);
  // The local matrix, shared; the block number is ignored (callers pass -1).
  LocalMatrix getLocalMatrix(int /*block*/ = -1) const { return m_impl->localMat; }

  GlobalIndex getRows() const { return m_impl->rows; }
  GlobalIndex getCols() const { return m_impl->cols; }
  GlobalIndex getSize() const { return m_impl->rows * m_impl->cols; }
  int getComm() const { return m_impl->comm; }
  Device getDevice() const { return m_impl->device; }
  Partitioner getRowPartitioner() const { return m_impl->rowPartitioner; }
  Partitioner getColPartitioner() const { return m_impl->colPartitioner; }
  // This rank's rows [begin, end); either pointer may be null. Not for a matrix with a zero
  // dimension, whose partitioner is empty.
  void getOwnerShipRange(GlobalIndex* begin, GlobalIndex* end) const {
    m_impl->rowPartitioner.getOwnerShipRange(comu::commRank(m_impl->comm), begin, end);
  }

  // Global row, global column. Entries of rows owned by another rank are not written (false)
  // or not found (*found false, value zero).
  bool setElementValue(GlobalIndex row, GlobalIndex col, const Value& v);
  Value getElementValue(GlobalIndex row, GlobalIndex col, bool* found = nullptr) const;

  // Assembly by global index. create(rows, cols, ...) leaves the buffer ready; after the
  // other creates, and to start afresh, call beginAssemble, which needs positive dimensions.
  // setValue may be called from many threads at once, but not concurrently with
  // beginAssemble or endAssemble. endAssemble replaces the local matrix with the buffer's
  // entries over zeros; the buffer stays until the next beginAssemble or releaseAssembly.
  void beginAssemble();
  void setValue(GlobalIndex row, GlobalIndex col, const Value& v, SetValueMode mode);
  void setValue(GlobalIndex row, const Value& v, SetValueMode mode) { setValue(row, 0, v, mode); }
  void endAssemble();
  // An extension to the assembly sequence: empties the buffer and frees the memory its entries
  // hold; the local matrix stays as it is.
  void releaseAssembly() { m_impl->assembleCoo.clear(); }
  // Row i of `a` is global row i, so equal input on every rank gives the same matrix.
  void createByAssemble(const MatrixT<Value, GlobalIndex, MatrixLayoutRowMajor>& a, int comm = comu::kCommSelf);

  // Input and output; gather and scatter are collective over the comm.
  //
  // The whole matrix at `root`, on this matrix's device; an empty matrix on the other ranks
  // and for a zero dimension.
  LocalMatrix gather(int root) const;
  // This matrix becomes the distributed form of `a`, on a's device: every rank gives a's shape,
  // the root its elements.
  void scatter(int root, int comm, const LocalMatrix& a);
  // The local rows as a Matrix Market array, "<base>.part0+<rank>.<ranks>.mtx", where the base
  // is `name` up to ".mtx". Failed writes are not reported.
  void saveToFile(const std::string& name) const;
  void saveToStream(std::ostream& os) const;
  // One array file as this rank's rows, on comm 0x44000000. A stream already failed, or a file
  // that does not open, leaves the matrix unchanged.
  void loadFromFile(const std::string& name);
  void loadFromStream(std::istream& is);

  void fill(Value v) { m_impl->localMat.fill(v); }

  static void axpy(Value alpha, const ParMatrixT& x, ParMatrixT& y);
  static void axpby(Value alpha, const ParMatrixT& x, Value beta, ParMatrixT& y);
  static void axpbypz(Value alpha, const ParMatrixT& x, Value beta, const ParMatrixT& y, ParMatrixT& z);
  static void axpbypcz(Value alpha, const ParMatrixT& x, Value beta, const ParMatrixT& y, Value gamma,
                       ParMatrixT& z);
  static void axypbz(Value alpha, const ParMatrixT& x, const ParMatrixT& y, Value beta, ParMatrixT& z);
  static Value dot(const ParMatrixT& x, const ParMatrixT& y);

  // In place on x.
  static void scale(Value alpha, ParMatrixT& x);
  static void reciprocal(Value alpha, ParMatrixT& x);
  static void pow(Value alpha, ParMatrixT& x);

  // Sum of |x_i|^p, without a root.
  static Real absSum(const ParMatrixT& x, double p);
  static Real absMax(const ParMatrixT& x);
  static double normL2(const ParMatrixT& x);
  // The square root of the 1-sum: stopping tests rely on this definition.
  static double normL1(const ParMatrixT& x);

  // r = b - A x; returns the 2-norm of r.
  static double residual(ParMatrixFree& A, const ParMatrixT& x, const ParMatrixT& b, ParMatrixT& r);
  static double residual(ParMatrixFree& A, const ParMatrixT& x, const ParMatrixT& b);

  // `out` keeps its storage when its shape, device and comm already match.
  void deepCopy(ParMatrixT& out) const;
  ParMatrixT deepCopy() const;
  // Gives `out` this matrix's sizes, device and communicator, anew only where one differs.
  void shapeLike(ParMatrixT& out) const;
  bool sharesStorageWith(const ParMatrixT& other) const { return m_impl == other.m_impl; }

  // To the current device `out` becomes an alias of this matrix, without a copy.
  void toDevice(const Device& device, ParMatrixT& out) const;
  ParMatrixT toDevice(const Device& device) const;

  void getReal(RealParMatrix& out) const;
  void getImag(RealParMatrix& out) const;
  RealParMatrix getReal() const;
  RealParMatrix getImag() const;

  // Shape, device and comm of `re`, or of `im` when `re` is empty; both empty give an empty
  // matrix. A missing part is zero. For a real Value the imaginary part is dropped.
  static ParMatrixT createComplex(const RealParMatrix& re, const RealParMatrix& im);

 private:
  template <class, class, class>
  friend class ParMatrixT;

  using PartKernel = void (*)(const Device&, LocalIndex, const Value*, Real*);
  // `out` becomes this matrix's shape, filled by `kernel` from the local elements.
  void extractPart(RealParMatrix& out, PartKernel kernel) const;

  std::shared_ptr<ParMatrixImpl> m_impl;
};

extern template class ParMatrixT<int, int, int>;
extern template class ParMatrixT<long, int, int>;
extern template class ParMatrixT<float, int, int>;
extern template class ParMatrixT<double, int, int>;
extern template class ParMatrixT<Complex<float>, int, int>;
extern template class ParMatrixT<Complex<double>, int, int>;
extern template class ParMatrixT<int, long, int>;
extern template class ParMatrixT<long, long, int>;
extern template class ParMatrixT<float, long, int>;
extern template class ParMatrixT<double, long, int>;
extern template class ParMatrixT<Complex<float>, long, int>;
extern template class ParMatrixT<Complex<double>, long, int>;

}  // namespace velmo
