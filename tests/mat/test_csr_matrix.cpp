#include <vector>

#include "SparseTestHelpers.h"
#include "TestHelpers.h"
#include "mat/CSRMatrix.h"
#include "mat/Partitioner.h"

namespace {

using namespace velmo;
using test::contents;
using test::denseOf;
using test::fromDense;
using test::kHost;
using test::make;
using test::makeCsr;
using test::sampleDense;
using test::toDense;

template <class V>
using Csr = CSRMatrixT<V, int>;

PartitionerT<int, int> partition(int globalSize) {
  PartitionerT<int, int> p;
  p.create(globalSize, comu::kCommSelf);
  return p;
}

void expectDefault(const Csr<double>& m) {
  EXPECT_EQ(m.getRows(), 0);
  EXPECT_EQ(m.getCols(), 0);
  EXPECT_EQ(m.getRowPtr(), nullptr);
}

TEST(CSRMatrix, TwoPassConstructionAndResize) {
  Csr<double> m;
  m.create(3, 4, 0, kHost);
  EXPECT_EQ(m.getColIdx(), nullptr);
  // The symbolic pass writes the offsets, the count is read back, the entries are sized.
  int* row_ptr = m.getRowPtr();
  row_ptr[0] = 0, row_ptr[1] = 2, row_ptr[2] = 2, row_ptr[3] = 3;
  m.resizeNnz(m.evaluateNnzs(), 5);
  EXPECT_EQ(m.getNnzs(), 3);
  EXPECT_EQ(m.getCols(), 5);
  EXPECT_NE(m.getValues(), nullptr);
  // Also when the count would stay the same.
  EXPECT_DEATH(m.resizeNnz(3, 0), "Check failed: m_impl->col_idx == 0 && m_impl->values == 0 ");

  // Same rows on the same device: only the column count changes, for every handle.
  Csr<double> alias = m;
  m.resize(3, 7, kHost);
  EXPECT_EQ(alias.getCols(), 7);
  EXPECT_EQ(alias.getRowPtr(), row_ptr);
  EXPECT_EQ(alias.getNnzs(), 3);
  // Otherwise the entries go, in place.
  m.resize(4, 3, kHost);
  EXPECT_EQ(alias.getNnzs(), 0);
  EXPECT_EQ(alias.getColIdx(), nullptr);
  EXPECT_NE(alias.getRowPtr(), nullptr);
  // create replaces the handle's implementation only.
  m.create(1, 1, 1, kHost);
  EXPECT_EQ(alias.getRows(), 4);
}

TEST(CSRMatrix, CopiesAreIndependent) {
  auto m = makeCsr<double>(2, 3, {0, 2, 3}, {2, 0, 1}, {1.0, 2.0, 3.0});
  Csr<double> copy;
  m.deepCopy(copy);
  copy.getValues()[0] = 100;
  EXPECT_EQ(m.getValues()[0], 1.0);
  // A target of the same shape keeps its arrays.
  const double* values = copy.getValues();
  m.deepCopy(copy);
  EXPECT_EQ(copy.getValues(), values);
  EXPECT_EQ(toDense(copy), toDense(m));
  // toDevice copies even to the current device.
  EXPECT_NE(m.toDevice(kHost).getValues(), m.getValues());

  auto complex = makeCsr<Complex<double>>(2, 3, {0, 2, 3}, {2, 0, 1}, {{1, 1}, {2, 0}, {0, 3}});
  Csr<double> pattern;
  complex.copyStructure(pattern);
  EXPECT_NE(pattern.getValues(), nullptr);
  EXPECT_EQ(test::colIdxOf(pattern), (std::vector<int>{2, 0, 1}));
  EXPECT_EQ(test::rowPtrOf(pattern), (std::vector<int>{0, 2, 3}));
}

// Rows without entries count as no matrix at all: the producers drop the shape.
TEST(CSRMatrix, RowsWithoutEntriesGiveDefaultResults) {
  Csr<double> empty;
  empty.create(3, 4, 0, kHost);
  std::fill(empty.getRowPtr(), empty.getRowPtr() + 4, 0);
  Csr<double> out = makeCsr<double>(1, 1, {0, 1}, {0}, {1.0});
  empty.deepCopy(out);
  expectDefault(out);
  expectDefault(empty.toDevice(kHost));
  out = makeCsr<double>(1, 1, {0, 1}, {0}, {1.0});
  empty.transpose(out);
  expectDefault(out);
  empty.multiply(makeCsr<double>(4, 2, {0, 1, 1, 1, 2}, {0, 1}, {1.0, 2.0}), out);
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
  empty.check(true);
  Csr<double>().check(true);
}

TEST(CSRMatrixDeathTest, CheckTexts) {
  auto decreasing = makeCsr<double>(2, 3, {0, 2, 1}, {0, 1}, {1.0, 1.0});
  EXPECT_DEATH(decreasing.check(false), "Check failed: row_ptr\\[i\\] <= row_ptr\\[i\\+1\\] \\(2 vs\\. 1\\)");
  auto negative = makeCsr<double>(1, 3, {-1, 0}, {}, {});
  EXPECT_DEATH(negative.check(false), "Check failed: row_ptr\\[i\\] >= 0 \\(-1 vs\\. 0\\)");
  auto miscounted = makeCsr<double>(1, 3, {0, 1}, {0, 1}, {1.0, 1.0});
  EXPECT_DEATH(miscounted.check(false), "Check failed: row_ptr\\[rows\\] == nnzs \\(1 vs\\. 2\\)");
  auto wide = makeCsr<double>(1, 3, {0, 1}, {5}, {1.0});
  EXPECT_DEATH(wide.check(false), "Check failed: col_idx\\[i\\] < cols \\(5 vs\\. 3\\)");
  auto negativeColumn = makeCsr<double>(1, 3, {0, 1}, {-2}, {1.0});
  EXPECT_DEATH(negativeColumn.check(false), "Check failed: col_idx\\[i\\] >= 0 \\(-2 vs\\. 0\\)");

  auto unsorted = makeCsr<double>(1, 3, {0, 2}, {2, 1}, {1.0, 1.0});
  unsorted.check(false);
  EXPECT_DEATH(unsorted.check(true), "Check failed: col_idx\\[jj\\] < col_idx\\[jj\\+1\\] \\(2 vs\\. 1\\)");
  auto repeated = makeCsr<double>(1, 3, {0, 2}, {1, 1}, {1.0, 1.0});
  EXPECT_DEATH(repeated.check(true), "Check failed: col_idx\\[jj\\] < col_idx\\[jj\\+1\\] \\(1 vs\\. 1\\)");
  unsorted.sortRows();
  unsorted.check(true);
}

TEST(CSRMatrixDeathTest, OperandAndMergeChecks) {
  auto a = makeCsr<double>(2, 3, {0, 1, 2}, {0, 2}, {1.0, 2.0});
  auto b = makeCsr<double>(2, 2, {0, 1, 2}, {0, 1}, {1.0, 2.0});
  Csr<double> c;
  EXPECT_DEATH(Csr<double>::matadd(1.0, a, 1.0, b, c),
               "Check failed: A.getRows\\(\\) == B.getRows\\(\\) && A.getCols\\(\\) == B.getCols\\(\\) add: A and "
               "B must has same dim");
  EXPECT_DEATH(a.multiply(b, c), "Check failed: col1 == row2 multiply: mat1.col1 != mat2.row2");
  // matadd and multiply reuse a matching target, so one already holding entries is refused.
  Csr<double> full;
  a.deepCopy(full);
  EXPECT_DEATH(Csr<double>::matadd(1.0, a, 1.0, a, full), "Check failed: m_impl->col_idx == 0");

  MatrixT<double> x3(3, 1, kHost), y2(2, 1, kHost), wide(3, 2, kHost), y3(3, 1, kHost);
  EXPECT_DEATH(a.aAxpby(1.0, wide, 0.0, y2), "Check failed: x.getCols\\(\\) == 1 aAxpby: x.cols!= 1");
  EXPECT_DEATH(a.aAxpby(1.0, y2, 0.0, y2), "Check failed: A.getCols\\(\\) == x.getRows\\(\\) aAxpby: A.cols != x.rows");
  EXPECT_DEATH(a.aAxpby(1.0, x3, 0.0, y3),
               "Check failed: A.getRows\\(\\) == y.getRows\\(\\) && x.getCols\\(\\) == y.getCols\\(\\) aAxpby: "
               "A.rows!= y.rows");

  const auto p = partition(2);
  auto threeRows = makeCsr<double>(3, 2, {0, 1, 2, 2}, {0, 1}, {1.0, 2.0});
  EXPECT_DEATH(Csr<double>::mergeRows(p, {b, a}),
               "Check failed: cols == blk.getCols\\(\\) merge: submat column size should be equal");
  EXPECT_DEATH(Csr<double>::mergeCols(p, {b, threeRows}),
               "Check failed: rows == blk.getRows\\(\\) merge: submat row size should be equal");
  // A block whose count disagrees with its offsets.
  auto miscounted = makeCsr<double>(2, 2, {0, 1, 1}, {0, 1}, {1.0, 2.0});
  EXPECT_DEATH(Csr<double>::mergeCols(p, {miscounted}), "Check failed: nnzs == nnzsAcc nnz not equal");
  std::vector<Csr<double>> blocks;
  EXPECT_DEATH(b.splitCols(partition(3), blocks),
               "Check failed: this->getCols\\(\\) == partitioner.getGlobalSize\\(\\) splitRows: rows.size\\(\\) != "
               "partitioner.getGlobalSize\\(\\)");
}

TEST(CSRMatrix, SelectRowsAndColumns) {
  // [[1, 0, 2, 0], [0, 3, 0, 0], [4, 0, 5, 6]]
  auto m = makeCsr<double>(3, 4, {0, 2, 3, 6}, {0, 2, 1, 0, 2, 3}, {1, 2, 3, 4, 5, 6});
  Csr<double> out;
  m.getSelectedRows(denseOf<int>({2, 0}, 2), out, false);
  EXPECT_EQ(toDense(out), (std::vector<double>{4, 0, 5, 6, 1, 0, 2, 0}));
  // Selected rows keep their place; a row chosen twice counts once.
  m.getSelectedRows(denseOf<int>({2, 2}, 2), out, true);
  EXPECT_EQ(out.getNnzs(), 3);
  EXPECT_EQ(toDense(out), (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 5, 6}));
  m.getSelectedCols(denseOf<int>({1, 2}, 2), out, -1);
  EXPECT_EQ(out.getCols(), 2);
  EXPECT_EQ(toDense(out), (std::vector<double>{0, 2, 3, 0, 0, 5}));

