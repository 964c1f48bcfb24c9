#include "MatrixMarketCheck.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

namespace velmo::driver {

namespace {

class LineReader {
 public:
  explicit LineReader(const std::string& path) : m_path(path), m_in(path) {
    if (!m_in) throw InputError(path + ": cannot open: " + std::strerror(errno));
  }

  // The next line that is neither empty nor a comment, split on blanks; false at the end.
  bool next(std::vector<std::string>& tokens) {
    std::string line;
    while (std::getline(m_in, line)) {
      ++m_line;
      if (line.empty() || line[0] == '%') continue;
      std::istringstream words(line);
      tokens.clear();
      for (std::string w; words >> w;) tokens.push_back(w);
      if (!tokens.empty()) return true;
    }
    return false;
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw InputError(m_path + ":" + std::to_string(m_line) + ": " + what);
  }

  long integer(const std::string& token, const char* what) const {
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(token.c_str(), &end, 10);
    if (token.empty() || *end != '\0' || errno == ERANGE) fail(std::string("bad ") + what + " '" + token + "'");
    return v;
  }

 private:
  std::string m_path;
  std::ifstream m_in;
  long m_line = 0;
};

bool isNumber(const char* text, const char** rest) {
  char* end = nullptr;
  std::strtod(text, &end);
  *rest = end;
  return end != text;
}

// One token per value: a real number, or for a complex in the library's own form
// "re", "re+jim" or "re-jim".
bool isLibraryValue(const std::string& token, ValueKind kind) {
  const char* rest = nullptr;
  if (!isNumber(token.c_str(), &rest)) return false;
  if (*rest == '\0') return true;
  if (kind != ValueKind::Complex || (rest[0] != '+' && rest[0] != '-') || rest[1] != 'j') return false;
  const char* tail = nullptr;
  return isNumber(rest + 2, &tail) && *tail == '\0';
}

// Checks the value tokens from `first` on; returns how many values they hold.
long countValues(const LineReader& reader, const std::vector<std::string>& tokens, size_t first,
                 ValueKind kind, bool strict) {
  const bool pairs = kind == ValueKind::Complex && strict;
  for (size_t t = first; t < tokens.size(); ++t) {
    const char* rest = nullptr;
    bool ok = pairs ? isNumber(tokens[t].c_str(), &rest) && *rest == '\0' : isLibraryValue(tokens[t], kind);
    if (!ok) reader.fail("bad value '" + tokens[t] + "'");
  }
  long n = long(tokens.size() - first);
  if (pairs && n % 2 != 0) reader.fail("a complex value needs a real and an imaginary part");
  return pairs ? n / 2 : n;
}

}  // namespace

MatrixMarketShape checkCoordinateFile(const std::string& path, ValueKind kind, bool strict) {
  LineReader reader(path);
  std::vector<std::string> tokens;
  if (!reader.next(tokens)) reader.fail("no size line");
  if (tokens.size() != 3) reader.fail("the size line of a coordinate file needs rows, cols and entries");
  MatrixMarketShape shape{reader.integer(tokens[0], "row count"), reader.integer(tokens[1], "column count"),
                          reader.integer(tokens[2], "entry count")};
  if (shape.rows <= 0 || shape.cols <= 0 || shape.entries < 0) reader.fail("sizes must be positive");
  for (long e = 0; e < shape.entries; ++e) {
    if (!reader.next(tokens)) {
      reader.fail("the size line announces " + std::to_string(shape.entries) + " entries, found " +
                  std::to_string(e));
    }
    if (tokens.size() < 3) reader.fail("an entry needs a row, a column and a value");
    long row = reader.integer(tokens[0], "row");
    long col = reader.integer(tokens[1], "column");
    if (row < 1 || row > shape.rows) reader.fail("row " + tokens[0] + " out of range 1.." + std::to_string(shape.rows));
    if (col < 1 || col > shape.cols) reader.fail("column " + tokens[1] + " out of range 1.." + std::to_string(shape.cols));
    if (countValues(reader, tokens, 2, kind, strict) != 1) {
      reader.fail(kind == ValueKind::Complex && !strict
                      ? "one value expected (a complex file with separate real and imaginary columns needs "
                        "VELMO_STRICT_MATRIX_MARKET=1)"
                      : "one value expected");
    }
  }
  if (reader.next(tokens)) reader.fail("more entries than the size line announces");
  return shape;
}

MatrixMarketShape checkArrayFile(const std::string& path, ValueKind kind, bool strict) {
  LineReader reader(path);
  std::vector<std::string> tokens;
  if (!reader.next(tokens)) reader.fail("no size line");
  if (tokens.size() != 1 && tokens.size() != 2) reader.fail("the size line of an array file needs rows and cols");
  MatrixMarketShape shape;
  shape.rows = reader.integer(tokens[0], "row count");
  shape.cols = tokens.size() == 2 ? reader.integer(tokens[1], "column count") : 1;
  if (shape.rows <= 0 || shape.cols <= 0) reader.fail("sizes must be positive");
  const long expected = shape.rows * shape.cols;
  while (shape.entries < expected && reader.next(tokens)) shape.entries += countValues(reader, tokens, 0, kind, strict);
  if (shape.entries != expected || reader.next(tokens)) {
    reader.fail("expected " + std::to_string(expected) + " values, found " +
                (shape.entries == expected ? "more" : std::to_string(shape.entries)));
  }
  return shape;
}

}  // namespace velmo::driver
