#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace velmo::driver {

// The library reads and writes complex values in the standard two-column form when
// VELMO_STRICT_MATRIX_MARKET is 1 and in its own form otherwise, looking at the variable on each
// call. The driver sets it for one load or save and puts the caller's setting back after.
class MatrixMarketMode {
 public:
  explicit MatrixMarketMode(bool strict) {
    if (const char* old = std::getenv(kName)) m_saved = old;
    setenv(kName, strict ? "1" : "0", 1);
  }
  ~MatrixMarketMode() {
    if (m_saved) {
      setenv(kName, m_saved->c_str(), 1);
    } else {
      unsetenv(kName);
    }
  }
  MatrixMarketMode(const MatrixMarketMode&) = delete;
  MatrixMarketMode& operator=(const MatrixMarketMode&) = delete;

 private:
  static constexpr const char* kName = "VELMO_STRICT_MATRIX_MARKET";
  std::optional<std::string> m_saved;
};

}  // namespace velmo::driver