  m.getSelectedRows(MatrixT<int>(), out, false);
  expectDefault(out);
  m.getSelectedCols(MatrixT<int>(), out, 0);
  expectDefault(out);
}

TEST(CSRMatrix, DiagonalUpdateAndJacobiSweep) {
  // [[2, 1, 0], [1, 0, 0], [0, 1, 3]]: row 1 stores no diagonal.
  auto a = makeCsr<double>(3, 3, {0, 2, 3, 5}, {0, 1, 0, 1, 2}, {2, 1, 1, 1, 3});
  Csr<double> out;
  Csr<double>::axpbyDiag(2.0, denseOf<double>({1, 2, 3}, 3), 3.0, denseOf<double>({1, 1, 2}, 3), a, out, 0, 0);
  EXPECT_EQ(toDense(out), (std::vector<double>{2 + 6, 1, 0, 1, 4, 0, 0, 1, 6 + 18}));
  // Empty x and y read 0 and 1.
  out = Csr<double>();
  Csr<double>::axpbyDiag(2.0, MatrixT<double>(), 3.0, MatrixT<double>(), a, out, 0, 0);
  EXPECT_EQ(toDense(out), (std::vector<double>{6, 1, 0, 1, 0, 0, 0, 1, 9}));
  // A block to the right of the diagonal holds none of it.
  out = Csr<double>();
  Csr<double>::axpbyDiag(1.0, MatrixT<double>(), 0.0, MatrixT<double>(), a, out, 0, 3);
  EXPECT_EQ(toDense(out), toDense(a));

  // Both rows read the old x: x + omega (b - A x) / d.
  auto b = makeCsr<double>(2, 2, {0, 2, 4}, {0, 1, 0, 1}, {4, 1, 1, 3});
  MatrixT<double> x = denseOf<double>({1, 1}, 2);
  b.jacobi(denseOf<double>({6, 8}, 2), x, 0.5);
  test::expectAllNear({1 + 0.5 * (6 - 5) / 4.0, 1 + 0.5 * (8 - 4) / 3.0}, contents(x));
}

