#include "mat/Matrix.h"

#include <glog/logging.h>

#include <cstdlib>
#include <iomanip>
#include <string>

#include "kernels/BlasOps.h"
#include "kernels/MatOps.h"
#include "mat/MatrixMarketValue.h"
#include "utils/Scalar.h"
#include "utils/Utils.h"

namespace velmo {

namespace detail {
void checkMatrixShape(long rows, long cols) { CHECK(rows>=0 && cols>=0); }
}  // namespace detail

template <>
MatrixT<int, int, MatrixLayoutRowMajor> MatrixT<int, int, MatrixLayoutRowMajor>::range(int begin, int end,
                                                                                       int /*step*/) {
  MatrixT column(end - begin, 1, Device(0, 0));
  int* data = column.getData();
  for (int k = 0; k < end - begin; ++k) data[k] = begin + k;
  return column;
}

template <class T, class I, class Layout>
T MatrixT<T, I, Layout>::getElementValue(I i, I j, bool* ok) const {
  bool inside = i >= 0 && i < getRows() && j >= 0 && j < getCols();
  if (ok != nullptr) *ok = inside;
  if (!inside) return T(0);
  MatrixT cell(1, 1, getDevice());
  MatOps<T, I>::get_element_value(getDevice(), getCols(), getData(), i, j, cell.getData());
  return cell.toDevice(Device(0, 0)).getData()[0];
}

template <class T, class I, class Layout>
bool MatrixT<T, I, Layout>::setElementValue(I i, I j, const T& v) {
  if (i < 0 || i >= getRows() || j < 0 || j >= getCols()) return false;
  MatOps<T, I>::set_element_value(getDevice(), getCols(), getData(), i, j, v);
  return true;
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::selectRows(const MatrixT<int, I, Layout>& indices, MatrixT& sub) const {
  CHECK(getDevice() == indices.getDevice()) << "selectRows: indices should on the same device";
  sub.resize(indices.getSize(), getCols(), getDevice());
  MatOps<T, I>::select_rows(getDevice(), getCols(), getData(), indices.getSize(), indices.getData(),
                            sub.getData());
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::unselectRows(const MatrixT<int, I, Layout>& indices, const MatrixT& sub_array) {
  CHECK(getDevice() == indices.getDevice() && getDevice() == sub_array.getDevice())
      << "selectRows: indices and sub_array should on the same device";
  // Rows of sub_array past the indices are not read, so a longer one is accepted.
  CHECK_GE(sub_array.getRows(), indices.getSize()) << "unselectRows: sub_array needs one row per index";
  CHECK_EQ(sub_array.getCols(), getCols()) << "unselectRows: sub_array rows must be as wide as this matrix";
  MatOps<T, I>::unselect_rows(getDevice(), getCols(), getData(), indices.getSize(), indices.getData(),
                              sub_array.getData());
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::fill(const T& v) {
  BlasOps<T, I>::fill(getDevice(), getSize(), v, getData());
}

template <class T, class I, class Layout>
MatrixT<T, I, Layout>& MatrixT<T, I, Layout>::operator+=(const MatrixT& x) {
  CHECK(getDevice() == x.getDevice()) << "operator+=: x and y must be on the same device";
  CHECK(getRows() == x.getRows() && getCols() == x.getCols()) << "operator+=: x and y must have same size";
  BlasOps<T, I>::axpy(getDevice(), getSize(), T(1), x.getData(), getData());
  return *this;
}

// The two checks every static operation makes on a pair of operands, in their fixed words.
#define VELMO_CHECK_PAIR(op, a, b)                                                       \
  CHECK(a.getSize() == b.getSize()) << op ": " #a " and " #b " must have the same size"; \
  CHECK(a.getDevice() == b.getDevice()) << op ": " #a " and " #b " must be on the same device"

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::axpy(const T& a, const MatrixT& x, MatrixT& y) {
  VELMO_CHECK_PAIR("axpy", x, y);
  BlasOps<T, I>::axpy(y.getDevice(), y.getSize(), a, x.getData(), y.getData());
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::axpby(const T& a, const MatrixT& x, const T& b, MatrixT& y) {
  VELMO_CHECK_PAIR("axpby", x, y);
  BlasOps<T, I>::axpby(y.getDevice(), y.getSize(), a, x.getData(), b, y.getData());
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::axpbypz(const T& a, const MatrixT& x, const T& b, const MatrixT& y, MatrixT& z) {
  VELMO_CHECK_PAIR("axpbypz", x, y);
  VELMO_CHECK_PAIR("axpbypz", x, z);
  BlasOps<T, I>::axpbypz(z.getDevice(), z.getSize(), a, x.getData(), b, y.getData(), z.getData());
}

// axpbypcz and axypbz report in the words of axpbypz.
template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::axpbypcz(const T& a, const MatrixT& x, const T& b, const MatrixT& y, const T& c,
                                     MatrixT& z) {
  VELMO_CHECK_PAIR("axpbypz", x, y);
  VELMO_CHECK_PAIR("axpbypz", x, z);
  BlasOps<T, I>::axpbypcz(z.getDevice(), z.getSize(), a, x.getData(), b, y.getData(), c, z.getData());
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::axypbz(const T& a, const MatrixT& x, const MatrixT& y, const T& b, MatrixT& z) {
  VELMO_CHECK_PAIR("axpbypz", x, y);
  VELMO_CHECK_PAIR("axpbypz", x, z);
  BlasOps<T, I>::axypbz(z.getDevice(), z.getSize(), a, x.getData(), y.getData(), b, z.getData());
}

#undef VELMO_CHECK_PAIR

template <class T, class I, class Layout>
T MatrixT<T, I, Layout>::dot(const MatrixT& x, const MatrixT& y) {
  CHECK(x.getDevice() == y.getDevice()) << "dot: x and y must be on the same device";
  CHECK(x.getSize() == y.getSize()) << "dot: x and y must have the same size";
  return BlasOps<T, I>::dot(x.getDevice(), x.getSize(), x.getData(), y.getData());
}

template <class T, class I, class Layout>
template <class GlobalIndex, class LocalIndex>
MatrixT<T, I, Layout> MatrixT<T, I, Layout>::mergeRows(
    const PartitionerT<GlobalIndex, LocalIndex>& partitioner, const std::vector<MatrixT>& blk) {
  MatrixT merged;
  if (blk.empty()) return merged;
  // The check keeps its fixed words, which compare a size_t with an int.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-compare"
  CHECK(blk.size() == partitioner.getNumParts());
#pragma GCC diagnostic pop

  I rows = 0;
  I cols = 0;
  Device device(0, 0);
  bool seen = false;
  for (size_t i = 0; i < blk.size(); ++i) {
    if (blk[i].getSize() == 0) continue;
    if (!seen) {
      cols = blk[i].getCols();
      device = blk[i].getDevice();
      seen = true;
    }
    CHECK(cols == blk[i].getCols());
    CHECK(device == blk[i].getDevice());
    rows += blk[i].getRows();
  }
  CHECK(rows == partitioner.getGlobalSize());

  merged.create(rows, cols, device);
  for (int k = 0; k < partitioner.getNumParts(); ++k) {
    if (blk[k].getSize() == 0) continue;
    I begin = I(partitioner.getPartBegin(k));
    MatrixT<int, I, Layout> indices =
        MatrixT<int, I, Layout>::range(begin, begin + I(partitioner.getPartSize(k)), 1).toDevice(device);
    merged.unselectRows(indices, blk[k]);
  }
  return merged;
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::saveToStream(std::ostream& os, int precision) const {
  MatrixT host = toDevice(Device(0, 0));
  const T* data = host.getData();
  const I rows = getRows();
  const I cols = getCols();
  const bool strict = Utils::isStrictMatrixMarket();

  std::ios::fmtflags flags = os.flags();
  std::streamsize oldPrecision = os.precision();
  os << "%%MatrixMarket matrix array " << (is_complex_v<T> ? "complex" : "real") << " general\n";
  os << rows << " " << cols << "\n";
  os << std::scientific << std::setprecision(precision);
  for (I i = 0; i < rows; ++i) {
    for (I j = 0; j < cols; ++j) {
      writeMatrixMarketValue(os, data[long(i) * cols + j], strict);
      os << (strict || j + 1 == cols ? '\n' : ' ');
    }
  }
  os.flags(flags);
  os.precision(oldPrecision);
}

template <class T, class I, class Layout>
void MatrixT<T, I, Layout>::loadFromStream(std::istream& is) {
  if (!is.good()) return;
  I rows = 0;
  I cols = 0;
  std::string line;
  while (std::getline(is, line)) {
    if (line.empty() || line[0] == '%') continue;
    std::vector<std::string> tokens = stringSplit(line, "[ \t]+");
    if (tokens.size() == 2) {
      rows = I(std::strtol(tokens[0].c_str(), nullptr, 10));
      cols = I(std::strtol(tokens[1].c_str(), nullptr, 10));
    } else if (tokens.size() == 1) {
      rows = I(std::strtol(tokens[0].c_str(), nullptr, 10));
      cols = 1;
    } else {
      LOG(FATAL) << "invalid matrix format";
    }
    break;
  }

  create(rows, cols, Device(0, 0));
  const bool strict = Utils::isStrictMatrixMarket();
  T* data = getData();
  for (long k = 0, n = long(rows) * cols; k < n; ++k) {
    readMatrixMarketValue(is, data[k], strict, MatrixMarketFormat::Array);
  }
}

template class MatrixT<int>;
template class MatrixT<long>;
template class MatrixT<float>;
template class MatrixT<double>;
template class MatrixT<Complex<float>>;
template class MatrixT<Complex<double>>;

template <class T>
using Blocks = std::vector<MatrixT<T>>;

template MatrixT<int> MatrixT<int>::mergeRows(const PartitionerT<int, int>&, const Blocks<int>&);
template MatrixT<int> MatrixT<int>::mergeRows(const PartitionerT<long, int>&, const Blocks<int>&);
template MatrixT<long> MatrixT<long>::mergeRows(const PartitionerT<int, int>&, const Blocks<long>&);
template MatrixT<long> MatrixT<long>::mergeRows(const PartitionerT<long, int>&, const Blocks<long>&);
template MatrixT<float> MatrixT<float>::mergeRows(const PartitionerT<int, int>&, const Blocks<float>&);
template MatrixT<float> MatrixT<float>::mergeRows(const PartitionerT<long, int>&, const Blocks<float>&);
template MatrixT<double> MatrixT<double>::mergeRows(const PartitionerT<int, int>&, const Blocks<double>&);
template MatrixT<double> MatrixT<double>::mergeRows(const PartitionerT<long, int>&, const Blocks<double>&);
template MatrixT<Complex<float>> MatrixT<Complex<float>>::mergeRows(const PartitionerT<int, int>&,
                                                                    const Blocks<Complex<float>>&);
template MatrixT<Complex<float>> MatrixT<Complex<float>>::mergeRows(const PartitionerT<long, int>&,
                                                                    const Blocks<Complex<float>>&);
template MatrixT<Complex<double>> MatrixT<Complex<double>>::mergeRows(const PartitionerT<int, int>&,
                                                                      const Blocks<Complex<double>>&);
template MatrixT<Complex<double>> MatrixT<Complex<double>>::mergeRows(const PartitionerT<long, int>&,
                                                                      const Blocks<Complex<double>>&);

}  // namespace velmo
