#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"

namespace par_io_test {

using namespace velmo;
using test::kHost;
using test::partsOf;

using Csr = CSRMatrixT<double, int>;
using ParCsr = ParCSRMatrixT<double, long, int>;

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool exists(const std::string& path) { return std::ifstream(path).good(); }

// 3 rows by 5 columns in two column parts (3 + 2); part 1 holds (0,4) = 2 and (2,3) = -0.5.
ParCsr twoPartMatrix() {
  ParCsr A;
  A.create(partsOf<long>(3, 1), partsOf<long>(5, 2),
           {test::makeCsr(test::HostCsr<double>(3, 3, {{{1, 1.5}}, {}, {{0, 3}, {2, 4}}})),
            test::makeCsr(test::HostCsr<double>(3, 2, {{{1, 2}}, {}, {{0, -0.5}}}))},
           kHost);
  return A;
}

TEST(ParCSRFiles, OneCoordinateFilePerBlockThatLoadsBack) {
  const ParCsr A = twoPartMatrix();
  const std::string dir = ::testing::TempDir();
  A.saveToFile(dir + "io.mtx");
  EXPECT_EQ(readFile(dir + "io.part0+1.1.mtx"),
            "%%MatrixMarket matrix coordinate real general\n"
            "3 2 2\n"
            "1 2 2.000000e+00\n"
            "3 1 -5.000000e-01\n");

  for (int block : {0, 1}) {
    ParCsr loaded;
    loaded.loadFromFile(dir + "io.part0+" + std::to_string(block) + ".1.mtx");
    EXPECT_EQ(loaded.getComm(), 0x44000000);
    EXPECT_EQ(test::toDense(loaded.getLocalMatrix()), test::toDense(A.getLocalMatrix(block))) << block;
  }

  // Without ".mtx" the whole name is the base; without blocks there is no file at all.
  twoPartMatrix().saveToFile(dir + "plain");
  EXPECT_TRUE(exists(dir + "plain.part0+0.1.mtx"));
  ParCsr empty;
  empty.create(4, 4, kHost);
  empty.saveToFile(dir + "none.mtx");
  EXPECT_FALSE(exists(dir + "none.part0+0.1.mtx"));

  // A missing file, or a stream that has already failed, leaves the matrix as it was.
  ParCsr kept = twoPartMatrix();
  kept.loadFromFile(dir + "missing.mtx");
  EXPECT_EQ(kept.getNnzs(), 5);
  EXPECT_EQ(kept.getComm(), comu::kCommSelf);
}

TEST(ParCSRFiles, StreamDumpShowsEveryBlockDense) {
  std::ostringstream out;
  twoPartMatrix().saveToStream(out);
  const std::string head =
      "the matrix for process 0/1 is\n"
      "block 0\n"
      "%%MatrixMarket matrix array real general\n"
      "3 3\n"
      "0.000000e+00 1.500000e+00 0.000000e+00\n";
  EXPECT_EQ(out.str().substr(0, head.size()), head);
  EXPECT_NE(out.str().find("block 1\n%%MatrixMarket matrix array real general\n3 2\n"), std::string::npos);
}

TEST(ParCSRGatherScatter, RoundTripsTheWholeMatrix) {
  const auto h = test::randomCsr<double>(9, 6, 0.4, 3);
  ParCsr A;
  A.scatter(0, comu::kCommSelf, test::makeCsr(h));
  EXPECT_EQ(A.getRows(), 9);
  EXPECT_EQ(A.getCols(), 6);
  EXPECT_EQ(test::toDense(A.gather(0)), h.dense());

  // Several column parts are joined side by side.
  EXPECT_EQ(test::toDense(twoPartMatrix().gather(0)),
            (std::vector<double>{0, 1.5, 0, 0, 2, 0, 0, 0, 0, 0, 3, 0, 4, -0.5, 0}));

  ParCsr none;
  none.scatter(0, comu::kCommSelf, Csr());
  EXPECT_EQ(none.getNnzs(), 0);
  EXPECT_EQ(none.gather(0).getRows(), 0);
}

TEST(ParMatrixFiles, ArrayFileGatherAndScatter) {
  using ParDense = ParMatrixT<float, int, int>;
  const ParDense x = test::parDense<float, int>(3, 2, {1, 2, 3, 4, 5, 6});
  const std::string dir = ::testing::TempDir();
  x.saveToFile(dir + "vec.mtx");
  EXPECT_EQ(readFile(dir + "vec.part0+0.1.mtx"),
            "%%MatrixMarket matrix array real general\n3 2\n"
            "1.000000e+00 2.000000e+00\n3.000000e+00 4.000000e+00\n5.000000e+00 6.000000e+00\n");
  ParDense loaded;
  loaded.loadFromFile(dir + "vec.part0+0.1.mtx");
  EXPECT_EQ(test::contents(loaded), test::contents(x));
  EXPECT_EQ(loaded.getComm(), 0x44000000);

  ParDense scattered;
  scattered.scatter(0, comu::kCommSelf, test::denseOf<float>({7, 8, 9, 10}, 2, 2));
  EXPECT_EQ(scattered.getRows(), 2);
  EXPECT_EQ(test::contents(scattered.gather(0)), (std::vector<float>{7, 8, 9, 10}));
  EXPECT_EQ(ParDense().gather(0).getSize(), 0);
}

}  // namespace par_io_test
