#include <omp.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "SparseTestHelpers.h"
#include "precond/SeqLevelTransferRugeStuben.h"
#include "utils/Factory.h"

namespace ruge_stuben_test {

using namespace velmo;
using namespace velmo::test;

template <class V>
using RS = LevelTransferOps_RS<V, long, int>;
using RSd = RS<double>;

// The point marks as text, one character a point.
std::string marks(const MatrixT<int>& cf) {
  std::string text;
  for (int mark : contents(cf)) text += char(mark);
  return text;
}

// Tridiagonal [-1 2 -1] on n points, scaled.
template <class V>
HostCsr<V> chain(int n, V scale) {
  std::vector<std::vector<std::pair<int, V>>> rows(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (i > 0) rows[size_t(i)].push_back({i - 1, make<V>(-1) * scale});
    rows[size_t(i)].push_back({i, make<V>(2) * scale});
    if (i + 1 < n) rows[size_t(i)].push_back({i + 1, make<V>(-1) * scale});
  }
  return HostCsr<V>(n, n, rows);
}

struct Split {
  std::string cf;
  int naggr = -1;
  HostCsr<double> P{0, 0};
};

Split coarsen(const HostCsr<double>& a, double eps_strong = 0.25, bool do_trunc = true) {
  const CSRMatrixT<double, int> A = makeCsr(a);
  CSRMatrixT<int, int> S;
  MatrixT<int> cf;
  CSRMatrixT<double, int> P;
  Split out;
  RSd::connect(A, eps_strong, S, cf);
  RSd::cfsplit(A, S, cf);
  RSd::interpolation(A, S, cf, do_trunc, 0.2, out.naggr, P);
  out.cf = marks(cf);
  out.P = hostOf(P);
  return out;
}

template <class V>
class RugeStubenChain : public ::testing::Test {};
using ChainTypes = ::testing::Types<double, float, Complex<double>>;
TYPED_TEST_SUITE(RugeStubenChain, ChainTypes);

// Every other point is coarse; an F point takes half of each coarse neighbour. Complex values
// are ordered by their real parts, so a common phase leaves the split alone; the weights
// then carry the phase.
TYPED_TEST(RugeStubenChain, EveryOtherPointIsCoarse) {
  using V = TypeParam;
  const V scale = make<V>(1, 0.5);
  const CSRMatrixT<V, int> A = makeCsr(chain<V>(7, scale));
  CSRMatrixT<int, int> S;
  MatrixT<int> cf;
  RS<V>::connect(A, 0.25, S, cf);
  EXPECT_EQ(hostOf(S).val, (std::vector<int>{0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0}));
  RS<V>::cfsplit(A, S, cf);
  EXPECT_EQ(marks(cf), "FCFCFCF");

  LogCapture log;
  int naggr = 0;
  CSRMatrixT<V, int> P;
  RS<V>::interpolation(A, S, cf, true, 0.2, naggr, P);
  EXPECT_EQ(naggr, 3);
  EXPECT_EQ(P.getCols(), 3);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"num nodes 7, the naggr is 3, the nnz of P is 9"}));
  const V h = scale * make<V>(0.5 / double(absValue(scale))), one = make<V>(1);
  const HostCsr<V> expected(7, 3,
                            {{{0, h}}, {{0, one}}, {{0, h}, {1, h}}, {{1, one}}, {{1, h}, {2, h}}, {{2, one}},
                             {{2, h}}});
  EXPECT_EQ(hostOf(P).ptr, expected.ptr);
  EXPECT_EQ(hostOf(P).col, expected.col);
  expectAllNear(expected.val, hostOf(P).val);
}

TEST(RugeStuben, FivePointGridSplitsRedBlack) {
  // 3 x 3 grid: the centre goes first, its four neighbours become F, which lifts the corners.
  std::vector<std::vector<std::pair<int, double>>> rows(9);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 3; ++x) {
      auto& row = rows[size_t(3 * y + x)];
      if (y > 0) row.push_back({3 * y + x - 3, -1});
      if (x > 0) row.push_back({3 * y + x - 1, -1});
      row.push_back({3 * y + x, 4});
      if (x < 2) row.push_back({3 * y + x + 1, -1});
      if (y < 2) row.push_back({3 * y + x + 3, -1});
    }
  const Split split = coarsen(HostCsr<double>(9, 9, rows));
  EXPECT_EQ(split.cf, "CFCFCFCFC");
  EXPECT_EQ(split.naggr, 5);
  // An edge point: three coarse neighbours of its three -1 entries, each 1/4.
  EXPECT_EQ(split.P.rowCols(1), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(std::vector<double>(split.P.val.begin() + split.P.ptr[1], split.P.val.begin() + split.P.ptr[2]),
            (std::vector<double>{0.25, 0.25, 0.25}));
}

