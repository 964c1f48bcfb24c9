#include <tuple>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/Partitioner.h"

namespace csr_matrix_test {

using namespace velmo;
using namespace velmo::test;

template <class V>
using Csr = CSRMatrixT<V, int>;

PartitionerT<int, int> partition(int globalSize) {
  PartitionerT<int, int> p;
  p.create(globalSize, comu::kCommSelf);
  return p;
}

TEST(CSRMatrix, TwoPassConstructionAndResize) {
  Csr<double> m;
  m.create(3, 4, 0, kHost);
  EXPECT_EQ(m.getColIdx(), nullptr);
  // The symbolic pass writes the offsets, the count is read back, the entries are sized.
  int* row_ptr = m.getRowPtr();
  row_ptr[0] = 0, row_ptr[1] = 2, row_ptr[2] = 2, row_ptr[3] = 3;
  m.resizeNnz(m.evaluateNnzs(), 5);
  EXPECT_EQ(std::make_tuple(m.getNnzs(), m.getCols()), std::make_tuple(3, 5));
  EXPECT_NE(m.getValues(), nullptr);
  // Also when the count would stay the same.
  EXPECT_DEATH(m.resizeNnz(3, 0), "Check failed: m_impl->col_idx == 0 && m_impl->values == 0 ");

  // Same rows on the same device: only the column count changes, for every handle.
  Csr<double> alias = m;
  m.resize(3, 7, kHost);
  EXPECT_EQ(std::make_tuple(alias.getCols(), alias.getNnzs()), std::make_tuple(7, 3));
  // Otherwise the entries go, in place.
  m.resize(4, 3, kHost);
  EXPECT_EQ(std::make_tuple(alias.getNnzs(), alias.getColIdx()), std::make_tuple(0, nullptr));
  // create replaces the handle's implementation only.
  m.create(1, 1, 1, kHost);
  EXPECT_EQ(alias.getRows(), 4);
}

TEST(CSRMatrix, CopiesAreIndependent) {
  auto m = makeCsr<double>({2, 3, {0, 2, 3}, {2, 0, 1}, {1, 2, 3}});
  Csr<double> copy;
  m.deepCopy(copy);
  copy.getValues()[0] = 100;
  EXPECT_EQ(m.getValues()[0], 1.0);
  // A target of the same shape keeps its arrays.
  const double* values = copy.getValues();
  m.deepCopy(copy);
  EXPECT_EQ(copy.getValues(), values);
  EXPECT_EQ(toDense(copy), toDense(m));
  // A target that differs in any one count is made anew in the source's shape.
  for (Csr<double> target : {makeCsr<double>({3, 3, {0, 1, 2, 3}, {0, 1, 2}, {7, 8, 9}}),
                             makeCsr<double>({2, 5, {0, 2, 3}, {4, 0, 1}, {7, 8, 9}}),
                             makeCsr<double>({2, 3, {0, 1, 1}, {0}, {7}})}) {
    m.deepCopy(target);
    EXPECT_EQ(std::make_tuple(target.getRows(), target.getCols(), toDense(target)),
              std::make_tuple(2, 3, toDense(m)));
  }
  // toDevice copies even to the current device.
  EXPECT_NE(m.toDevice(kHost).getValues(), m.getValues());

  auto complex = makeCsr<Complex<double>>({2, 3, {0, 2, 3}, {2, 0, 1}, {{1, 1}, {2, 0}, {0, 3}}});
  Csr<double> pattern;
  complex.copyStructure(pattern);
  EXPECT_EQ(hostOf(pattern).col, (std::vector<int>{2, 0, 1}));
}

// Rows without entries count as no matrix at all: the producers drop the shape.
TEST(CSRMatrix, RowsWithoutEntriesGiveDefaultResults) {
  const auto empty = makeCsr<double>({3, 4, {0, 0, 0, 0}, {}, {}});
  auto expectDefault = [](const Csr<double>& out) {
    EXPECT_EQ(std::make_tuple(out.getRows(), out.getCols(), out.getRowPtr()), std::make_tuple(0, 0, nullptr));
  };
  const auto one = makeCsr<double>({1, 1, {0, 1}, {0}, {1}});
  Csr<double> out = one;
  empty.deepCopy(out);
  expectDefault(out);
  out = one;
  empty.transpose(out);
  expectDefault(out);
  empty.multiply(makeCsr<double>({4, 2, {0, 1, 1, 1, 2}, {0, 1}, {1, 2}}), out);
  expectDefault(out);
  MatrixT<double> y = denseOf<double>({1, 2, 3}, 3);
  empty.aAxpby(1.0, denseOf<double>({1, 1, 1, 1}, 4), 2.0, y);
  EXPECT_EQ(y.getSize(), 0);  // emptied, not scaled
  std::vector<Csr<double>> blocks(2);
  empty.splitCols(partition(4), blocks);
  EXPECT_TRUE(blocks.empty());
  bool found = true;
  EXPECT_EQ(empty.getElementValue(0, 0, &found), 0.0);
  EXPECT_FALSE(found);
  // Selecting nothing gives no matrix either.
  one.getSelectedRows(MatrixT<int>(), out, false);
  expectDefault(out);
  one.getSelectedCols(MatrixT<int>(), out, 0);
  expectDefault(out);
}

TEST(CSRMatrixDeathTest, CheckTexts) {
  auto decreasing = makeCsr<double>({2, 3, {0, 2, 1}, {0, 1}, {1, 1}});
  EXPECT_DEATH(decreasing.check(false), "Check failed: row_ptr\\[i\\] <= row_ptr\\[i\\+1\\] \\(2 vs\\. 1\\)");
  auto negative = makeCsr<double>({1, 3, {-1, 0}, {}, {}});
  EXPECT_DEATH(negative.check(false), "Check failed: row_ptr\\[i\\] >= 0 \\(-1 vs\\. 0\\)");
  auto miscounted = makeCsr<double>({1, 3, {0, 1}, {0, 1}, {1, 1}});
  EXPECT_DEATH(miscounted.check(false), "Check failed: row_ptr\\[rows\\] == nnzs \\(1 vs\\. 2\\)");
  auto wide = makeCsr<double>({1, 3, {0, 1}, {5}, {1}});
  EXPECT_DEATH(wide.check(false), "Check failed: col_idx\\[i\\] < cols \\(5 vs\\. 3\\)");
  auto unsorted = makeCsr<double>({1, 3, {0, 2}, {2, 1}, {1, 1}});
  unsorted.check(false);
  EXPECT_DEATH(unsorted.check(true), "Check failed: col_idx\\[jj\\] < col_idx\\[jj\\+1\\] \\(2 vs\\. 1\\)");
  unsorted.sortRows();
  unsorted.check(true);

  auto a = makeCsr<double>({2, 3, {0, 1, 2}, {0, 2}, {1, 2}});
  auto b = makeCsr<double>({2, 2, {0, 1, 2}, {0, 1}, {1, 2}});
  Csr<double> c, full;
  EXPECT_DEATH(Csr<double>::matadd(1.0, a, 1.0, b, c),
               "Check failed: A.getRows\\(\\) == B.getRows\\(\\) && A.getCols\\(\\) == B.getCols\\(\\) add: A and "
               "B must has same dim");
  EXPECT_DEATH(a.multiply(b, c), "Check failed: col1 == row2 multiply: mat1.col1 != mat2.row2");
  // matadd and multiply reuse a matching target, so one already holding entries is refused.
  a.deepCopy(full);
  EXPECT_DEATH(Csr<double>::matadd(1.0, a, 1.0, a, full), "Check failed: m_impl->col_idx == 0");

  const auto p = partition(2);
  EXPECT_DEATH(Csr<double>::mergeRows(p, {b, a}),
               "Check failed: cols == blk.getCols\\(\\) merge: submat column size should be equal");
  EXPECT_DEATH(Csr<double>::mergeCols(p, {b, makeCsr<double>({3, 2, {0, 1, 2, 2}, {0, 1}, {1, 2}})}),
               "Check failed: rows == blk.getRows\\(\\) merge: submat row size should be equal");
  // A block whose count disagrees with its offsets.
  EXPECT_DEATH(Csr<double>::mergeCols(p, {makeCsr<double>({2, 2, {0, 1, 1}, {0, 1}, {1, 2}})}),
               "Check failed: nnzs == nnzsAcc nnz not equal");
  std::vector<Csr<double>> blocks;
  EXPECT_DEATH(b.splitCols(partition(3), blocks),
               "Check failed: this->getCols\\(\\) == partitioner.getGlobalSize\\(\\) splitRows: rows.size\\(\\) != "
               "partitioner.getGlobalSize\\(\\)");
}

// The kernels pin the rules; these pin what the container adds around them.
TEST(CSRMatrix, DiagonalUpdateAndJacobiSweep) {
  // [[2, 1, 0], [1, 0, 0], [0, 1, 3]]: row 1 stores no diagonal.
  auto a = makeCsr<double>({3, 3, {0, 2, 3, 5}, {0, 1, 0, 1, 2}, {2, 1, 1, 1, 3}});
  Csr<double> out;
  Csr<double>::axpbyDiag(2.0, denseOf<double>({1, 2, 3}, 3), 3.0, denseOf<double>({1, 1, 2}, 3), a, out, 0, 0);
  EXPECT_EQ(toDense(out), (std::vector<double>{2 + 6, 1, 0, 1, 4, 0, 0, 1, 6 + 18}));
  // Empty x and y read 0 and 1.
  out = Csr<double>();
  Csr<double>::axpbyDiag(2.0, MatrixT<double>(), 3.0, MatrixT<double>(), a, out, 0, 0);
  EXPECT_EQ(toDense(out), (std::vector<double>{6, 1, 0, 1, 0, 0, 0, 1, 9}));

  // Both rows read the old x: x + omega (b - A x) / d.
  auto b = makeCsr<double>({2, 2, {0, 2, 4}, {0, 1, 0, 1}, {4, 1, 1, 3}});
  MatrixT<double> x = denseOf<double>({1, 1}, 2);
  b.jacobi(denseOf<double>({6, 8}, 2), x, 0.5);
  expectAllNear({1 + 0.5 * (6 - 5) / 4.0, 1 + 0.5 * (8 - 4) / 3.0}, contents(x));
}

// The two-pass products through the container, on unsorted rows with empty ones.
TEST(CSRMatrix, ProductsSumsAndTransposeMatchDense) {
  using V = Complex<double>;
  const auto ha = randomCsr<V>(5, 6, 0.4, 1), hb = randomCsr<V>(6, 4, 0.4, 2), hc = randomCsr<V>(5, 6, 0.4, 3);
  const auto da = ha.dense(), dc = hc.dense();
  const auto a = makeCsr(ha), b = makeCsr(hb), c = makeCsr(hc);
  Csr<V> product, sum;
  a.multiply(b, product);
  product.check(false);
  EXPECT_EQ(toDense(product), denseProduct(5, 6, 4, da, hb.dense()));

  const V alpha = make<V>(2, 1), beta = make<V>(-1, 0.5);
  Csr<V>::matadd(alpha, a, beta, c, sum);
  sum.check(true);
  std::vector<V> expected(da.size());
  for (size_t k = 0; k < da.size(); ++k) expected[k] = alpha * da[k] + beta * dc[k];
  EXPECT_EQ(toDense(sum), expected);
  // Over one of its operands, as a running sum is built.
  Csr<V> acc = makeCsr(ha);
  Csr<V>::matadd(alpha, acc, beta, c, acc);
  EXPECT_EQ(toDense(acc), expected);
  // With one operand empty the result is a scaled copy that shares nothing with the other.
  Csr<V>::matadd(alpha, Csr<V>(), beta, c, sum);
  EXPECT_NE(sum.getValues(), c.getValues());
  for (size_t k = 0; k < dc.size(); ++k) expected[k] = beta * dc[k];
  EXPECT_EQ(toDense(sum), expected);
  EXPECT_EQ(toDense(c), dc);

  // In place through the same handle, from a row in descending column order.
  const V p = make<V>(1, 1), q = make<V>(2), r = make<V>(3, -1), o = V(0);
  auto t = makeCsr<V>({2, 3, {0, 2, 3}, {2, 1, 0}, {p, q, r}});
  t.transpose(t);
  t.check(true);
  EXPECT_EQ(toDense(t), (std::vector<V>{o, r, q, o, p, o}));
}

TEST(CSRMatrix, SplitAndMerge) {
  const auto m = makeCsr<double>({2, 3, {0, 2, 3}, {0, 2, 1}, {1, 2, 3}});  // [[1, 0, 2], [0, 3, 0]]
  const auto b = makeCsr<double>({2, 3, {0, 1, 2}, {1, 0}, {4, 5}});        // [[0, 4, 0], [5, 0, 0]]
  std::vector<Csr<double>> blocks;
  m.splitCols(partition(3), blocks);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(toDense(Csr<double>::mergeCols(partition(3), blocks)), toDense(m));

  // With one rank a partitioner has one part, and the uniform rule continues past it: part p
  // of a size-N partition begins at p N. Merging several blocks thus places them at multiples
  // of N, and an empty block takes N rows or columns.
  const auto side = Csr<double>::mergeCols(partition(3), {m, Csr<double>(), b});
  const auto stacked = Csr<double>::mergeRows(partition(2), {m, Csr<double>(), b});
  side.check(true);
  stacked.check(true);
  EXPECT_EQ(toDense(side), (std::vector<double>{1, 0, 2, 0, 0, 0, 0, 4, 0, 0, 3, 0, 0, 0, 0, 5, 0, 0}));
  EXPECT_EQ(toDense(stacked), (std::vector<double>{1, 0, 2, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 5, 0, 0}));

  // Only empty blocks: rows from the partition, no columns, and clean offsets.
  const auto blank = Csr<double>::mergeRows(partition(5), {Csr<double>()});
  EXPECT_EQ(std::make_tuple(blank.getRows(), blank.getCols()), std::make_tuple(5, 0));
  blank.check(true);
  EXPECT_EQ(Csr<double>::mergeRows(partition(4), {}).getRows(), 0);
}

// The device path against the host oracle.
TEST(CSRMatrixGpu, DeviceMatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = Complex<double>;
  const int n = kGpuSize;
  const auto a = makeCsr(randomCsr<V>(n, 50, 0.1, 1)), b = makeCsr(randomCsr<V>(50, 45, 0.1, 2)),
             c = makeCsr(randomCsr<V>(n, 50, 0.1, 3));
  auto ga = a.toDevice(kGpu), gb = b.toDevice(kGpu), gc = c.toDevice(kGpu);
  Csr<V> product, gproduct, sum, gsum, t, gt;
  a.multiply(b, product);
  ga.multiply(gb, gproduct);
  EXPECT_EQ(gproduct.getDevice(), kGpu);
  EXPECT_EQ(hostOf(gproduct).arrays(), hostOf(product).arrays());
  product.transpose(t);
  gproduct.transpose(gt);
  EXPECT_EQ(hostOf(gt).arrays(), hostOf(t).arrays());
  Csr<V>::matadd(make<V>(2), a, make<V>(0, 1), c, sum);
  Csr<V>::matadd(make<V>(2), ga, make<V>(0, 1), gc, gsum);
  EXPECT_EQ(hostOf(gsum).arrays(), hostOf(sum).arrays());
  std::vector<Csr<V>> blocks;
  ga.splitCols(partition(50), blocks);
  EXPECT_EQ(toDense(Csr<V>::mergeCols(partition(50), blocks)), toDense(a));
}

}  // namespace csr_matrix_test
