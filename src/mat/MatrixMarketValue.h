#pragma once

#include <istream>
#include <ostream>

namespace velmo {

// The two Matrix Market file formats the library reads; their value readers differ in two ways.
enum class MatrixMarketFormat {
  // Dense elements. The stream state is not looked at afterwards.
  Array,
  // Sparse entries. Integer values are read through a double, so that the scientific form
  // the library writes reads back. The reader stops at the first failed entry, so a complex
  // value that ends the input with its real part leaves the stream good; for that, white
  // space before the sign is skipped.
  Coordinate,
};

// One value of Matrix Market text, for int, long, float, double, Complex<float> and
// Complex<double>. Strict mode writes and reads a complex value as two numbers. The
// non-strict form is the real part, then "+j" or "-j", then the imaginary part with its own
// sign; the reader negates the number after "-j", and a real part alone has a zero imaginary
// part. So a negative imaginary part saved and loaded non-strict comes back positive: the
// writer and the reader both keep that.
template <class T>
void readMatrixMarketValue(std::istream& in, T& v, bool strict, MatrixMarketFormat format);
template <class T>
void writeMatrixMarketValue(std::ostream& os, const T& v, bool strict);

}  // namespace velmo
