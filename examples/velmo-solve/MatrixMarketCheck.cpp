#include "MatrixMarketCheck.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "ProblemSize.h"

namespace velmo::driver {

namespace {

class LineReader {
 public:
  explicit LineReader(const std::string& path) : m_path(path), m_in(path) {
    if (!m_in) throw InputError(path + ": cannot open: " + std::strerror(errno));
  }

  bool next(std::string& line) {
    if (!std::getline(m_in, line)) return false;
    ++m_line;
    return true;
  }

  long line() const { return m_line; }

  [[noreturn]] void failAt(long line, const std::string& what) const {
    throw InputError(m_path + ":" + std::to_string(line) + ": " + what);
  }
  [[noreturn]] void fail(const std::string& what) const { failAt(m_line, what); }

 private:
  std::string m_path;
  std::ifstream m_in;
  long m_line = 0;
};

std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> tokens;
  for (std::string w; in >> w;) tokens.push_back(w);
  return tokens;
}

// The array reader splits its size line on runs of blanks and tabs, so a blank at either end
// makes an empty token, which it cannot take.
std::vector<std::string> arraySizeWords(std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  std::vector<std::string> split;
  size_t start = 0;
  while (true) {
    const size_t end = line.find_first_of(" \t", start);
    split.push_back(line.substr(start, end - start));
    if (end == std::string::npos) return split;
    start = line.find_first_not_of(" \t", end);
    if (start == std::string::npos) {
      split.emplace_back();
      return split;
    }
  }
}

long count(const LineReader& reader, const std::string& token, const char* what) {
  errno = 0;
  const long v = std::strtol(token.c_str(), nullptr, 10);
  if (token.empty() || !std::all_of(token.begin(), token.end(), ::isdigit) || errno == ERANGE) {
    reader.fail(std::string("bad ") + what + " '" + token + "'");
  }
  return v;
}

// The end of the number at `p` if the library's stream extraction takes it whole: a sign,
// digits with at most one point, an optional exponent, and a finite value. Hexadecimal,
// "nan", "inf" and overflowing exponents stop that extraction part-way.
const char* decimal(const char* p, double& value) {
  const char* start = p;
  if (*p == '+' || *p == '-') ++p;
  int digits = 0;
  for (; std::isdigit(static_cast<unsigned char>(*p)); ++p) ++digits;
  if (*p == '.') {
    for (++p; std::isdigit(static_cast<unsigned char>(*p)); ++p) ++digits;
  }
  if (digits == 0) return nullptr;
  if (*p == 'e' || *p == 'E') {
    ++p;
    if (*p == '+' || *p == '-') ++p;
    if (!std::isdigit(static_cast<unsigned char>(*p))) return nullptr;
    while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
  }
  value = std::strtod(start, nullptr);
  return std::isfinite(value) ? p : nullptr;
}

// One value token; a complex one in the library's own form may carry "+j" or "-j" and an
// imaginary number, which the library negates after "-j".
bool tokenValue(const std::string& token, ValueKind kind, double& re, double& im) {
  im = 0;
  const char* rest = decimal(token.c_str(), re);
  if (rest == nullptr) return false;
  if (*rest == '\0') return true;
  if (kind != ValueKind::Complex || (rest[0] != '+' && rest[0] != '-') || rest[1] != 'j') return false;
  const char* end = decimal(rest + 2, im);
  if (end == nullptr || *end != '\0') return false;
  if (rest[0] == '-') im = -im;
  return true;
}

double plainValue(const LineReader& reader, const std::string& token) {
  double v = 0;
  const char* end = decimal(token.c_str(), v);
  if (end == nullptr || *end != '\0') reader.fail("bad value '" + token + "'");
  return v;
}

struct Banner {
  std::string format;  // empty without a banner
  Symmetry symmetry = Symmetry::General;
};

// Reads the banner, if the file has one, and the comments up to the size line, which the
// library takes to be the first line that is neither empty nor starts with '%'.
std::string readHeader(LineReader& reader, ValueKind kind, const char* format, Banner& banner) {
  std::string line;
  while (reader.next(line)) {
    if (reader.line() == 1 && line.rfind("%%MatrixMarket", 0) == 0) {
      auto w = words(line);
      for (auto& word : w) std::transform(word.begin(), word.end(), word.begin(), ::tolower);
      if (w.size() != 5 || w[1] != "matrix") reader.fail("the banner needs 'matrix', a format, a field and a symmetry");
      banner.format = w[2];
      if (banner.format != format) {
        reader.fail(std::string(format) + " file needed here, the banner says '" + w[2] + "'");
      }
      const std::string& field = w[3];
      if (field == "pattern") reader.fail("a pattern file holds no values; velmo-solve needs a real or complex matrix");
      if (field == "complex" && kind == ValueKind::Real) {
        reader.fail("the file holds complex values; set \"value_type\": \"complex\"");
      }
      if (field != "real" && field != "double" && field != "integer" && field != "complex") {
        reader.fail("unknown field '" + field + "'");
      }
      const std::string& symmetry = w[4];
      if (symmetry == "symmetric") {
        banner.symmetry = Symmetry::Symmetric;
      } else if (symmetry == "skew-symmetric") {
        banner.symmetry = Symmetry::SkewSymmetric;
      } else if (symmetry == "hermitian") {
        banner.symmetry = Symmetry::Hermitian;
      } else if (symmetry != "general") {
        reader.fail("unknown symmetry '" + symmetry + "'");
      }
      continue;
    }
    if (!line.empty() && line[0] != '%') return line;
  }
  if (reader.line() == 0) reader.failAt(1, "the file is empty");
  reader.fail("no size line");
}

// Lines after the size line: the library reads them free-format, so a blank line is harmless
// but a comment is read as numbers.
bool nextData(LineReader& reader, std::vector<std::string>& tokens) {
  std::string line;
  while (reader.next(line)) {
    if (!line.empty() && line[0] == '%') reader.fail("a comment after the size line, which the library cannot read");
    tokens = words(line);
    if (!tokens.empty()) return true;
  }
  return false;
}

long index(const LineReader& reader, const std::string& token, long limit, const char* what) {
  long v = count(reader, token, what);
  if (v < 1 || v > limit) reader.fail(std::string(what) + " " + token + " out of range 1.." + std::to_string(limit));
  return v;
}

struct Coordinate {
  std::uint64_t key;
  long line;
  bool operator<(const Coordinate& o) const { return key != o.key ? key < o.key : line < o.line; }
};

}  // namespace

