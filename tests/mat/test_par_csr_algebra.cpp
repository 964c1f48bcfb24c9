#include <cmath>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"

namespace test_par_csr_algebra_test {

using namespace velmo;
using namespace velmo::test;

template <class V, class G>
using Par = ParCSRMatrixT<V, G, int>;

template <class V>
std::vector<V> transposed(const std::vector<V>& d, int rows, int cols) {
  std::vector<V> t(d.size());
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) t[size_t(j) * rows + i] = d[size_t(i) * cols + j];
  return t;
}

TEST(ParCSRAlgebra, ProductsAndTransposesMatchDense) {
  using P = Par<double, long>;
  // B's middle column part, columns 3 and 4, holds nothing.
  std::vector<double> a = sample<double>(5 * 6, 1), b = sample<double>(6 * 7, 2);
  for (int i = 0; i < 6; ++i) b[size_t(i) * 7 + 3] = b[size_t(i) * 7 + 4] = 0;
  const P A = parOf<double, long>(a, 5, 6, 1), B = parOf<double, long>(b, 6, 7, 3);
  EXPECT_EQ(localDense(A.multiply(B)), denseProduct(5, 6, 7, a, b));
  EXPECT_EQ(localDense(A.transpose()), transposed(a, 5, 6));
  // With three column parts the transpose has three parts of rows; this rank holds those of
  // its own part, B's columns 0 to 2.
  const std::vector<double> bt = transposed(b, 6, 7);
  EXPECT_EQ(localDense(B.transpose()), std::vector<double>(bt.begin(), bt.begin() + 3 * 6));

  // Both operands hold entries, but A's one entry meets an empty row of B: no blocks at all.
  std::vector<double> single(5 * 6, 0.0);
  single[3] = 1;
  for (int j = 0; j < 7; ++j) b[3 * 7 + j] = 0;
  P::RawMatList views;
  parOf<double, long>(single, 5, 6, 1).multiply(parOf<double, long>(b, 6, 7, 3)).getRawMat(views);
  EXPECT_EQ(views.getRows(), 0);
}

TEST(ParCSRAlgebra, SumsScalingsAndDiagonalsMatchDense) {
  using V = Complex<double>;
  using P = Par<V, int>;
  using Vec = ParMatrixT<V, int, int>;
  const int n = 5;
  // X's second column part, columns 3 and 4, is empty; row 1 of Y has no diagonal entry.
  std::vector<V> x = sample<V>(n * n, 3), y = sample<V>(n * n, 4);
  for (int i = 0; i < n; ++i) x[size_t(i) * n + 3] = x[size_t(i) * n + 4] = V(0);
  y[1 * n + 1] = V(0);
  const P X = parOf<V, int>(x, n, n, 2), Y = parOf<V, int>(y, n, n, 2);
  const V alpha = make<V>(2, 1), beta = make<V>(-1, 0.5);
  const std::vector<V> d = sample<V>(n, 5);
  const Vec D = parDense<V, int>(n, 1, d);
  auto expect = [&](const P& m, auto entry) {
    std::vector<V> e(size_t(n) * n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) e[size_t(i) * n + j] = entry(i, j, y[size_t(i) * n + j]);
    EXPECT_EQ(localDense(m), e);
  };

  P Z = X.deepCopy();
  P::matadd(alpha, Z, beta, Y, Z);
  expect(Z, [&](int i, int j, V v) { return alpha * x[size_t(i) * n + j] + beta * v; });

  // In place: the handles of the blocks see the new values.
  P S = Y.deepCopy(), R = Y.deepCopy(), Q = parOf<V, int>(y, n, n, 1);
  const auto sBlock = S.getLocalMatrix(1), rBlock = R.getLocalMatrix(1), qBlock = Q.getLocalMatrix();
  P::scale(S, alpha);
  P::matmul_aDA(alpha, D, R);
  P::matmul_aAD(alpha, D, Q);
  expect(S, [&](int, int, V v) { return alpha * v; });
  expect(R, [&](int i, int, V v) { return v * alpha * d[size_t(i)]; });
  expect(Q, [&](int, int j, V v) { return d[size_t(j)] * alpha * v; });
  EXPECT_TRUE(S.getLocalMatrix(1).sharesStorageWith(sBlock) && R.getLocalMatrix(1).sharesStorageWith(rBlock) &&
              Q.getLocalMatrix().sharesStorageWith(qBlock));

  // A row's norm spans both column blocks.
  const std::vector<double> norms = contents(Y.rowNorm(3.0));
  for (int i = 0; i < n; ++i) {
    double sum = 0;
    for (int j = 0; j < n; ++j) sum += std::pow(absValue(y[size_t(i) * n + j]), 3.0);
    expectNear(std::cbrt(sum), norms[size_t(i)]);
  }

  // The diagonal crosses from the first block into the second; a fitting vector is reused.
  Vec diag(n, kHost);
  diag.fill(make<V>(99));
  const V* storage = diag.getLocalMatrix().getData();
  Y.getDiag(diag, 0);
  EXPECT_EQ(diag.getLocalMatrix().getData(), storage);
  std::vector<V> yDiag;
  for (int i = 0; i < n; ++i) yDiag.push_back(y[size_t(i) * n + i]);
  EXPECT_EQ(contents(diag), yDiag);

  // An empty y reads 1, an empty x 0; the missing diagonal entry is appended to its row,
  // which sortRows then puts in order. The old block stays as it was for its other handles.
  P W = parOf<V, int>(y, n, n, 1);
  const auto wBlock = W.getLocalMatrix();
  P::axpbyDiag(alpha, D, beta, Vec(), W);
  P::axpbyDiag(alpha, Vec(), beta, D, W);
  W.sortRows();
  EXPECT_TRUE(hostOf(W.getLocalMatrix()).rowsSorted());
  EXPECT_EQ(toDense(wBlock), y);
  expect(W, [&](int i, int j, V v) { return i != j ? v : beta * d[size_t(i)] * (alpha * d[size_t(i)] + beta * v); });
}

