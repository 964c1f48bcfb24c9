#include <gtest/gtest.h>

#include <omp.h>

#include <cmath>
#include <vector>

#include "LogCapture.h"
#include "TestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "utils/Factory.h"
#include "utils/TestCaseMatrixMarket.h"
#include "utils/TestCasePoissonFDM.h"

namespace test_cases_test {

using namespace velmo;
using test::writeFile;

template <class V, class G = long>
struct System {
  ParCSRMatrixT<V, G, int> A;
  ParMatrixT<V, G, int> x, b;
};

template <class V, class G = long>
System<V, G> generate(const json& config) {
  System<V, G> s;
  auto testCase = TestCaseT<V, G, int>::getFactory().createInstance(config);
  EXPECT_NE(testCase, nullptr);
  testCase->generate(s.A, s.x, s.b);
  return s;
}

json poisson(int dim, int N) {
  return {{"testcase_type", "PoissonFDM"}, {"PoissonFDM_params", {{"dim", dim}, {"N", N}}}};
}

template <class V, class G>
int rowLength(const ParCSRMatrixT<V, G, int>& A, int row) {
  auto local = A.getLocalMatrix(-1);
  return local.getRowPtr()[row + 1] - local.getRowPtr()[row];
}

TEST(PoissonFDM, StencilSizesAndValues) {
  auto square = generate<double, int>(poisson(2, 3));
  EXPECT_EQ(square.A.getRows(), 9);
  EXPECT_EQ(square.A.getNnzs(), 9 + 2 * 2 * 3 * 2);
  EXPECT_EQ(rowLength(square.A, 4), 5);
  EXPECT_EQ(rowLength(square.A, 0), 3);
  // h = 1/2: the centre holds 4 / h^2 and its neighbours -1 / h^2.
  EXPECT_EQ(square.A.getElementValue(4, 4), 16.0);
  EXPECT_EQ(square.A.getElementValue(4, 1), -4.0);

  auto cube = generate<Complex<double>>(poisson(3, 4));
  EXPECT_EQ(cube.A.getRows(), 64);
  const int interior = 1 * 16 + 1 * 4 + 1;
  EXPECT_EQ(rowLength(cube.A, interior), 7);
  EXPECT_EQ(cube.A.getElementValue(interior, interior), Complex<double>(54, 0));
  EXPECT_EQ(cube.A.getElementValue(interior, interior - 16), Complex<double>(-9, 0));
}

TEST(PoissonFDM, RightHandSideAndStart) {
  auto s = generate<double>(poisson(2, 5));
  const double* b = s.b.getLocalMatrix().getData();
  const double* x = s.x.getLocalMatrix().getData();
  // Row 12 is the centre point (c, j) = (2, 2), h = 1/4.
  EXPECT_NEAR(b[12], std::sin(M_PI * 0.5) * std::sin(M_PI * 0.5), 1e-15);
  EXPECT_NEAR(x[7], b[7] * 0.05066059182116889, 1e-15);
  EXPECT_EQ(b[0], 0.0);  // edge rows keep sin(0)

  // The default dim of 0 is a 2-D grid that still takes the third factor with k = 0.
  auto flat = generate<double>({{"testcase_type", "PoissonFDM"}, {"PoissonFDM_params", {{"N", 4}}}});
  EXPECT_EQ(flat.A.getRows(), 16);
  EXPECT_EQ((ParMatrixT<double, long, int>::normL2(flat.b)), 0.0);
  EXPECT_EQ((ParMatrixT<double, long, int>::normL2(flat.x)), 0.0);

  // N = 1: an infinite spacing leaves a single zero.
  auto point = generate<double>(poisson(2, 1));
  EXPECT_EQ(point.A.getRows(), 1);
  EXPECT_EQ(point.A.getElementValue(0, 0), 0.0);
}

// The rows are set from the thread team: any team gives the system a plain loop writes, bit for
// bit. 17^3 rows are enough for the team to take part.
TEST(PoissonFDM, EveryTeamGivesTheSystemOfAPlainLoop) {
  const int n = 17, rows = n * n * n;
  const double h = 1.0 / (n - 1), i2 = 1 / (h * h);
  std::vector<int> rowPtr{0}, cols;
  std::vector<double> values, b, x;
  for (int i = 0; i < rows; ++i) {
    const int k = i / (n * n), j = i / n % n, c = i % n;
    // In column order; a missing neighbour is a zero.
    const std::pair<int, double> stencil[] = {
        {i - n * n, k > 0 ? -i2 : 0.0}, {i - n, j > 0 ? -i2 : 0.0},         {i - 1, c > 0 ? -i2 : 0.0},
        {i, 2 * i2 + 2 * i2 + 2 * i2},   {i + 1, c < n - 1 ? -i2 : 0.0},     {i + n, j < n - 1 ? -i2 : 0.0},
        {i + n * n, k < n - 1 ? -i2 : 0.0}};
    for (auto [col, v] : stencil) {
      if (v == 0.0) continue;
      cols.push_back(col);
      values.push_back(v);
    }
    rowPtr.push_back(int(cols.size()));
    b.push_back(std::sin(M_PI * c * h) * std::sin(M_PI * j * h) * std::sin(M_PI * k * h));
    x.push_back(b.back() * 0.05066059182116889);
  }

  const int threads = omp_get_max_threads();
  for (int t : {1, 2}) {
    omp_set_num_threads(t);
    auto s = generate<double>(poisson(3, n));
    const auto local = s.A.getLocalMatrix();
    ASSERT_EQ(local.getNnzs(), long(cols.size()));
    EXPECT_EQ(std::vector<int>(local.getRowPtr(), local.getRowPtr() + rows + 1), rowPtr) << t << " threads";
    EXPECT_EQ(std::vector<int>(local.getColIdx(), local.getColIdx() + cols.size()), cols) << t << " threads";
    EXPECT_EQ(std::vector<double>(local.getValues(), local.getValues() + cols.size()), values) << t << " threads";
    const double* bData = s.b.getLocalMatrix().getData();
    const double* xData = s.x.getLocalMatrix().getData();
    EXPECT_EQ(std::vector<double>(bData, bData + rows), b) << t << " threads";
    EXPECT_EQ(std::vector<double>(xData, xData + rows), x) << t << " threads";
  }
  omp_set_num_threads(threads);
}

TEST(PoissonFDM, LogsItsProgressInOrder) {
  test::LogCapture log;
  auto s = generate<double>(poisson(2, 3));
  std::vector<std::string> mine;
  for (const auto& line : log.lines) {
    if (line.file == "TestCasePoissonFDM.cpp") mine.push_back(line.text);
  }
  EXPECT_EQ(mine, (std::vector<std::string>{"Begin assembling poission A and b, size 9x9",
                                            "finish add values to A", "finish assemble to A",
                                            "finish add values to b", "A nnz 33", "finish assemble to b",
                                            "End assembling poisson A and b"}));
}

TEST(MatrixMarketCase, ReadsTheSystemAndDefaultsMissingVectors) {
  auto a = writeFile("tc_a.mtx", "%%MatrixMarket matrix coordinate real general\n3 3 4\n1 1 2\n2 2 3\n3 3 4\n3 1 1\n");
  auto b = writeFile("tc_b.mtx", "3\n1\n2\n3\n");
  json config = {{"testcase_type", "MatrixMarket"},
                 {"MatrixMarket_params", {{"filename_A", a}, {"filename_b", b}, {"filename_x", ""}}}};
  auto s = generate<double>(config);
  EXPECT_EQ(s.A.getRows(), 3);
  EXPECT_EQ(s.A.getNnzs(), 4);
  EXPECT_EQ(s.A.getElementValue(2, 0), 1.0);
  EXPECT_EQ(s.b.getLocalMatrix().getData()[2], 3.0);
  EXPECT_EQ((ParMatrixT<double, long, int>::normL2(s.x)), 0.0);

  config["MatrixMarket_params"].erase("filename_b");
  auto ones = generate<Complex<double>>(config);
  EXPECT_EQ(ones.b.getLocalMatrix().getData()[1], Complex<double>(1, 0));
}

TEST(MatrixMarketCase, MissingFileStops) {
  json config = {{"testcase_type", "MatrixMarket"},
                 {"MatrixMarket_params", {{"filename_A", testing::TempDir() + "nowhere.mtx"}}}};
  EXPECT_DEATH(generate<double>(config), "MatrixMarket: can not open .*nowhere.mtx");
}

}  // namespace test_cases_test
