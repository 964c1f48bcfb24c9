#pragma once

#include <string>
#include <vector>

#include "MatrixMarketCheck.h"
#include "utils/Factory.h"

namespace velmo::driver {

// The Matrix Market files of one problem, read by the driver before the library reads them.
// The library's reader is literal: it loads only the stored triangle of a symmetric,
// skew-symmetric or Hermitian file, and reads complex values in one form per run, chosen by
// VELMO_STRICT_MATRIX_MARKET. So the driver hands the library a general copy of such a matrix,
// and picks the complex form from the files themselves, copying a file that differs into the
// standard form.
class MatrixMarketInput {
 public:
  // `params`: "MatrixMarket_params", whose file names are strings.
  MatrixMarketInput(const json& params, ValueKind kind);
  ~MatrixMarketInput();
  MatrixMarketInput(const MatrixMarketInput&) = delete;
  MatrixMarketInput& operator=(const MatrixMarketInput&) = delete;

  // `params` naming the copies where the library is to read them.
  const json& libraryParams() const { return m_params; }
  // Whether the library is to read complex values in the standard two-column form.
  bool strict() const { return m_strict; }
  // What was done to the matrix, for the problem line; empty when nothing.
  const std::string& note() const { return m_note; }
  // Throws InputError unless the library holds as many rows and entries as the files.
  void checkLoaded(long rows, long nnzs, long bRows, long xRows) const;

 private:
  // Writes a general copy of the file under `key` in the standard form, and names the copy there.
  void copy(const char* key, const MatrixMarketFile& file, bool coordinate);

  json m_params;
  ValueKind m_kind;
  bool m_strict = false;
  std::string m_note;
  std::string m_fileA;
  MatrixMarketFile m_A;
  std::vector<std::string> m_copies;
};

}  // namespace velmo::driver
