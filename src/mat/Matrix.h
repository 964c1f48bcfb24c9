#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <vector>

#include "mat/Partitioner.h"
#include "utils/Complex.h"
#include "utils/Device.h"

namespace velmo {

struct MatrixLayoutRowMajor {};

namespace detail {
// Fatal unless both dimensions are non-negative. Out of line, so that this header, which
// every container user reads, does without glog.
void checkMatrixShape(long rows, long cols);
}  // namespace detail

// Handle to dense row-major storage on one Device; also the vector type. Copies share the
// storage: only deepCopy duplicates, and toDevice to the current device aliases.
//
// Shape, storage and copies are defined here so that plain record element types (kernel
// views, aggregation records) can use them; the numeric and text operations exist for
// int, long, float, double, Complex<float> and Complex<double>.
template <class T, class I = int, class Layout = MatrixLayoutRowMajor>
class MatrixT {
 public:
  struct MatrixImpl {
    I rows = 0;
    I cols = 0;
    T* data = nullptr;
    I capacity = 0;
    Device device;

    MatrixImpl() = default;
    MatrixImpl(const MatrixImpl&) = delete;
    MatrixImpl& operator=(const MatrixImpl&) = delete;
    ~MatrixImpl() {
      if (data != nullptr) device.rawFree(data);
    }
  };

  MatrixT() : m_impl(std::make_shared<MatrixImpl>()) {}
  MatrixT(I rows, I cols, const Device& device) : MatrixT() { create(rows, cols, device); }

  // Fresh, uninitialised storage; other handles keep the old one.
  void create(I rows, I cols, const Device& device) {
    detail::checkMatrixShape(rows, cols);
    auto impl = std::make_shared<MatrixImpl>();
    impl->rows = rows;
    impl->cols = cols;
    impl->device = device;
    impl->capacity = rows * cols;
    if (impl->capacity > 0) impl->data = static_cast<T*>(device.rawMalloc(sizeof(T) * size_t(impl->capacity)));
    m_impl = std::move(impl);
  }

  // In place, visible to all handles, when the storage is large enough and on `device`.
  void resize(I rows, I cols, const Device& device) {
    if (rows * cols <= m_impl->capacity && device == m_impl->device) {
      m_impl->rows = rows;
      m_impl->cols = cols;
    } else {
      create(rows, cols, device);
    }
  }

  I getRows() const { return m_impl->rows; }
  I getCols() const { return m_impl->cols; }
  I getSize() const { return m_impl->rows * m_impl->cols; }
  I getCapacity() const { return m_impl->capacity; }
  Device getDevice() const { return m_impl->device; }
  T* getData() const { return m_impl->data; }
  bool sharesStorageWith(const MatrixT& other) const { return m_impl == other.m_impl; }

  void deepCopy(MatrixT& dst) const {
    dst.resize(getRows(), getCols(), getDevice());
    copyBytesTo(dst);
  }

  void toDevice(const Device& d, MatrixT& dst) const {
    if (d == getDevice()) {
      dst.m_impl = m_impl;
      return;
    }
    dst.resize(getRows(), getCols(), d);
    copyBytesTo(dst);
  }

  MatrixT toDevice(const Device& d) const {
    MatrixT dst;
    toDevice(d, dst);
    return dst;
  }

  // A host column holding begin, begin + 1, ..., end - 1; the step does not enter. Exists
  // for T = int alone (specialised below): other instances fail to link.
  static MatrixT range(I begin, I end, I step);

  // Out of range: *ok (when given) turns false and the value is zero.
  T getElementValue(I i, I j, bool* ok = nullptr) const;
  // Writes and returns true inside the matrix; returns false and writes nothing outside.
  bool setElementValue(I i, I j, const T& v);
  void selectRows(const MatrixT<int, I, Layout>& indices, MatrixT& sub) const;
  // Row indices[k] of this matrix is overwritten with row k of sub_array: the inverse of selectRows.
  void unselectRows(const MatrixT<int, I, Layout>& indices, const MatrixT& sub_array);

  void fill(const T& v);
  MatrixT& operator+=(const MatrixT& x);
  static void axpy(const T& a, const MatrixT& x, MatrixT& y);
  static void axpby(const T& a, const MatrixT& x, const T& b, MatrixT& y);
  static void axpbypz(const T& a, const MatrixT& x, const T& b, const MatrixT& y, MatrixT& z);
  static void axpbypcz(const T& a, const MatrixT& x, const T& b, const MatrixT& y, const T& c, MatrixT& z);
  static void axypbz(const T& a, const MatrixT& x, const MatrixT& y, const T& b, MatrixT& z);
  static T dot(const MatrixT& x, const MatrixT& y);

  // Stacks the blocks of a row partition; blocks of size zero are skipped.
  template <class GlobalIndex, class LocalIndex>
  static MatrixT mergeRows(const PartitionerT<GlobalIndex, LocalIndex>& partitioner,
                           const std::vector<MatrixT>& blk);

  void saveToStream(std::ostream& os, int precision) const;
  void loadFromStream(std::istream& is);

 private:
  void copyBytesTo(MatrixT& dst) const {
    size_t bytes = sizeof(T) * size_t(getSize());
    if (bytes > 0) m_impl->device.rawCopyTo(bytes, m_impl->data, dst.getDevice(), dst.getData());
  }

  std::shared_ptr<MatrixImpl> m_impl;
};

template <>
MatrixT<int, int, MatrixLayoutRowMajor> MatrixT<int, int, MatrixLayoutRowMajor>::range(int begin, int end,
                                                                                     int step);

extern template class MatrixT<int>;
extern template class MatrixT<long>;
extern template class MatrixT<float>;
extern template class MatrixT<double>;
extern template class MatrixT<Complex<float>>;
extern template class MatrixT<Complex<double>>;

}  // namespace velmo
