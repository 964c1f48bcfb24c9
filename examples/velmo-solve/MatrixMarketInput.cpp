#include "MatrixMarketInput.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>

namespace velmo::driver {

namespace {

const char* const kVectorKeys[] = {"filename_b", "filename_x"};

std::string symmetryName(Symmetry symmetry) {
  switch (symmetry) {
    case Symmetry::Symmetric:
      return "symmetric";
    case Symmetry::SkewSymmetric:
      return "skew-symmetric";
    case Symmetry::Hermitian:
      return "Hermitian";
    default:
      return "general";
  }
}

}  // namespace

MatrixMarketInput::MatrixMarketInput(const json& params, ValueKind kind) : m_params(params), m_kind(kind) {
  m_fileA = params["filename_A"].get<std::string>();
  m_A = checkCoordinateFile(m_fileA, kind);
  if (m_A.rows != m_A.cols) {
    throw InputError(m_fileA + ": the matrix is " + std::to_string(m_A.rows) + " x " + std::to_string(m_A.cols) +
                     "; a square matrix is needed");
  }
  std::vector<std::pair<const char*, MatrixMarketFile>> vectors;
  for (const char* key : kVectorKeys) {
    const std::string path = params.value(key, std::string());
    if (path.empty()) continue;
    MatrixMarketFile v = checkArrayFile(path, kind);
    if (v.rows != m_A.rows || v.cols != 1) {
      throw InputError(path + ": a vector of " + std::to_string(m_A.rows) + " rows is needed, the file holds " +
                       std::to_string(v.rows) + " x " + std::to_string(v.cols));
    }
    vectors.emplace_back(key, v);
  }

  const bool expand = m_A.symmetry != Symmetry::General;
  bool columns = m_A.form == ComplexForm::Columns || expand;
  for (const auto& v : vectors) columns = columns || v.second.form == ComplexForm::Columns;
  m_strict = kind == ValueKind::Complex && columns;

  if (expand || (m_strict && m_A.form == ComplexForm::Token)) copy("filename_A", m_A, true);
  for (const auto& [key, v] : vectors) {
    if (m_strict && v.form == ComplexForm::Token) copy(key, v, false);
  }
  if (expand) m_note = ", " + symmetryName(m_A.symmetry) + " file expanded from its stored triangle";
}

MatrixMarketInput::~MatrixMarketInput() {
  for (const auto& path : m_copies) std::remove(path.c_str());
}

void MatrixMarketInput::copy(const char* key, const MatrixMarketFile& file, bool coordinate) {
  const std::string from = m_params[key].get<std::string>();
  std::string to = (std::filesystem::temp_directory_path() / "velmo-solve-XXXXXX").string();
  const int fd = mkstemp(to.data());
  if (fd < 0) throw InputError("cannot create a copy of " + from + ": " + std::strerror(errno));
  close(fd);
  m_copies.push_back(to);

  const bool complex = m_kind == ValueKind::Complex;
  std::ofstream out(to);
  out << "%%MatrixMarket matrix " << (coordinate ? "coordinate " : "array ") << (complex ? "complex" : "real")
      << " general\n"
      << file.rows << ' ' << file.cols;
  if (coordinate) out << ' ' << file.stored;
  out << '\n' << std::setprecision(17);
  auto write = [&](long row, long col, double re, double im) {
    if (coordinate) out << row << ' ' << col << ' ';
    out << re;
    if (complex) out << ' ' << im;
    out << '\n';
  };
  if (coordinate) {
    checkCoordinateFile(from, m_kind, write);
  } else {
    checkArrayFile(from, m_kind, write);
  }
  out.close();
  if (!out) throw InputError("cannot write a copy of " + from + " to " + to);
  m_params[key] = to;
}

void MatrixMarketInput::checkLoaded(long rows, long nnzs, long bRows, long xRows) const {
  if (rows != m_A.rows || nnzs != m_A.stored) {
    throw InputError(m_fileA + ": the library loaded " + std::to_string(rows) + " rows and " + std::to_string(nnzs) +
                     " entries of the " + std::to_string(m_A.rows) + " and " + std::to_string(m_A.stored) +
                     " in the file");
  }
  if (bRows != rows || xRows != rows) {
    throw InputError("the library loaded vectors of " + std::to_string(bRows) + " and " + std::to_string(xRows) +
                     " rows for a matrix of " + std::to_string(rows));
  }
}

}  // namespace velmo::driver
