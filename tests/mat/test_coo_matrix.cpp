#include <sstream>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/COOMatrix.h"

namespace coo_matrix_test {

using namespace velmo;
using namespace velmo::test;

template <class V>
CSRMatrixT<V, int> loadCsr(const std::string& text) {
  std::istringstream in(text);
  CSRMatrixT<V, int> m;
  m.loadFromStream(in);
  return m;
}

TEST(MatrixMarketCoordinate, BannerCommentsRepeatsAndOneBasedIndices) {
  const std::string text =
      "%%MatrixMarket matrix coordinate real general\n"
      "% a comment\n"
      "\n"
      "3 4 5\n"
      "1 1 1.5\n"
      "3 4 -2\n"
      "1 1 7\n"  // repeated: the last value wins
      "2 2 3e+00\n"
      "1 3\n 4.25\n";  // line ends carry no meaning
  auto m = loadCsr<double>(text);
  EXPECT_EQ(m.getRows(), 3);
  EXPECT_EQ(m.getNnzs(), 4);
  m.check(false);
  EXPECT_EQ(toDense(m), (std::vector<double>{7, 0, 4.25, 0, 0, 3, 0, 0, 0, 0, 0, -2}));
}

// The library writes scientific values for every type; integer matrices must read them back.
TEST(MatrixMarketCoordinate, SymmetricBannerAndIntegerValues) {
  auto triangle = loadCsr<float>("%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 4\n2 1 -1\n");
  EXPECT_EQ(toDense(triangle), (std::vector<float>{4, 0, -1, 0}));  // the stored triangle only
  auto integers = loadCsr<long>("2 2 2\n1 2 3.000000e+00\n2 1 -1.200000e+01\n");
  EXPECT_EQ(toDense(integers), (std::vector<long>{0, 3, -12, 0}));
}

TEST(MatrixMarketCoordinate, ComplexForms) {
  const std::string own = "2 2 3\n1 1 1-j-2\n1 2 3+j4\n2 2 5\n";
  {
    ScopedEnv mode("VELMO_STRICT_MATRIX_MARKET", nullptr);
    auto m = loadCsr<Complex<double>>(own);
    // "-j" negates the number that follows, so 1-j-2 reads as 1+2j.
    EXPECT_EQ(toDense(m), (std::vector<Complex<double>>{{1, 2}, {3, 4}, {0, 0}, {5, 0}}));
    // The form at the very end of the input, without a line end.
    auto last = loadCsr<Complex<float>>("1 1 1\n1 1 2-j3");
    EXPECT_EQ(toDense(last), (std::vector<Complex<float>>{{2, -3}}));
  }
  {
    ScopedEnv mode("VELMO_STRICT_MATRIX_MARKET", "1");
    auto m = loadCsr<Complex<double>>("%%MatrixMarket matrix coordinate complex general\n2 1 2\n1 1 1 -2\n2 1 0.5 3\n");
    EXPECT_EQ(toDense(m), (std::vector<Complex<double>>{{1, -2}, {0.5, 3}}));
  }
}

TEST(MatrixMarketCoordinate, NothingToRead) {
  // Comments alone leave zero rows, and toCSR leaves its target alone.
  std::istringstream comments("%%MatrixMarket matrix coordinate real general\n% nothing\n");
  COOMatrixT<double, int, int> coo;
  coo.loadFromStream(comments);
  EXPECT_EQ(coo.getRows(), 0);
  auto target = makeCsr<double>({1, 1, {0, 1}, {0}, {9}});
  coo.toCSR(target);
  EXPECT_EQ(target.getNnzs(), 1);
  // A stream already failed is not read at all.
  std::istringstream failed("2 2 1\n1 1 1\n");
  failed.setstate(std::ios::failbit);
  target.loadFromStream(failed);
  EXPECT_EQ(target.getNnzs(), 1);
  // A size line without entries gives empty rows, not garbage offsets.
  auto empty = loadCsr<double>("3 3 0\n");
  EXPECT_EQ(empty.getRows(), 3);
  empty.check(true);
}

// Rows beyond the declared count and row 0 (which becomes -1) stay in the table but never
// reach the compressed form.
TEST(MatrixMarketCoordinate, RowsOutsideTheMatrixAreDropped) {
  std::istringstream in("2 2 3\n0 1 5\n3 1 6\n2 2 7\n");
  COOMatrixT<double, int, int> coo;
  coo.loadFromStream(in);
  EXPECT_EQ(coo.getRowMaps().size(), 3u);
  CSRMatrixT<double, int> m;
  m.create(coo.getRows(), coo.getCols(), 0, kHost);
  coo.toCSR(m);
  EXPECT_EQ(toDense(m), (std::vector<double>{0, 0, 0, 7}));
}

TEST(COOMatrix, SplitRowsSharesRowsUnderLocalNumbers) {
  COOMatrixT<double, long, long> coo;
  coo.create(6, 8);
  coo.setValue(0, 7, 1.0, 0);
  coo.setValue(5, 2, 2.0, 0);
  PartitionerT<long, int> rows;
  rows.create(6, comu::kCommSelf);
  auto parts = coo.splitRows(rows);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_EQ(parts[0].getRowMaps().at(5), coo.getRowMaps().at(5));  // moved by pointer
  // Columns stay global until the conversion narrows them.
  CSRMatrixT<double, int> local;
  parts[0].toCSR(local);
  EXPECT_EQ(hostOf(local).col, (std::vector<int>{7, 2}));
}

}  // namespace coo_matrix_test
