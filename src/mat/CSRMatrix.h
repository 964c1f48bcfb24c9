#pragma once

#include <istream>
#include <memory>
#include <vector>

#include "kernels/RawMat.h"
#include "mat/Matrix.h"
#include "mat/Partitioner.h"
#include "utils/Device.h"

namespace velmo {

namespace comu {
class Stream;
}

// Compressed-row block of one rank, with its three arrays on one Device. Copies of the handle
// share the arrays; deepCopy and toDevice duplicate them. All arithmetic goes to SpBlasOps.
//
// States: default (all zero), structure only (row_ptr alone, nnzs 0) and complete. create
// and resize enter structure only, resizeNnz completes it. A matrix built from other
// matrices is made in two passes: a symbolic kernel call fills row_ptr, evaluateNnzs reads
// the count, resizeNnz sizes the entries and a second call fills them.
//
// A matrix with rows but no entries counts as empty: deepCopy, toDevice, transpose and the
// other producers return a default matrix for it, with its shape dropped.
template <class Value, class LocalIndex = int>
class CSRMatrixT {
 public:
  using RawMat = COT_CSRRawMat<Value, LocalIndex>;
  using MergeRawMat = COT_MergeCSRRawMat<Value, LocalIndex>;
  using Vector = MatrixT<Value, LocalIndex, MatrixLayoutRowMajor>;
  using IndexList = MatrixT<int, LocalIndex, MatrixLayoutRowMajor>;

  struct CSRMatrixImpl {
    Device device;
    LocalIndex rows = 0;
    LocalIndex cols = 0;
    LocalIndex nnzs = 0;
    LocalIndex* row_ptr = nullptr;
    LocalIndex* col_idx = nullptr;
    Value* values = nullptr;

    CSRMatrixImpl() = default;
    CSRMatrixImpl(const CSRMatrixImpl&) = delete;
    CSRMatrixImpl& operator=(const CSRMatrixImpl&) = delete;
    ~CSRMatrixImpl() { freeArrays(); }
    void freeArrays();
  };

  CSRMatrixT() : m_impl(std::make_shared<CSRMatrixImpl>()) {}

  // Fresh, uninitialised arrays: row_ptr when rows > 0, col_idx and values when nnzs > 0.
  // Other handles keep the old ones.
  void create(LocalIndex rows, LocalIndex cols, LocalIndex nnzs, const Device& device);
  // In place, seen by all handles. The same row count on the same device only changes cols;
  // otherwise the arrays are dropped and a structure-only matrix is left.
  void resize(LocalIndex rows, LocalIndex cols, const Device& device);
  // Structure only to complete; a positive cols replaces the column count.
  void resizeNnz(LocalIndex nnzs, LocalIndex cols);

  // toDevice to this matrix's own device.
  void deepCopy(CSRMatrixT& out) const;
  // Always a copy, also to the current device. `out` keeps its arrays when its shape, count
  // and device already match, and stays itself when it is this matrix on `device`.
  void toDevice(const Device& device, CSRMatrixT& out) const;
  CSRMatrixT toDevice(const Device& device) const;
  // The same pattern with values of type V, left uninitialised.
  template <class V>
  void copyStructure(CSRMatrixT<V, LocalIndex>& out) const;

  LocalIndex getRows() const { return m_impl->rows; }
  LocalIndex getCols() const { return m_impl->cols; }
  LocalIndex getNnzs() const { return m_impl->nnzs; }
  Device getDevice() const { return m_impl->device; }
  // The arrays on the matrix's device; null where not allocated.
  LocalIndex* getRowPtr() const { return m_impl->row_ptr; }
  LocalIndex* getColIdx() const { return m_impl->col_idx; }
  Value* getValues() const { return m_impl->values; }
  bool sharesStorageWith(const CSRMatrixT& other) const { return m_impl == other.m_impl; }
  // No other handle sees this storage, so changing it in place is invisible elsewhere.
  bool isSoleHandle() const { return m_impl.use_count() == 1; }

  // Kernel views of the arrays, valid on the matrix's device while the arrays live.
  RawMat getRawMat() const;
  MergeRawMat getMergeRawMat(LocalIndex rowOffset, LocalIndex colOffset) const;

  // row_ptr[rows], read back from the device; 0 without row_ptr.
  LocalIndex evaluateNnzs() const;

