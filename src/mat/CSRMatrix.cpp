#include "mat/CSRMatrix.h"

#include <glog/logging.h>

#include "comu/MatrixStream.h"
#include "kernels/BlasOps.h"
#include "kernels/SpBlasOps.h"
#include "mat/COOMatrix.h"
#include "utils/Complex.h"

namespace velmo {

namespace {

const Device kHost(0, 0);

template <class T>
T* allocate(const Device& device, long n) {
  return static_cast<T*>(device.rawMalloc(sizeof(T) * size_t(n)));
}

template <class T>
void copyArray(Device src, const T* from, const Device& dst, T* to, long n) {
  if (n > 0) src.rawCopyTo(sizeof(T) * size_t(n), from, dst, to);
}

}  // namespace

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::CSRMatrixImpl::freeArrays() {
  if (row_ptr != nullptr) device.rawFree(row_ptr);
  if (col_idx != nullptr) device.rawFree(col_idx);
  if (values != nullptr) device.rawFree(values);
  row_ptr = nullptr;
  col_idx = nullptr;
  values = nullptr;
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::create(LocalIndex rows, LocalIndex cols, LocalIndex nnzs,
                                           const Device& device) {
  auto impl = std::make_shared<CSRMatrixImpl>();
  impl->device = device;
  impl->rows = rows;
  impl->cols = cols;
  impl->nnzs = nnzs;
  if (rows > 0) impl->row_ptr = allocate<LocalIndex>(device, long(rows) + 1);
  if (nnzs > 0) {
    impl->col_idx = allocate<LocalIndex>(device, nnzs);
    impl->values = allocate<Value>(device, nnzs);
  }
  m_impl = std::move(impl);
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::resize(LocalIndex rows, LocalIndex cols, const Device& device) {
  CSRMatrixImpl& m = *m_impl;
  if (rows == m.rows && device == m.device) {
    m.cols = cols;
    return;
  }
  m.freeArrays();
  m.rows = rows;
  m.cols = cols;
  m.nnzs = 0;
  m.device = device;
  if (rows > 0) m.row_ptr = allocate<LocalIndex>(device, long(rows) + 1);
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::resizeNnz(LocalIndex nnzs, LocalIndex cols) {
  CHECK(m_impl->col_idx == 0 && m_impl->values == 0);
  CSRMatrixImpl& m = *m_impl;
  if (cols > 0) m.cols = cols;
  if (nnzs != m.nnzs) {
    m.nnzs = nnzs;
    if (nnzs > 0) {
      m.col_idx = allocate<LocalIndex>(m.device, nnzs);
      m.values = allocate<Value>(m.device, nnzs);
    }
  }
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::deepCopy(CSRMatrixT& out) const {
  toDevice(getDevice(), out);
}

template <class Value, class LocalIndex>
CSRMatrixT<Value, LocalIndex> CSRMatrixT<Value, LocalIndex>::toDevice(const Device& device) const {
  CSRMatrixT out;
  toDevice(device, out);
  return out;
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::toDevice(const Device& device, CSRMatrixT& out) const {
  // Held here because `out` may be this very matrix.
  const std::shared_ptr<CSRMatrixImpl> src = m_impl;
  if (out.m_impl == src && device == src->device) return;
  if (src->nnzs == 0) {
    out = CSRMatrixT();
    return;
  }
  if (out.getRows() != src->rows || out.getCols() != src->cols || out.getNnzs() != src->nnzs ||
      out.getDevice() != device) {
    out.create(src->rows, src->cols, src->nnzs, device);
  }
  if (src->row_ptr != nullptr) copyArray(src->device, src->row_ptr, device, out.getRowPtr(), long(src->rows) + 1);
  copyArray(src->device, src->col_idx, device, out.getColIdx(), src->nnzs);
  copyArray(src->device, src->values, device, out.getValues(), src->nnzs);
}

template <class Value, class LocalIndex>
template <class V>
void CSRMatrixT<Value, LocalIndex>::copyStructure(CSRMatrixT<V, LocalIndex>& out) const {
  const CSRMatrixImpl& m = *m_impl;
  out.create(m.rows, m.cols, m.nnzs, m.device);
  if (m.row_ptr != nullptr) copyArray(m.device, m.row_ptr, m.device, out.getRowPtr(), long(m.rows) + 1);
  copyArray(m.device, m.col_idx, m.device, out.getColIdx(), m.nnzs);
}

template <class Value, class LocalIndex>
auto CSRMatrixT<Value, LocalIndex>::getRawMat() const -> RawMat {
  const CSRMatrixImpl& m = *m_impl;
  return RawMat{m.rows,  m.cols, m.nnzs, 0, m.row_ptr, m.row_ptr ? m.row_ptr + 1 : nullptr,
                m.col_idx, m.values};
}

template <class Value, class LocalIndex>
auto CSRMatrixT<Value, LocalIndex>::getMergeRawMat(LocalIndex rowOffset, LocalIndex colOffset) const
    -> MergeRawMat {
  RawMat r = getRawMat();
  return MergeRawMat{r.rows, r.cols, r.nnzs, 0, r.row_ptr, r.row_end, r.col_idx, r.values, rowOffset, colOffset};
}

template <class Value, class LocalIndex>
LocalIndex CSRMatrixT<Value, LocalIndex>::evaluateNnzs() const {
  LocalIndex n = 0;
  if (m_impl->row_ptr != nullptr) copyArray(m_impl->device, m_impl->row_ptr + m_impl->rows, kHost, &n, 1);
  return n;
}

template <class Value, class LocalIndex>
template <class Pass>
void CSRMatrixT<Value, LocalIndex>::buildTwoPass(Pass&& pass) {
  RawMat symbolic = getRawMat();
  symbolic.col_idx = nullptr;
  symbolic.values = nullptr;
  pass(symbolic);
  resizeNnz(evaluateNnzs(), 0);
  if (getNnzs() > 0) pass(getRawMat());
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::clearRowPtr() {
  if (m_impl->row_ptr != nullptr) {
    BlasOps<LocalIndex, LocalIndex>::fill(getDevice(), getRows() + 1, LocalIndex(0), m_impl->row_ptr);
  }
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::check(bool sorted) const {
  const LocalIndex rows = m_impl->rows;
  if (rows <= 0) return;
  if (getDevice() != kHost) {
    toDevice(kHost).check(sorted);
    return;
  }
  const LocalIndex cols = m_impl->cols;
  const LocalIndex nnzs = m_impl->nnzs;
  const LocalIndex* row_ptr = m_impl->row_ptr;
  const LocalIndex* col_idx = m_impl->col_idx;
  // The operands are spelt as the fixed texts of these checks.
  for (LocalIndex i = 0; i < rows; ++i) {
    CHECK_LE(row_ptr[i], row_ptr[i+1]);
    CHECK_GE(row_ptr[i], 0);
  }
  CHECK_EQ(row_ptr[rows], nnzs);
  for (LocalIndex i = 0; i < nnzs; ++i) {
    CHECK_LT(col_idx[i], cols);
    CHECK_GE(col_idx[i], 0);
  }
  if (!sorted) return;
  for (LocalIndex i = 0; i < rows; ++i) {
    for (LocalIndex jj = row_ptr[i]; jj < row_ptr[i + 1] - 1; ++jj) CHECK_LT(col_idx[jj], col_idx[jj+1]);
  }
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::sortRows() {
  if (getNnzs() == 0) return;
  SpBlasOps<Value, LocalIndex>::csr_sort_rows(getDevice(), getRows(), getCols(), getRowPtr(), getColIdx(),
                                              getValues());
}

template <class Value, class LocalIndex>
Value CSRMatrixT<Value, LocalIndex>::getElementValue(LocalIndex row, LocalIndex col, bool* found) const {
  struct Ret {
    Value value;
    int found;
  };
  if (found != nullptr) *found = false;
  if (getNnzs() == 0) return Value(0);
  MatrixT<Ret, int> ret(1, 1, getDevice());
  Ret* r = ret.getData();
  SpBlasOps<Value, LocalIndex>::get_element_value(getDevice(), getRows(), getCols(), getRowPtr(), getColIdx(),
                                                  getValues(), row, col, &r->value, &r->found);
  const Ret result = ret.toDevice(kHost).getData()[0];
  if (found != nullptr) *found = result.found != 0;
  return result.value;
}

template <class Value, class LocalIndex>
bool CSRMatrixT<Value, LocalIndex>::setElementValue(LocalIndex row, LocalIndex col, const Value& value) {
  if (getNnzs() == 0) return false;
  MatrixT<int, int> found(1, 1, getDevice());
  SpBlasOps<Value, LocalIndex>::set_element_value(getDevice(), getRows(), getCols(), getRowPtr(), getColIdx(),
                                                  getValues(), row, col, value, found.getData());
  return found.toDevice(kHost).getData()[0] != 0;
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::getSelectedRows(const IndexList& selected, CSRMatrixT& out,
                                                    bool keepPositions) const {
  const CSRMatrixT src = *this;  // `out` may be this very handle
  const LocalIndex n = selected.getSize();
  const LocalIndex count = keepPositions ? src.getRows() : n;
  if (count <= 0) {
    out = CSRMatrixT();
    return;
  }
  out.create(count, src.getCols(), 0, src.getDevice());
  out.buildTwoPass([&](RawMat o) {
    SpBlasOps<Value, LocalIndex>::get_selected_rows(src.getDevice(), src.getRawMat(), n, selected.getData(), o,
                                                    keepPositions);
  });
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::getSelectedCols(const IndexList& selected, CSRMatrixT& out,
                                                    LocalIndex shift) const {
  const CSRMatrixT src = *this;
  const LocalIndex n = selected.getSize();
  if (n <= 0) {
    out = CSRMatrixT();
    return;
  }
  out.create(src.getRows(), n, 0, src.getDevice());
  if (src.getRows() <= 0) return;
  out.buildTwoPass([&](RawMat o) {
    SpBlasOps<Value, LocalIndex>::get_selected_cols(src.getDevice(), src.getRawMat(), n, selected.getData(), o,
                                                    shift);
  });
}

template <class Value, class LocalIndex>
template <class GlobalIndex>
void CSRMatrixT<Value, LocalIndex>::splitCols(const PartitionerT<GlobalIndex, LocalIndex>& partitioner,
                                              std::vector<CSRMatrixT>& blocks) const {
  if (getNnzs() == 0) {
    blocks.clear();
    return;
  }
  CHECK(this->getCols() == partitioner.getGlobalSize())
      << "splitRows: rows.size() != partitioner.getGlobalSize()";
  if (partitioner.getNumParts() == 1) {
    blocks.assign(1, *this);
    return;
  }
  blocks.resize(size_t(partitioner.getNumParts()));
  for (int p = 0; p < partitioner.getNumParts(); ++p) {
    const LocalIndex start = LocalIndex(partitioner.getPartBegin(p));
    const LocalIndex size = partitioner.getPartSize(p);
    IndexList columns = IndexList::range(start, start + size, 1).toDevice(getDevice());
    getSelectedCols(columns, blocks[p], -start);
  }
}

template <class Value, class LocalIndex>
template <class GlobalIndex>
CSRMatrixT<Value, LocalIndex> CSRMatrixT<Value, LocalIndex>::mergeRows(
    const PartitionerT<GlobalIndex, LocalIndex>& partitioner, const std::vector<CSRMatrixT>& blocks) {
  CSRMatrixT out;
  if (blocks.empty()) return out;

  // A block without entries may have lost its row count, so the partition supplies it.
  std::vector<LocalIndex> blockRows(blocks.size());
  LocalIndex rows = 0, cols = 0, nnzs = 0;
  Device device = kHost;
  bool seen = false;
  for (size_t p = 0; p < blocks.size(); ++p) {
    const CSRMatrixT& blk = blocks[p];
    if (blk.getNnzs() == 0) {
      blockRows[p] = partitioner.getPartSize(int(p));
    } else {
      if (!seen) {
        cols = blk.getCols();
        device = blk.getDevice();
        seen = true;
      }
      CHECK(cols == blk.getCols()) << "merge: submat column size should be equal";
      CHECK(device == blk.getDevice()) << "merge: submat should on the same device";
      blockRows[p] = blk.getRows();
      nnzs += blk.getNnzs();
    }
    rows += blockRows[p];
  }

  out.create(rows, cols, nnzs, device);
  if (rows == 0 || cols == 0) {
    out.clearRowPtr();
    return out;
  }
  LocalIndex startRow = 0, startNnz = 0;
  for (size_t p = 0; p < blocks.size(); ++p) {
    RawMat src = blocks[p].getRawMat();
    if (src.nnzs == 0) {
      src.row_ptr = nullptr;
      src.row_end = nullptr;
    }
    src.rows = blockRows[p];
    SpBlasOps<Value, LocalIndex>::csr_append_rows(device, out.getRawMat(), startRow, startNnz, src);
    startRow += src.rows;
    startNnz += src.nnzs;
  }
  return out;
}

template <class Value, class LocalIndex>
template <class GlobalIndex>
CSRMatrixT<Value, LocalIndex> CSRMatrixT<Value, LocalIndex>::mergeCols(
    const PartitionerT<GlobalIndex, LocalIndex>& partitioner, const std::vector<CSRMatrixT>& blocks) {
  CSRMatrixT out;
  if (blocks.empty()) return out;

  LocalIndex rows = 0, cols = 0, nnzsAcc = 0;
  Device device = kHost;
  bool seen = false;
  MatrixT<MergeRawMat, int> list(LocalIndex(blocks.size()), 1, kHost);
  int count = 0;
  for (size_t p = 0; p < blocks.size(); ++p) {
    const CSRMatrixT& blk = blocks[p];
    if (blk.getNnzs() == 0) {
      cols += partitioner.getPartSize(int(p));
      continue;
    }
    if (!seen) {
      rows = blk.getRows();
      device = blk.getDevice();
      seen = true;
    }
    CHECK(rows == blk.getRows()) << "merge: submat row size should be equal";
    CHECK(device == blk.getDevice()) << "merge: submat should on the same device";
    nnzsAcc += blk.getNnzs();
    cols += blk.getCols();
    list.getData()[count++] = blk.getMergeRawMat(0, LocalIndex(partitioner.getPartBegin(int(p))));
  }

  out.create(rows, cols, 0, device);
  if (rows == 0 || cols == 0) return out;
  list.resize(count, 1, kHost);
  const MatrixT<MergeRawMat, int> views = list.toDevice(device);

  RawMat symbolic = out.getRawMat();
  SpBlasOps<Value, LocalIndex>::csr_merge_cols(device, count, views.getData(), symbolic);
  const LocalIndex nnzs = out.evaluateNnzs();
  CHECK(nnzs == nnzsAcc) << "nnz not equal";
  out.resizeNnz(nnzs, 0);
  SpBlasOps<Value, LocalIndex>::csr_merge_cols(device, count, views.getData(), out.getRawMat());
  return out;
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::scale(CSRMatrixT& A, const Value& alpha) {
  if (A.getNnzs() == 0) return;
  BlasOps<Value, LocalIndex>::scal(A.getDevice(), A.getNnzs(), alpha, A.getValues());
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::transpose(CSRMatrixT& out) const {
  const CSRMatrixT src = *this;
  if (src.getNnzs() == 0) {
    out = CSRMatrixT();
    return;
  }
  if (out.m_impl == src.m_impl || out.getRows() != src.getCols() || out.getCols() != src.getRows() ||
      out.getNnzs() != src.getNnzs() || out.getDevice() != src.getDevice()) {
    out.create(src.getCols(), src.getRows(), src.getNnzs(), src.getDevice());
  }
  SpBlasOps<Value, LocalIndex>::csr_transpose(src.getDevice(), src.getRows(), src.getCols(), src.getRowPtr(),
                                              src.getColIdx(), src.getValues(), out.getRowPtr(),
                                              out.getColIdx(), out.getValues());
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::matadd(const Value& alpha, const CSRMatrixT& A, const Value& beta,
                                           const CSRMatrixT& B, CSRMatrixT& C) {
  if (A.getNnzs() == 0) {
    B.deepCopy(C);
    scale(C, beta);
    return;
  }
  if (B.getNnzs() == 0) {
    A.deepCopy(C);
    scale(C, alpha);
    return;
  }
  CHECK(A.getRows() == B.getRows() && A.getCols() == B.getCols()) << "add: A and B must has same dim";
  CHECK(A.getDevice() == B.getDevice()) << "add: A and B must on the same device";

  // Held here because C may be A or B, and then gets a new implementation.
  const CSRMatrixT srcA = A, srcB = B;
  const Device device = srcA.getDevice();
  if (C.m_impl == srcA.m_impl || C.m_impl == srcB.m_impl || C.getRows() != srcA.getRows() ||
      C.getCols() != srcA.getCols() || C.getDevice() != device) {
    C.create(srcA.getRows(), srcA.getCols(), 0, device);
  }
  CSRMatrixT scratch;
  scratch.create(srcA.getRows(), srcA.getCols(), srcA.getNnzs() + srcB.getNnzs(), device);
  const RawMat a = srcA.getRawMat(), b = srcB.getRawMat(), s = scratch.getRawMat();
  C.buildTwoPass([&](RawMat c) { SpBlasOps<Value, LocalIndex>::csr_matadd(device, alpha, a, beta, b, c, s); });
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::multiply(const CSRMatrixT& B, CSRMatrixT& C) const {
  const CSRMatrixT& mat1 = *this;
  const CSRMatrixT& mat2 = B;
  if (mat1.getNnzs() == 0 || mat2.getNnzs() == 0) {
    C = CSRMatrixT();
    return;
  }
  CHECK(mat1.getDevice() == mat2.getDevice()) << "multiply: mat1.device!= mat2.device";
  const LocalIndex col1 = mat1.getCols();
  const LocalIndex row2 = mat2.getRows();
  CHECK(col1 == row2) << "multiply: mat1.col1 != mat2.row2";

  const CSRMatrixT& a = mat1;
  const CSRMatrixT& b = mat2;
  const Device device = a.getDevice();
  C.resize(a.getRows(), b.getCols(), device);
  MatrixT<LocalIndex, int> marker(b.getCols(), 1, device);
  C.buildTwoPass([&](RawMat c) {
    SpBlasOps<Value, LocalIndex>::csr_matmul(device, a.getRows(), a.getCols(), b.getCols(), a.getRowPtr(),
                                             a.getColIdx(), a.getValues(), b.getRowPtr(), b.getColIdx(),
                                             b.getValues(), const_cast<LocalIndex*>(c.row_ptr), c.col_idx,
                                             c.values, marker.getData());
  });
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::aAxpby(const Value& alpha, const Vector& x, const Value& beta,
                                           Vector& y) const {
  if (getNnzs() == 0 || x.getSize() == 0) {
    y = Vector();
    return;
  }
  aAxpbz(alpha, x, beta, y, y);
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::aAxpbz(const Value& alpha, const Vector& x, const Value& beta, const Vector& z,
                                           Vector& y) const {
  const CSRMatrixT& A = *this;
  if (A.getNnzs() == 0 || x.getSize() == 0) {
    if (!z.sharesStorageWith(y)) z.deepCopy(y);
    return;
  }
  CHECK(x.getCols() == 1) << "aAxpby: x.cols!= 1";
  CHECK(A.getCols() == x.getRows()) << "aAxpby: A.cols != x.rows";
  CHECK(A.getDevice() == x.getDevice()) << "aAxpby: A and x must on the same device";
  CHECK(A.getRows() == y.getRows() && x.getCols() == y.getCols()) << "aAxpby: A.rows!= y.rows";
  CHECK(A.getDevice() == y.getDevice()) << "aAxpby: A and y must on the same device";
  CHECK(z.getRows() == y.getRows() && z.getCols() == y.getCols() && z.getDevice() == y.getDevice())
      << "aAxpbz: z and y differ in shape or device";
  const RawMat a = A.getRawMat();
  SpBlasOps<Value, LocalIndex>::aAxpby(A.getDevice(), alpha, a.rows, a.cols, a.row_ptr, a.row_end, a.col_idx,
                                       a.values, x.getData(), beta, z.getData(), y.getData());
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::axpbyDiag(const Value& alpha, const Vector& x, const Value& beta,
                                              const Vector& y, const CSRMatrixT& A, CSRMatrixT& out,
                                              LocalIndex rowOffset, LocalIndex colOffset) {
  const CSRMatrixT src = A;
  if (src.getNnzs() == 0) {
    out = CSRMatrixT();
    return;
  }
  if (out.m_impl == src.m_impl || out.getRows() != src.getRows() || out.getCols() != src.getCols() ||
      out.getDevice() != src.getDevice()) {
    out.create(src.getRows(), src.getCols(), 0, src.getDevice());
  }
  const MergeRawMat a = src.getMergeRawMat(rowOffset, colOffset);
  out.buildTwoPass([&](RawMat o) {
    const MergeRawMat view{o.rows, o.cols, o.nnzs, 0, o.row_ptr, o.row_end, o.col_idx, o.values, rowOffset,
                           colOffset};
    SpBlasOps<Value, LocalIndex>::csr_axpby_diag(src.getDevice(), alpha, x.getData(), beta, y.getData(), a, view);
  });
}

template <class Value, class LocalIndex>
bool CSRMatrixT<Value, LocalIndex>::axpbyDiagInPlace(const Value& alpha, const Vector& x, const Value& beta,
                                                     const Vector& y, LocalIndex rowOffset, LocalIndex colOffset) {
  if (getNnzs() == 0) return false;
  const Device device = getDevice();
  const MergeRawMat a = getMergeRawMat(rowOffset, colOffset);
  // The kernel's counting pass tells whether a row would grow; with no row growing, its fill
  // pass writes each entry over itself.
  MatrixT<LocalIndex, LocalIndex, MatrixLayoutRowMajor> rowPtr(getRows() + 1, 1, device);
  MergeRawMat out{a.rows, a.cols, a.nnzs, 0, rowPtr.getData(), rowPtr.getData() + 1, nullptr, nullptr,
                  rowOffset, colOffset};
  SpBlasOps<Value, LocalIndex>::csr_axpby_diag(device, alpha, x.getData(), beta, y.getData(), a, out);
  LocalIndex n = 0;
  copyArray(device, rowPtr.getData() + getRows(), kHost, &n, 1);
  if (n != getNnzs()) return false;
  out.col_idx = a.col_idx;
  out.values = a.values;
  SpBlasOps<Value, LocalIndex>::csr_axpby_diag(device, alpha, x.getData(), beta, y.getData(), a, out);
  return true;
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::jacobi(const Vector& b, Vector& x, const Value& omega) const {
  Vector xOld;
  x.deepCopy(xOld);
  SpBlasOps<Value, LocalIndex>::jacobi(getDevice(), getRows(), getCols(), getRowPtr(), getColIdx(), getValues(),
                                       xOld.getData(), b.getData(), x.getData(), omega);
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::loadFromStream(std::istream& in) {
  if (in.fail()) return;
  COOMatrixT<Value, int, int> coo;
  coo.loadFromStream(in);
  create(coo.getRows(), coo.getCols(), 0, kHost);
  clearRowPtr();  // a size line with no entries leaves the rows empty
  coo.toCSR(*this);
}

template <class Value, class LocalIndex>
void CSRMatrixT<Value, LocalIndex>::unpackStream(comu::Stream& stream) {
  comu::unpackStream(stream, *this);
}

template class CSRMatrixT<int, int>;
template class CSRMatrixT<long, int>;
template class CSRMatrixT<float, int>;
template class CSRMatrixT<double, int>;
template class CSRMatrixT<Complex<float>, int>;
template class CSRMatrixT<Complex<double>, int>;

template void CSRMatrixT<int, int>::copyStructure(CSRMatrixT<int, int>&) const;
template void CSRMatrixT<long, int>::copyStructure(CSRMatrixT<long, int>&) const;
template void CSRMatrixT<float, int>::copyStructure(CSRMatrixT<float, int>&) const;
template void CSRMatrixT<double, int>::copyStructure(CSRMatrixT<double, int>&) const;
template void CSRMatrixT<Complex<float>, int>::copyStructure(CSRMatrixT<Complex<float>, int>&) const;
template void CSRMatrixT<Complex<double>, int>::copyStructure(CSRMatrixT<Complex<double>, int>&) const;
// The real pattern of a complex matrix.
template void CSRMatrixT<Complex<float>, int>::copyStructure(CSRMatrixT<float, int>&) const;
template void CSRMatrixT<Complex<double>, int>::copyStructure(CSRMatrixT<double, int>&) const;
// The pattern of a strength matrix, whose values are int marks.
template void CSRMatrixT<float, int>::copyStructure(CSRMatrixT<int, int>&) const;
template void CSRMatrixT<double, int>::copyStructure(CSRMatrixT<int, int>&) const;
template void CSRMatrixT<Complex<float>, int>::copyStructure(CSRMatrixT<int, int>&) const;
template void CSRMatrixT<Complex<double>, int>::copyStructure(CSRMatrixT<int, int>&) const;

#define VELMO_CSR_PARTITIONED(Value, GlobalIndex)                                                           \
  template void CSRMatrixT<Value, int>::splitCols(const PartitionerT<GlobalIndex, int>&,                      \
                                                  std::vector<CSRMatrixT<Value, int>>&) const;              \
  template CSRMatrixT<Value, int> CSRMatrixT<Value, int>::mergeRows(const PartitionerT<GlobalIndex, int>&,   \
                                                                    const std::vector<CSRMatrixT<Value, int>>&); \
  template CSRMatrixT<Value, int> CSRMatrixT<Value, int>::mergeCols(const PartitionerT<GlobalIndex, int>&,   \
                                                                    const std::vector<CSRMatrixT<Value, int>>&)

VELMO_CSR_PARTITIONED(int, int);
VELMO_CSR_PARTITIONED(int, long);
VELMO_CSR_PARTITIONED(long, int);
VELMO_CSR_PARTITIONED(long, long);
VELMO_CSR_PARTITIONED(float, int);
VELMO_CSR_PARTITIONED(float, long);
VELMO_CSR_PARTITIONED(double, int);
VELMO_CSR_PARTITIONED(double, long);
VELMO_CSR_PARTITIONED(Complex<float>, int);
VELMO_CSR_PARTITIONED(Complex<float>, long);
VELMO_CSR_PARTITIONED(Complex<double>, int);
VELMO_CSR_PARTITIONED(Complex<double>, long);

#undef VELMO_CSR_PARTITIONED

}  // namespace velmo
