#include "mat/MatrixMarketValue.h"

#include <type_traits>

#include "utils/Complex.h"
#include "utils/Scalar.h"

namespace velmo {

template <class T>
void readMatrixMarketValue(std::istream& in, T& v, bool strict, MatrixMarketFormat format) {
  const bool coordinate = format == MatrixMarketFormat::Coordinate;
  if constexpr (is_complex_v<T>) {
    in >> v.re;
    if (strict) {
      in >> v.im;
      return;
    }
    v.im = 0;
    // A formatted read past the end would fail the stream and lose a coordinate entry.
    if (coordinate && (in.eof() || (in >> std::ws).eof())) return;
    const int sign = in.peek();
    if (sign != '+' && sign != '-') return;
    in.get();
    in.get();  // the 'j'
    in >> v.im;
    if (sign == '-') v.im = -v.im;
  } else if constexpr (std::is_integral_v<T>) {
    if (coordinate) {
      double d = 0;
      in >> d;
      v = T(d);
    } else {
      in >> v;
    }
  } else {
    in >> v;
  }
}

template <class T>
void writeMatrixMarketValue(std::ostream& os, const T& v, bool strict) {
  if constexpr (is_complex_v<T>) {
    if (strict) {
      os << v.re << ' ' << v.im;
    } else {
      os << v.re << (v.im < 0 ? "-j" : "+j") << v.im;
    }
  } else {
    os << v;
  }
}

template void readMatrixMarketValue(std::istream&, int&, bool, MatrixMarketFormat);
template void readMatrixMarketValue(std::istream&, long&, bool, MatrixMarketFormat);
template void readMatrixMarketValue(std::istream&, float&, bool, MatrixMarketFormat);
template void readMatrixMarketValue(std::istream&, double&, bool, MatrixMarketFormat);
template void readMatrixMarketValue(std::istream&, Complex<float>&, bool, MatrixMarketFormat);
template void readMatrixMarketValue(std::istream&, Complex<double>&, bool, MatrixMarketFormat);

template void writeMatrixMarketValue(std::ostream&, const int&, bool);
template void writeMatrixMarketValue(std::ostream&, const long&, bool);
template void writeMatrixMarketValue(std::ostream&, const float&, bool);
template void writeMatrixMarketValue(std::ostream&, const double&, bool);
template void writeMatrixMarketValue(std::ostream&, const Complex<float>&, bool);
template void writeMatrixMarketValue(std::ostream&, const Complex<double>&, bool);

}  // namespace velmo
