#pragma once

#include <functional>
#include <stdexcept>
#include <string>

// The library's Matrix Market readers are literal and lenient by design: they skip the banner,
// read free-format after the size line and stop silently at the first token they cannot take.
// The driver reads a file first, the way the library will, so that anything the library would
// misread is reported with the file's name and line instead.
namespace velmo::driver {

struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class ValueKind { Real, Complex };

enum class Symmetry { General, Symmetric, SkewSymmetric, Hermitian };

// How a complex value is written: as one token in the library's own form ("1+j2", "1-j2", or a
// real number alone), or as the standard two columns, real then imaginary part.
enum class ComplexForm { Token, Columns };

struct MatrixMarketFile {
  long rows = 0;
  long cols = 0;
  // Entries of a coordinate file, values of an array file.
  long entries = 0;
  // Entries once the stored triangle of a symmetric file is mirrored: what the library must hold.
  long stored = 0;
  Symmetry symmetry = Symmetry::General;
  ComplexForm form = ComplexForm::Token;
};

// Receives each value as the library reads it, 1-based; an array value k sits at row k + 1.
using EntrySink = std::function<void(long row, long col, double re, double im)>;

// A coordinate file: optional banner, size line "rows cols entries", then one entry a line with
// 1-based indices in range, no coordinate twice (counting mirrored ones), every value decimal
// and finite. Pattern files are refused.
MatrixMarketFile checkCoordinateFile(const std::string& path, ValueKind kind, const EntrySink& sink = {});

// An array file: optional banner, size line "rows [cols]", then rows * cols values.
MatrixMarketFile checkArrayFile(const std::string& path, ValueKind kind, const EntrySink& sink = {});

}  // namespace velmo::driver