TEST(ParCSRAlgebra, MismatchesStopTheProcess) {
  using P = Par<double, long>;
  using Vec = ParMatrixT<double, long, int>;
  const P A = parOf<double, long>(sample<double>(16, 1), 4, 4, 1);
  P otherComm = A.deepCopy(), elsewhere = A.deepCopy(), M = A.deepCopy(), Z;
  otherComm.setComm(comu::kCommWorld);
  elsewhere.setDevice(kGpu);
  EXPECT_DEATH(A.multiply(otherComm),
               "Check failed: A.getComm\\(\\) == B.getComm\\(\\) A and B should have the same comm");
  EXPECT_DEATH(A.multiply(elsewhere),
               "Check failed: A.getDevice\\(\\) == B.getDevice\\(\\) A and B should on the same device");
  // Partitions that differ in their number of parts alone.
  EXPECT_DEATH(P::matadd(1, A, 1, parOf<double, long>(sample<double>(16, 1), 4, 4, 2), Z),
               "Check failed: X.getRowPartitioner\\(\\) == Y.getRowPartitioner\\(\\) && X.getColPartitioner\\(\\) "
               "== Y.getColPartitioner\\(\\) aXpbY: partition should be same");
  EXPECT_DEATH(P::matadd(1, A, 1, elsewhere, Z),
               "Check failed: X.getDevice\\(\\) == Y.getDevice\\(\\) aXpbY: device should be same");
  EXPECT_DEATH(P::matadd(1, A, 1, otherComm, Z),
               "Check failed: X.getComm\\(\\) == Y.getComm\\(\\) aXpbY: comm should be same");
  const Vec shortD(3, kHost);
  EXPECT_DEATH(P::matmul_aDA(1, shortD, M),
               "Check failed: D.getRowPartitioner\\(\\) == A.getRowPartitioner\\(\\) matmul_aDA: partition should "
               "be same");
  EXPECT_DEATH(P::matmul_aAD(1, shortD, M),
               "Check failed: D.getRowPartitioner\\(\\) == A.getColPartitioner\\(\\) matmul_aAD: partition should "
               "be same");
  EXPECT_DEATH(A.getDiag(1), "Check failed: dim == 0 ParCSRMatrix only support diag with row partition");
  EXPECT_DEATH(P::axpbyDiag(1, shortD, 1, Vec(), M),
               "Check failed: x.getRowPartitioner\\(\\) == A.getRowPartitioner\\(\\) axpbyDiag: partition should "
               "be same");
  EXPECT_DEATH(P::axpbyDiag(1, Vec(), 1, shortD, M),
               "Check failed: y.getRowPartitioner\\(\\) == A.getRowPartitioner\\(\\) axpbyDiag: partition should "
               "be same");
}

}  // namespace test_par_csr_algebra_test