template <class V>
class CSRMatrixTyped : public ::testing::Test {};
TYPED_TEST_SUITE(CSRMatrixTyped, test::CoreTypes);

TYPED_TEST(CSRMatrixTyped, ProductsAndSumsMatchDense) {
  using V = TypeParam;
  const auto da = sampleDense<V>(5, 6, 1), db = sampleDense<V>(6, 4, 2), dc = sampleDense<V>(5, 6, 3);
  const auto a = fromDense(5, 6, da), b = fromDense(6, 4, db), c = fromDense(5, 6, dc);
  Csr<V> product;
  a.multiply(b, product);
  EXPECT_EQ(product.getCols(), 4);
  product.check(false);
  test::expectAllNear(test::denseProduct(5, 6, 4, da, db), toDense(product));

  const V alpha = make<V>(2, 1), beta = make<V>(-1, 0.5);
  Csr<V> sum;
  Csr<V>::matadd(alpha, a, beta, c, sum);
  sum.check(true);
  std::vector<V> expected(da.size());
  for (size_t k = 0; k < da.size(); ++k) expected[k] = alpha * da[k] + beta * dc[k];
  test::expectAllNear(expected, toDense(sum));
  // With one operand empty the result is a scaled copy that shares nothing with the other.
  Csr<V>::matadd(alpha, Csr<V>(), beta, c, sum);
  EXPECT_NE(sum.getValues(), c.getValues());
  for (size_t k = 0; k < dc.size(); ++k) expected[k] = beta * dc[k];
  test::expectAllNear(expected, toDense(sum));
  EXPECT_EQ(toDense(c), dc);
}