MatrixMarketFile checkCoordinateFile(const std::string& path, ValueKind kind, const EntrySink& sink) {
  LineReader reader(path);
  Banner banner;
  auto size = words(readHeader(reader, kind, "coordinate", banner));
  const long sizeLine = reader.line();
  if (size.size() != 3) reader.fail("the size line of a coordinate file needs rows, cols and entries");
  MatrixMarketFile file;
  file.rows = count(reader, size[0], "row count");
  file.cols = count(reader, size[1], "column count");
  file.entries = count(reader, size[2], "entry count");
  file.symmetry = banner.symmetry;
  const bool mirrored = file.symmetry != Symmetry::General;
  if (file.rows < 1 || file.cols < 1 || file.entries < 1) reader.fail("rows, columns and entries must be positive");
  if (file.rows > kMaxLocalIndex || file.cols > kMaxLocalIndex || file.entries > kMaxLocalIndex) {
    reader.fail("sizes beyond " + std::to_string(kMaxLocalIndex) + " do not fit the 32-bit local index");
  }
  checkMemory(file.rows, file.entries * (mirrored ? 2 : 1), kind == ValueKind::Real ? 8 : 16,
              path + ":" + std::to_string(sizeLine));

  std::vector<Coordinate> coordinates;
  std::vector<std::string> tokens;
  for (long e = 0; e < file.entries; ++e) {
    if (!nextData(reader, tokens)) {
      reader.fail("the size line announces " + std::to_string(file.entries) + " entries, found " + std::to_string(e));
    }
    if (e == 0 && kind == ValueKind::Complex && tokens.size() == 4) file.form = ComplexForm::Columns;
    const bool columns = file.form == ComplexForm::Columns;
    if (tokens.size() != (columns ? 4u : 3u)) {
      reader.fail(columns ? "an entry needs a row, a column, a real and an imaginary part, as the first entry has"
                          : "an entry needs a row, a column and one value");
    }
    const long row = index(reader, tokens[0], file.rows, "row");
    const long col = index(reader, tokens[1], file.cols, "column");
    double re = 0, im = 0;
    if (columns) {
      re = plainValue(reader, tokens[2]);
      im = plainValue(reader, tokens[3]);
    } else if (!tokenValue(tokens[2], kind, re, im)) {
      reader.fail("bad value '" + tokens[2] + "'");
    }
    coordinates.push_back({std::uint64_t(row - 1) * std::uint64_t(file.cols) + std::uint64_t(col - 1), reader.line()});
    if (sink) sink(row, col, re, im);
    if (!mirrored || row == col) continue;
    coordinates.push_back({std::uint64_t(col - 1) * std::uint64_t(file.cols) + std::uint64_t(row - 1), reader.line()});
    if (!sink) continue;
    if (file.symmetry == Symmetry::Symmetric) sink(col, row, re, im);
    if (file.symmetry == Symmetry::SkewSymmetric) sink(col, row, -re, -im);
    if (file.symmetry == Symmetry::Hermitian) sink(col, row, re, -im);
  }
  if (nextData(reader, tokens)) reader.fail("more entries than the size line announces");

  // The library keeps the last of repeated coordinates where other tools add them up.
  std::sort(coordinates.begin(), coordinates.end());
  for (size_t i = 1; i < coordinates.size(); ++i) {
    if (coordinates[i].key != coordinates[i - 1].key) continue;
    const long row = long(coordinates[i].key / std::uint64_t(file.cols)) + 1;
    const long col = long(coordinates[i].key % std::uint64_t(file.cols)) + 1;
    reader.failAt(coordinates[i].line, "entry (" + std::to_string(row) + ", " + std::to_string(col) +
                                           ") is also given at line " + std::to_string(coordinates[i - 1].line) +
                                           (mirrored ? ", counting the mirrored triangle" : ""));
  }
  file.stored = long(coordinates.size());
  if (file.stored > kMaxLocalIndex) {
    reader.failAt(sizeLine, std::to_string(file.stored) + " entries do not fit the 32-bit local index");
  }
  return file;
}

