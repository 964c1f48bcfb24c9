#include <gtest/gtest.h>

#include <string>

#include "MatrixMarketCheck.h"
#include "TestHelpers.h"

namespace matrix_market_check_test {

using namespace velmo::driver;
using velmo::test::writeFile;

// The message names the file and the line, and says what is wrong.
void expectError(const std::string& path, const std::string& where, const std::string& what,
                 bool coordinate = true, ValueKind kind = ValueKind::Real, bool strict = false) {
  try {
    if (coordinate) {
      checkCoordinateFile(path, kind, strict);
    } else {
      checkArrayFile(path, kind, strict);
    }
    ADD_FAILURE() << "no error for " << path;
  } catch (const InputError& e) {
    std::string msg = e.what();
    EXPECT_NE(msg.find(path + ":" + where + ": "), std::string::npos) << msg;
    EXPECT_NE(msg.find(what), std::string::npos) << msg;
  }
}

TEST(CoordinateCheck, AcceptsFilesWrittenByOtherSoftware) {
  auto path = writeFile("sym.mtx",
                        "%%MatrixMarket matrix coordinate real symmetric\n"
                        "% written elsewhere\n"
                        "3 3 4\n1 1 4.0\n2 1 -1\n\n3 3 2.5e+00\n3 2 -1\n");
  auto shape = checkCoordinateFile(path, ValueKind::Real, false);
  EXPECT_EQ(shape.rows, 3);
  EXPECT_EQ(shape.entries, 4);
  auto complexPath = writeFile("c.mtx", "2 2 2\n1 1 1+j2\n2 2 1-j-2\n");
  EXPECT_EQ(checkCoordinateFile(complexPath, ValueKind::Complex, false).entries, 2);
  auto strictPath = writeFile("cs.mtx", "2 2 1\n1 2 1.0 -2.0\n");
  EXPECT_EQ(checkCoordinateFile(strictPath, ValueKind::Complex, true).entries, 1);
}

TEST(CoordinateCheck, NamesFileAndLineOfTheFault) {
  expectError(writeFile("size.mtx", "%c\n3 3\n"), "2", "rows, cols and entries");
  expectError(writeFile("neg.mtx", "3 -3 1\n"), "1", "positive");
  expectError(writeFile("word.mtx", "3 x 1\n"), "1", "bad column count 'x'");
  expectError(writeFile("row.mtx", "3 3 2\n1 1 1\n4 1 1\n"), "3", "row 4 out of range 1..3");
  expectError(writeFile("col.mtx", "3 3 1\n1 0 1\n"), "2", "column 0 out of range");
  expectError(writeFile("val.mtx", "3 3 1\n1 1 abc\n"), "2", "bad value 'abc'");
  expectError(writeFile("few.mtx", "3 3 3\n1 1 1\n"), "2", "announces 3 entries, found 1");
  expectError(writeFile("many.mtx", "3 3 1\n1 1 1\n2 2 2\n"), "3", "more entries");
  expectError(writeFile("pair.mtx", "2 2 1\n1 1 1.0 2.0\n"), "2", "VELMO_STRICT_MATRIX_MARKET=1", true,
              ValueKind::Complex, false);
  expectError(writeFile("missing-part.mtx", "2 2 1\n1 1 1.0\n"), "2", "real and an imaginary part", true,
              ValueKind::Complex, true);
  EXPECT_THROW(checkCoordinateFile(testing::TempDir() + "absent.mtx", ValueKind::Real, false), InputError);
}

TEST(ArrayCheck, CountsValuesAcrossLines) {
  auto column = writeFile("b.mtx", "%%MatrixMarket matrix array real general\n3\n1\n2 3\n");
  auto shape = checkArrayFile(column, ValueKind::Real, false);
  EXPECT_EQ(shape.rows, 3);
  EXPECT_EQ(shape.cols, 1);
  expectError(writeFile("short.mtx", "3 1\n1\n2\n"), "3", "expected 3 values, found 2", false);
  expectError(writeFile("long.mtx", "2 1\n1\n2\n3\n"), "4", "found more", false);
  expectError(writeFile("shape.mtx", "2 1 5\n"), "1", "rows and cols", false);
}

}  // namespace matrix_market_check_test