  // Stops the process on a broken invariant; `sorted` also requires strictly ascending rows.
  // A device matrix is checked through a host copy.
  void check(bool sorted) const;
  void sortRows();

  // One kernel and one transfer per call: for setup and inspection. `found` may be null.
  Value getElementValue(LocalIndex row, LocalIndex col, bool* found = nullptr) const;
  // Overwrites a stored entry; false, and no change, outside the pattern.
  bool setElementValue(LocalIndex row, LocalIndex col, const Value& value);

  // `selected` holds row numbers on this device. With keepPositions the rows keep their
  // numbers and the others are empty; without, selected row k becomes row k.
  void getSelectedRows(const IndexList& selected, CSRMatrixT& out, bool keepPositions) const;
  // `selected` holds ascending column numbers on this device; column c is kept as c + shift,
  // and the output has one column per selected number.
  void getSelectedCols(const IndexList& selected, CSRMatrixT& out, LocalIndex shift) const;

  // One block per part of the column partition, columns local to the part. A matrix without
  // entries gives no blocks at all. A single part spans every column, so its block is this
  // matrix itself, shared rather than copied.
  template <class GlobalIndex>
  void splitCols(const PartitionerT<GlobalIndex, LocalIndex>& partitioner, std::vector<CSRMatrixT>& blocks) const;
  // The inverses, stacking row blocks and joining column blocks. A block without entries
  // takes its size from the partitioner.
  template <class GlobalIndex>
  static CSRMatrixT mergeRows(const PartitionerT<GlobalIndex, LocalIndex>& partitioner,
                              const std::vector<CSRMatrixT>& blocks);
  template <class GlobalIndex>
  static CSRMatrixT mergeCols(const PartitionerT<GlobalIndex, LocalIndex>& partitioner,
                              const std::vector<CSRMatrixT>& blocks);

  static void scale(CSRMatrixT& A, const Value& alpha);
  // Output rows come out sorted.
  void transpose(CSRMatrixT& out) const;
  // C = alpha A + beta B. Sorts the rows of A and B in place; C must hold no entries, or be
  // A or B.
  static void matadd(const Value& alpha, const CSRMatrixT& A, const Value& beta, const CSRMatrixT& B,
                     CSRMatrixT& C);
  // C = this B, columns in order of first touch; C must be another matrix, holding no entries.
  void multiply(const CSRMatrixT& B, CSRMatrixT& C) const;
  // y = alpha A x + beta y for one column x. An empty A or x makes y a default vector.
  void aAxpby(const Value& alpha, const Vector& x, const Value& beta, Vector& y) const;
  // y = alpha A x + beta z, z of y's shape and possibly y itself: the values aAxpby gives on
  // a copy of z, without the copy. An empty A or x leaves y a copy of z.
  void aAxpbz(const Value& alpha, const Vector& x, const Value& beta, const Vector& z, Vector& y) const;
  // out = A with diagonal entry (i + rowOffset, i + rowOffset) set to alpha x[i] + beta y[i] a,
  // an empty x reading 0 and an empty y reading 1; a missing diagonal inside the block is
  // appended to its row. `out` must hold no entries.
  static void axpbyDiag(const Value& alpha, const Vector& x, const Value& beta, const Vector& y,
                        const CSRMatrixT& A, CSRMatrixT& out, LocalIndex rowOffset, LocalIndex colOffset);
  // The same formula written into this matrix, when it stores every diagonal entry its block
  // spans: the pattern is then unchanged. Returns false, changing nothing, when one is missing.
  bool axpbyDiagInPlace(const Value& alpha, const Vector& x, const Value& beta, const Vector& y,
                        LocalIndex rowOffset, LocalIndex colOffset);
  // One damped Jacobi sweep on x, in place.
  void jacobi(const Vector& b, Vector& x, const Value& omega) const;

  // Matrix Market coordinate text, into a host matrix.
  void loadFromStream(std::istream& in);
  // The packed layout of comu/MatrixStream.h; the matrix must be on the host.
  void unpackStream(comu::Stream& stream);

 private:
  // Symbolic pass on a view with null entry arrays, sizing, then the numeric pass.
  template <class Pass>
  void buildTwoPass(Pass&& pass);
  // Zero offsets for a matrix that is to have rows but no entries.
  void clearRowPtr();

  std::shared_ptr<CSRMatrixImpl> m_impl;
};

}  // namespace velmo