MatrixMarketFile checkArrayFile(const std::string& path, ValueKind kind, const EntrySink& sink) {
  LineReader reader(path);
  Banner banner;
  auto size = arraySizeWords(readHeader(reader, kind, "array", banner));
  if (banner.symmetry != Symmetry::General) reader.failAt(1, "an array file here must be general");
  if (size.size() != 1 && size.size() != 2) reader.fail("the size line of an array file needs rows and cols");
  MatrixMarketFile file;
  file.rows = count(reader, size[0], "row count");
  file.cols = size.size() == 2 ? count(reader, size[1], "column count") : 1;
  if (file.rows < 1 || file.cols < 1) reader.fail("sizes must be positive");
  if (file.rows > kMaxLocalIndex || file.cols > kMaxLocalIndex) {
    reader.fail("sizes beyond " + std::to_string(kMaxLocalIndex) + " do not fit the 32-bit local index");
  }
  const long expected = file.rows * file.cols;
  std::vector<std::string> tokens;
  bool first = true, halfValue = false;
  double re = 0, im = 0;
  while (nextData(reader, tokens)) {
    if (first && kind == ValueKind::Complex && tokens.size() == 2 &&
        tokens[0].find('j') == std::string::npos && tokens[1].find('j') == std::string::npos) {
      file.form = ComplexForm::Columns;
    }
    first = false;
    for (const std::string& token : tokens) {
      if (file.entries == expected) reader.fail("more values than the size line announces");
      if (file.form == ComplexForm::Columns) {
        (halfValue ? im : re) = plainValue(reader, token);
        halfValue = !halfValue;
        if (halfValue) continue;
      } else if (!tokenValue(token, kind, re, im)) {
        reader.fail("bad value '" + token + "'");
      }
      if (sink) sink(file.entries + 1, 1, re, im);
      ++file.entries;
    }
  }
  if (file.entries != expected || halfValue) {
    reader.fail("expected " + std::to_string(expected) + " values, found " + std::to_string(file.entries) +
                (halfValue ? " and a real part alone" : ""));
  }
  file.stored = file.entries;
  return file;
}

}  // namespace velmo::driver