TEST(RugeStuben, NonnegativeRowIsFineWithoutStrongEntries) {
  // Row 0 has only a positive off-diagonal: F at once, nothing strong, and an empty row of P.
  // Measures of 3 (row 0) and 4 (row 1) on three points: the queue needs more than n buckets.
  const HostCsr<double> a(3, 3, {{{0, 2}, {1, 0.5}}, {{0, -1}, {1, 2}, {2, -1}}, {{1, -1}, {2, 2}}});
  CSRMatrixT<int, int> S;
  MatrixT<int> cf;
  RSd::connect(makeCsr(a), 0.25, S, cf);
  EXPECT_EQ(hostOf(S).val, (std::vector<int>{0, 0, 1, 0, 1, 1, 0}));
  EXPECT_EQ(marks(cf), "FUU");

  const Split split = coarsen(a);
  EXPECT_EQ(split.cf, "FCF");
  EXPECT_EQ(split.P.arrays(), HostCsr<double>(3, 1, {{}, {{0, 1.0}}, {{0, 0.5}}}).arrays());

  // Without a negative off-diagonal anywhere no point is coarse.
  EXPECT_EQ(coarsen(HostCsr<double>(2, 2, {{{0, 1}}, {{1, 1}}})).cf, "FF");
}

TEST(RugeStuben, TruncationKeepsTheRowSumOnFewerWeights) {
  // F row 0: strong coarse entries -2 and -0.25, and a weak +0.5 that no coarse point takes,
  // so it is lumped onto the diagonal: the weights sum to 2.25 / (2.5 + 0.5) = 0.75. Truncation
  // at 0.2 * -2 drops -0.25 and gives its share to -2.
  const HostCsr<double> a(4, 4, {{{0, 2.5}, {1, -2}, {2, -0.25}, {3, 0.5}}, {{1, 1}}, {{2, 1}}, {{3, 1}}});
  const CSRMatrixT<double, int> A = makeCsr(a);
  const CSRMatrixT<int, int> S = makeCsr(HostCsr<int>(4, 4, {{{0, 0}, {1, 1}, {2, 1}, {3, 0}}, {{1, 0}}, {{2, 0}}, {{3, 0}}}));
  const MatrixT<int> cf = denseOf(std::vector<int>{'F', 'C', 'C', 'F'}, 4);
  CSRMatrixT<double, int> full, truncated;
  int naggr = 0;
  RSd::interpolation(A, S, cf, false, 0.2, naggr, full);
  RSd::interpolation(A, S, cf, true, 0.2, naggr, truncated);
  const HostCsr<double> f = hostOf(full), t = hostOf(truncated);
  EXPECT_EQ(f.rowCols(0), (std::vector<int>{0, 1}));
  expectAllNear<double>({2.0 / 3, 1.0 / 12}, {f.val[0], f.val[1]});
  EXPECT_EQ(t.rowCols(0), (std::vector<int>{0}));
  expectAllNear<double>({0.75}, {t.val[0]});
  // Row 3 has no strong coarse neighbour: an empty row either way.
  EXPECT_EQ(f.rowCols(3), std::vector<int>{});
  EXPECT_EQ(t.rowCols(3), std::vector<int>{});
}

// An anisotropic grid with mixed signs, through the whole transfer: the result does not
// depend on the host thread count, and R is P^T.
TEST(RugeStuben, TransferIsTheSameForAnyThreadCount) {
  const int nx = 9, ny = 7, n = nx * ny;
  std::vector<double> a(size_t(n) * n, 0.0);
  for (int y = 0; y < ny; ++y)
    for (int x = 0; x < nx; ++x) {
      const int i = y * nx + x;
      a[size_t(i) * n + i] = 4.5;
      if (x > 0) a[size_t(i) * n + i - 1] = -1 - 0.1 * (i % 3);
      if (x + 1 < nx) a[size_t(i) * n + i + 1] = -1;
      if (y > 0) a[size_t(i) * n + i - nx] = (i % 4 == 0) ? 0.3 : -0.2;
      if (y + 1 < ny) a[size_t(i) * n + i + nx] = -0.2;
    }
  const auto A = parOf<double, long>(a, n, n, 1);
  const int threads = omp_get_max_threads();
  std::vector<std::vector<double>> results;
  for (int t : {1, 2}) {
    omp_set_num_threads(t);
    auto transfer = ParLevelTransferT<double, long, int>::getFactory().createInstance(
        {{"level_transfer_type", "LevelTransferRugeStubenSeq"}});
    ASSERT_NE(transfer, nullptr);
    ParCSRMatrixT<double, long, int> P, R;
    transfer->transfer_operators(A, P, R);
    results.push_back(localDense(P));
    const std::vector<double> r = localDense(R);
    const long m = P.getCols();
    ASSERT_EQ(r.size(), results.back().size());
    for (long i = 0; i < n; ++i)
      for (long j = 0; j < m; ++j) EXPECT_EQ(r[size_t(j * n + i)], results.back()[size_t(i * m + j)]);
  }
  omp_set_num_threads(threads);
  EXPECT_EQ(results[0], results[1]);
}

}  // namespace ruge_stuben_test