TYPED_TEST(CSRMatrixTyped, TransposeInPlaceThroughTheSameHandle) {
  using V = TypeParam;
  const V a = make<V>(1, 1), b = make<V>(2), c = make<V>(3, -1), o = V(0);
  // [[0, b, a], [c, 0, 0]] with row 0 stored in descending column order.
  auto m = makeCsr<V>(2, 3, {0, 2, 3}, {2, 1, 0}, {a, b, c});
  Csr<V> t = m;
  t.transpose(t);
  EXPECT_EQ(t.getRows(), 3);
  t.check(true);
  EXPECT_EQ(toDense(t), (std::vector<V>{o, c, b, o, a, o}));
}

TYPED_TEST(CSRMatrixTyped, SplitAndMergeRoundTrip) {
  using V = TypeParam;
  const auto dense = sampleDense<V>(4, 6, 5), db = sampleDense<V>(4, 6, 6);
  const auto m = fromDense(4, 6, dense), b = fromDense(4, 6, db);
  std::vector<Csr<V>> blocks;
  m.splitCols(partition(6), blocks);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(toDense(Csr<V>::mergeCols(partition(6), blocks)), dense);
  EXPECT_EQ(toDense(Csr<V>::mergeRows(partition(4), {m})), dense);
  EXPECT_EQ(Csr<V>::mergeRows(partition(4), {}).getRows(), 0);

  // With one rank a partitioner has one part, and the uniform rule continues past it: part p
  // of a size-N partition begins at p N. Merging several blocks thus places them at multiples
  // of N, and an empty block takes N rows or columns.
  const auto side = Csr<V>::mergeCols(partition(6), {m, Csr<V>(), b});
  const auto stacked = Csr<V>::mergeRows(partition(4), {m, Csr<V>(), b});
  side.check(true);
  stacked.check(true);
  EXPECT_EQ(side.getCols(), 18);
  std::vector<V> joined, piled = dense;
  for (int i = 0; i < 4; ++i) {
    joined.insert(joined.end(), dense.begin() + i * 6, dense.begin() + (i + 1) * 6);
    joined.insert(joined.end(), 6, V(0));
    joined.insert(joined.end(), db.begin() + i * 6, db.begin() + (i + 1) * 6);
  }
  piled.insert(piled.end(), 24, V(0));
  piled.insert(piled.end(), db.begin(), db.end());
  EXPECT_EQ(toDense(side), joined);
  EXPECT_EQ(toDense(stacked), piled);

  // Only empty blocks: rows from the partition, no columns, and clean offsets.
  const auto blank = Csr<V>::mergeRows(partition(5), {Csr<V>()});
  EXPECT_EQ(blank.getRows(), 5);
  EXPECT_EQ(blank.getCols(), 0);
  blank.check(true);
  EXPECT_EQ(Csr<V>::mergeCols(partition(5), {Csr<V>()}).getRows(), 0);
}

// The device path against the host oracle, on sizes past one warp.
TEST(CSRMatrixGpu, DeviceMatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = Complex<double>;
  const Device gpu = test::kGpu;
  const auto a = fromDense(40, 50, sampleDense<V>(40, 50, 1)), b = fromDense(50, 45, sampleDense<V>(50, 45, 2)),
             c = fromDense(40, 50, sampleDense<V>(40, 50, 3));
  auto ga = a.toDevice(gpu), gb = b.toDevice(gpu), gc = c.toDevice(gpu);
  Csr<V> product, gproduct, sum, gsum;
  a.multiply(b, product);
  ga.multiply(gb, gproduct);
  EXPECT_EQ(gproduct.getDevice(), gpu);
  gproduct.check(false);
  EXPECT_EQ(toDense(gproduct), toDense(product));
  Csr<V>::matadd(make<V>(2), a, make<V>(0, 1), c, sum);
  Csr<V>::matadd(make<V>(2), ga, make<V>(0, 1), gc, gsum);
  EXPECT_EQ(toDense(gsum), toDense(sum));

  std::vector<Csr<V>> blocks;
  ga.splitCols(partition(50), blocks);
  const auto merged = Csr<V>::mergeCols(partition(50), blocks);
  EXPECT_EQ(merged.getDevice(), gpu);
  EXPECT_EQ(toDense(merged), toDense(ga));
  EXPECT_EQ(toDense(Csr<V>::mergeRows(partition(40), {ga})), toDense(ga));
}

}  // namespace
