#pragma once

#include <stdexcept>
#include <string>

// The library's Matrix Market readers are lenient by design; the driver checks a file first
// so that a malformed one is reported with its name and line instead of read as garbage.
namespace velmo::driver {

struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class ValueKind { Real, Complex };

struct MatrixMarketShape {
  long rows = 0;
  long cols = 0;
  long entries = 0;
};

// A coordinate file: size line "rows cols entries", then one entry a line, 1-based and in range.
MatrixMarketShape checkCoordinateFile(const std::string& path, ValueKind kind, bool strict);

// An array file: size line "rows [cols]", then rows * cols values.
MatrixMarketShape checkArrayFile(const std::string& path, ValueKind kind, bool strict);

}  // namespace velmo::driver
