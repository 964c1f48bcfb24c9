#include <cmath>
#include <limits>
#include <vector>

#include "SparseTestHelpers.h"
#include "TestHelpers.h"
#include "mat/CSRMatrix.h"
#include "mat/Partitioner.h"

namespace {

using namespace velmo;
using test::fromDense;
using test::kHost;
using test::make;
using test::makeCsr;
using test::sampleDense;
using test::toDense;

template <class V>
using Csr = CSRMatrixT<V, int>;

template <class V>
void expectDenseNear(const std::vector<V>& expected, const std::vector<V>& actual, double scale = 16) {
  ASSERT_EQ(expected.size(), actual.size());
  for (size_t k = 0; k < expected.size(); ++k) test::expectNear(expected[k], actual[k], scale);
}

template <class V>
MatrixT<V> column(const std::vector<V>& values) {
  MatrixT<V> v(int(values.size()), 1, kHost);
  std::copy(values.begin(), values.end(), v.getData());
  return v;
}

template <class V>
std::vector<V> entries(const MatrixT<V>& v) {
  return {v.getData(), v.getData() + v.getSize()};
}

template <class V>
std::vector<V> transposed(int rows, int cols, const std::vector<V>& dense) {
  std::vector<V> t(dense.size());
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) t[size_t(j) * rows + i] = dense[size_t(i) * cols + j];
  return t;
}

PartitionerT<int, int> partition(int globalSize) {
  PartitionerT<int, int> p;
  p.create(globalSize, comu::kCommSelf);
  return p;
}

void expectDefault(const Csr<double>& m) {
  EXPECT_EQ(m.getRows(), 0);
  EXPECT_EQ(m.getCols(), 0);
  EXPECT_EQ(m.getNnzs(), 0);
  EXPECT_EQ(m.getRowPtr(), nullptr);
}

TEST(CSRMatrix, TwoPassConstructionStates) {
  Csr<double> m;
  m.create(3, 4, 0, kHost);
  EXPECT_NE(m.getRowPtr(), nullptr);
  EXPECT_EQ(m.getColIdx(), nullptr);
  EXPECT_EQ(m.getValues(), nullptr);

  // The symbolic pass writes the offsets, the count is read back, the entries are sized.
  int* row_ptr = m.getRowPtr();
  row_ptr[0] = 0, row_ptr[1] = 2, row_ptr[2] = 2, row_ptr[3] = 3;
  EXPECT_EQ(m.evaluateNnzs(), 3);
  m.resizeNnz(m.evaluateNnzs(), 5);
  EXPECT_EQ(m.getNnzs(), 3);
  EXPECT_EQ(m.getCols(), 5);
  EXPECT_NE(m.getColIdx(), nullptr);
  EXPECT_NE(m.getValues(), nullptr);
}

TEST(CSRMatrixDeathTest, ResizeNnzOnCompleteMatrix) {
  auto m = makeCsr<double>(1, 2, {0, 1}, {1}, {2.0});
  EXPECT_DEATH(m.resizeNnz(1, 0), "Check failed: m_impl->col_idx == 0 && m_impl->values == 0 ");
  EXPECT_DEATH(m.resizeNnz(4, 0), "Check failed: m_impl->col_idx == 0 && m_impl->values == 0 ");
}

TEST(CSRMatrix, ResizeAndHandles) {
  auto m = makeCsr<double>(2, 3, {0, 1, 2}, {0, 2}, {1.0, 2.0});
  Csr<double> alias = m;
  int* row_ptr = m.getRowPtr();

  // Same rows on the same device: only the column count changes, everything else stays.
  m.resize(2, 7, kHost);
  EXPECT_EQ(alias.getCols(), 7);
  EXPECT_EQ(alias.getRowPtr(), row_ptr);
  EXPECT_EQ(alias.getNnzs(), 2);

  // Otherwise the arrays go, in place, for every handle.
  m.resize(4, 3, kHost);
  EXPECT_EQ(alias.getRows(), 4);
  EXPECT_EQ(alias.getNnzs(), 0);
  EXPECT_EQ(alias.getColIdx(), nullptr);
  EXPECT_NE(alias.getRowPtr(), nullptr);

  // create replaces the handle's implementation only.
  m.create(1, 1, 1, kHost);
  EXPECT_EQ(alias.getRows(), 4);
  EXPECT_FALSE(m.sharesStorageWith(alias));
}

TEST(CSRMatrix, CopiesAreIndependent) {
  auto m = makeCsr<double>(2, 3, {0, 2, 3}, {2, 0, 1}, {1.0, 2.0, 3.0});
  Csr<double> copy;
  m.deepCopy(copy);
  copy.getValues()[0] = 100;
  EXPECT_EQ(m.getValues()[0], 1.0);
  EXPECT_EQ(toDense(m)[2], 1.0);

  // A target of the same shape keeps its arrays.
  const double* values = copy.getValues();
  m.deepCopy(copy);
  EXPECT_EQ(copy.getValues(), values);
  EXPECT_EQ(toDense(copy), toDense(m));

  Csr<double> moved = m.toDevice(kHost);
  EXPECT_FALSE(moved.sharesStorageWith(m));
  EXPECT_NE(moved.getValues(), m.getValues());
  EXPECT_EQ(toDense(moved), toDense(m));

  Csr<Complex<double>> complex = makeCsr<Complex<double>>(2, 3, {0, 2, 3}, {2, 0, 1}, {{1, 1}, {2, 0}, {0, 3}});
  Csr<double> pattern;
  complex.copyStructure(pattern);
  EXPECT_EQ(pattern.getNnzs(), 3);
  EXPECT_NE(pattern.getValues(), nullptr);
  EXPECT_EQ(std::vector<int>(pattern.getColIdx(), pattern.getColIdx() + 3), (std::vector<int>{2, 0, 1}));
  EXPECT_EQ(std::vector<int>(pattern.getRowPtr(), pattern.getRowPtr() + 3), (std::vector<int>{0, 2, 3}));
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

  auto full = makeCsr<double>(4, 2, {0, 1, 1, 1, 2}, {0, 1}, {1.0, 2.0});
  empty.multiply(full, out);
  expectDefault(out);

  MatrixT<double> y = column<double>({1, 2, 3});
  empty.aAxpby(1.0, column<double>({1, 1, 1, 1}), 2.0, y);
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

TEST(CSRMatrix, ElementAccess) {
  auto m = makeCsr<double>(2, 3, {0, 2, 3}, {2, 0, 1}, {1.0, 2.0, 3.0});
  bool found = false;
  EXPECT_EQ(m.getElementValue(0, 2, &found), 1.0);
  EXPECT_TRUE(found);
  EXPECT_EQ(m.getElementValue(1, 1), 3.0);
  EXPECT_EQ(m.getElementValue(1, 2, &found), 0.0);
  EXPECT_FALSE(found);

  EXPECT_TRUE(m.setElementValue(0, 0, -4.0));
  EXPECT_EQ(m.getValues()[1], -4.0);
  EXPECT_FALSE(m.setElementValue(1, 0, 9.0));  // never inserts
  EXPECT_EQ(m.getNnzs(), 3);
  EXPECT_EQ(toDense(m), (std::vector<double>{-4, 0, 1, 0, 3, 0}));
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

TEST(CSRMatrixDeathTest, OperandChecks) {
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

  MatrixT<double> x3 = column<double>({1, 2, 3}), y2 = column<double>({0, 0});
  MatrixT<double> wide(3, 2, kHost), y3 = column<double>({0, 0, 0});
  EXPECT_DEATH(a.aAxpby(1.0, wide, 0.0, y2), "Check failed: x.getCols\\(\\) == 1 aAxpby: x.cols!= 1");
  EXPECT_DEATH(a.aAxpby(1.0, y2, 0.0, y2), "Check failed: A.getCols\\(\\) == x.getRows\\(\\) aAxpby: A.cols != x.rows");
  EXPECT_DEATH(a.aAxpby(1.0, x3, 0.0, y3),
               "Check failed: A.getRows\\(\\) == y.getRows\\(\\) && x.getCols\\(\\) == y.getCols\\(\\) aAxpby: "
               "A.rows!= y.rows");
}

TEST(CSRMatrixDeathTest, MergeChecks) {
  auto p = partition(2);
  auto twoCols = makeCsr<double>(2, 2, {0, 1, 2}, {0, 1}, {1.0, 2.0});
  auto threeCols = makeCsr<double>(2, 3, {0, 1, 2}, {0, 1}, {1.0, 2.0});
  auto threeRows = makeCsr<double>(3, 2, {0, 1, 2, 2}, {0, 1}, {1.0, 2.0});
  EXPECT_DEATH(Csr<double>::mergeRows(p, {twoCols, threeCols}),
               "Check failed: cols == blk.getCols\\(\\) merge: submat column size should be equal");
  EXPECT_DEATH(Csr<double>::mergeCols(p, {twoCols, threeRows}),
               "Check failed: rows == blk.getRows\\(\\) merge: submat row size should be equal");
  // A block whose count disagrees with its offsets.
  auto miscounted = makeCsr<double>(2, 2, {0, 1, 1}, {0, 1}, {1.0, 2.0});
  EXPECT_DEATH(Csr<double>::mergeCols(p, {miscounted}), "Check failed: nnzs == nnzsAcc nnz not equal");

  std::vector<Csr<double>> blocks;
  EXPECT_DEATH(twoCols.splitCols(partition(3), blocks),
               "Check failed: this->getCols\\(\\) == partitioner.getGlobalSize\\(\\) splitRows: rows.size\\(\\) != "
               "partitioner.getGlobalSize\\(\\)");
}

TEST(CSRMatrix, SelectRowsAndColumns) {
  // [[1, 0, 2, 0], [0, 3, 0, 0], [4, 0, 5, 6]]
  auto m = makeCsr<double>(3, 4, {0, 2, 3, 6}, {0, 2, 1, 0, 2, 3}, {1, 2, 3, 4, 5, 6});
  Csr<double> out;
  m.getSelectedRows(column<int>({2, 0}), out, false);
  EXPECT_EQ(out.getRows(), 2);
  EXPECT_EQ(toDense(out), (std::vector<double>{4, 0, 5, 6, 1, 0, 2, 0}));

  // Selected rows keep their place; a row chosen twice counts once.
  m.getSelectedRows(column<int>({2, 2}), out, true);
  EXPECT_EQ(out.getRows(), 3);
  EXPECT_EQ(out.getNnzs(), 3);
  EXPECT_EQ(toDense(out), (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 4, 0, 5, 6}));

  m.getSelectedCols(column<int>({1, 2}), out, -1);
  EXPECT_EQ(out.getCols(), 2);
  EXPECT_EQ(toDense(out), (std::vector<double>{0, 2, 3, 0, 0, 5}));

  m.getSelectedRows(MatrixT<int>(), out, false);
  expectDefault(out);
  m.getSelectedCols(MatrixT<int>(), out, 0);
  expectDefault(out);
}

TEST(CSRMatrix, DiagonalUpdate) {
  // [[2, 1, 0], [1, 0, 0], [0, 1, 3]]: row 1 stores no diagonal.
  auto a = makeCsr<double>(3, 3, {0, 2, 3, 5}, {0, 1, 0, 1, 2}, {2, 1, 1, 1, 3});
  const MatrixT<double> none;
  auto update = [&](double alpha, const MatrixT<double>& x, double beta, const MatrixT<double>& y, int rowOffset,
                    int colOffset) {
    Csr<double> out;  // a target holding entries would be refused
    Csr<double>::axpbyDiag(alpha, x, beta, y, a, out, rowOffset, colOffset);
    return out;
  };
  auto out = update(2.0, column<double>({1, 2, 3}), 3.0, column<double>({1, 1, 2}), 0, 0);
  EXPECT_EQ(out.getNnzs(), 6);
  EXPECT_EQ(toDense(out), (std::vector<double>{2 + 6, 1, 0, 1, 4, 0, 0, 1, 6 + 18}));

  // Without x the diagonal reads 0, without y 1.
  EXPECT_EQ(toDense(update(2.0, none, 3.0, none, 0, 0)), (std::vector<double>{6, 1, 0, 1, 0, 0, 0, 1, 9}));

  // A block of columns 3..5 of rows 3..5 holds the diagonal at its local columns 0..2; a block
  // to the right of the diagonal holds none of it.
  EXPECT_EQ(toDense(update(1.0, none, 0.0, none, 3, 3)), (std::vector<double>{0, 1, 0, 1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(toDense(update(1.0, none, 0.0, none, 0, 3)), toDense(a));
}

TEST(CSRMatrix, JacobiSweep) {
  auto a = makeCsr<double>(2, 2, {0, 2, 4}, {0, 1, 0, 1}, {4, 1, 1, 3});
  MatrixT<double> x = column<double>({1, 1});
  a.jacobi(column<double>({6, 8}), x, 0.5);
  // Both rows read the old x: x + omega (b - A x) / d.
  test::expectNear(1 + 0.5 * (6 - 5) / 4.0, x.getData()[0]);
  test::expectNear(1 + 0.5 * (8 - 4) / 3.0, x.getData()[1]);
}

template <class V>
class CSRMatrixTyped : public ::testing::Test {};
TYPED_TEST_SUITE(CSRMatrixTyped, test::ScalarTypes);

TYPED_TEST(CSRMatrixTyped, ProductMatchesDense) {
  using V = TypeParam;
  const auto da = sampleDense<V>(5, 6, 1), db = sampleDense<V>(6, 4, 2);
  auto a = fromDense(5, 6, da), b = fromDense(6, 4, db);
  Csr<V> c;
  a.multiply(b, c);
  EXPECT_EQ(c.getRows(), 5);
  EXPECT_EQ(c.getCols(), 4);
  c.check(false);
  expectDenseNear(test::denseProduct(5, 6, 4, da, db), toDense(c));
}

TYPED_TEST(CSRMatrixTyped, SumMatchesDense) {
  using V = TypeParam;
  const auto da = sampleDense<V>(5, 6, 1), db = sampleDense<V>(5, 6, 3);
  auto a = fromDense(5, 6, da), b = fromDense(5, 6, db);
  const V alpha = make<V>(2, 1), beta = make<V>(-1, 0.5);
  Csr<V> c;
  Csr<V>::matadd(alpha, a, beta, b, c);
  c.check(true);
  std::vector<V> expected(da.size());
  for (size_t k = 0; k < da.size(); ++k) expected[k] = alpha * da[k] + beta * db[k];
  expectDenseNear(expected, toDense(c));

  // A cancelling sum keeps its entries, as explicit zeros.
  Csr<V> copy, zero;
  a.deepCopy(copy);
  Csr<V>::matadd(make<V>(1), a, make<V>(-1), copy, zero);
  EXPECT_EQ(zero.getNnzs(), a.getNnzs());
  EXPECT_EQ(toDense(zero), std::vector<V>(da.size(), V(0)));

  // With one operand empty the result is a scaled copy that shares nothing with the other.
  Csr<V> empty;
  Csr<V>::matadd(alpha, empty, beta, b, c);
  EXPECT_FALSE(c.sharesStorageWith(b));
  EXPECT_NE(c.getValues(), b.getValues());
  for (size_t k = 0; k < db.size(); ++k) expected[k] = beta * db[k];
  expectDenseNear(expected, toDense(c));
  EXPECT_EQ(toDense(b), db);
}

TYPED_TEST(CSRMatrixTyped, MatrixVectorProduct) {
  using V = TypeParam;
  const auto da = sampleDense<V>(5, 6, 4);
  auto a = fromDense(5, 6, da);
  std::vector<V> x(6), y0(5);
  for (int k = 0; k < 6; ++k) x[k] = make<V>(k - 2, 1);
  for (int k = 0; k < 5; ++k) y0[k] = make<V>(3 - k, -1);
  const V alpha = make<V>(2, -1), beta = make<V>(3);
  MatrixT<V> y = column(y0);
  a.aAxpby(alpha, column(x), beta, y);
  const auto ax = test::denseProduct(5, 6, 1, da, x);
  std::vector<V> expected(5);
  for (int k = 0; k < 5; ++k) expected[k] = alpha * ax[k] + beta * y0[k];
  expectDenseNear(expected, entries(y));

  if constexpr (std::is_floating_point_v<RealOf<V>>) {
    // beta == 0 never reads y.
    MatrixT<V> garbage = column(std::vector<V>(5, V(std::numeric_limits<RealOf<V>>::quiet_NaN())));
    a.aAxpby(alpha, column(x), V(0), garbage);
    for (int k = 0; k < 5; ++k) expected[k] = alpha * ax[k];
    expectDenseNear(expected, entries(garbage));
  }
}

TYPED_TEST(CSRMatrixTyped, TransposeSortsUnsortedRows) {
  using V = TypeParam;
  // [[0, 2, 1], [3, 0, 0]] with row 0 stored in descending column order.
  auto m = makeCsr<V>(2, 3, {0, 2, 3}, {2, 1, 0}, {make<V>(1, 1), make<V>(2), make<V>(3, -1)});
  Csr<V> t;
  m.transpose(t);
  EXPECT_EQ(t.getRows(), 3);
  EXPECT_EQ(t.getCols(), 2);
  t.check(true);
  EXPECT_EQ(toDense(t), transposed(2, 3, toDense(m)));

  // In place through the same handle.
  Csr<V> same = t;
  same.transpose(same);
  EXPECT_EQ(toDense(same), toDense(m));
}

TYPED_TEST(CSRMatrixTyped, SplitAndMergeRoundTrip) {
  using V = TypeParam;
  const auto dense = sampleDense<V>(4, 6, 5);
  auto m = fromDense(4, 6, dense);
  std::vector<Csr<V>> blocks;
  m.splitCols(partition(6), blocks);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(toDense(blocks[0]), dense);
  EXPECT_EQ(toDense(Csr<V>::mergeCols(partition(6), blocks)), dense);
  EXPECT_EQ(toDense(Csr<V>::mergeRows(partition(4), {m})), dense);
  EXPECT_EQ(Csr<V>::mergeRows(partition(4), {}).getRows(), 0);

  // With one rank a partitioner has one part, and the uniform rule continues past it: part p
  // of a size-N partition begins at p N. Merging several blocks thus places them at multiples
  // of N, and an empty block takes N rows or columns.
  const auto db = sampleDense<V>(4, 6, 6);
  auto b = fromDense(4, 6, db);
  Csr<V> none;
  auto side = Csr<V>::mergeCols(partition(6), {m, none, b});
  EXPECT_EQ(side.getRows(), 4);
  EXPECT_EQ(side.getCols(), 18);
  side.check(true);
  auto stacked = Csr<V>::mergeRows(partition(4), {m, none, b});
  EXPECT_EQ(stacked.getRows(), 12);
  EXPECT_EQ(stacked.getCols(), 6);
  stacked.check(true);
  const auto ds = toDense(side), dt = toDense(stacked);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 6; ++j) {
      EXPECT_EQ(ds[size_t(i) * 18 + j], dense[size_t(i) * 6 + j]);
      EXPECT_EQ(ds[size_t(i) * 18 + 6 + j], V(0));
      EXPECT_EQ(ds[size_t(i) * 18 + 12 + j], db[size_t(i) * 6 + j]);
      EXPECT_EQ(dt[size_t(i) * 6 + j], dense[size_t(i) * 6 + j]);
      EXPECT_EQ(dt[size_t(i + 4) * 6 + j], V(0));
      EXPECT_EQ(dt[size_t(i + 8) * 6 + j], db[size_t(i) * 6 + j]);
    }
  }

  // Only empty blocks: rows from the partition, no columns, and clean offsets.
  auto blank = Csr<V>::mergeRows(partition(5), {none});
  EXPECT_EQ(blank.getRows(), 5);
  EXPECT_EQ(blank.getCols(), 0);
  EXPECT_EQ(blank.evaluateNnzs(), 0);
  blank.check(true);
  EXPECT_EQ(Csr<V>::mergeCols(partition(5), {none}).getRows(), 0);
}

// The device path against the host oracle, on sizes past one warp.
TEST(CSRMatrixGpu, DeviceMatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = Complex<double>;
  const Device gpu(1, 0);
  const auto da = sampleDense<V>(40, 50, 1), db = sampleDense<V>(50, 45, 2), dc = sampleDense<V>(40, 50, 3);
  auto a = fromDense(40, 50, da), b = fromDense(50, 45, db), c = fromDense(40, 50, dc);
  auto ga = a.toDevice(gpu), gb = b.toDevice(gpu), gc = c.toDevice(gpu);
  EXPECT_EQ(ga.getDevice(), gpu);

  Csr<V> product, gproduct;
  a.multiply(b, product);
  ga.multiply(gb, gproduct);
  EXPECT_EQ(gproduct.getDevice(), gpu);
  gproduct.check(false);
  EXPECT_EQ(toDense(gproduct), toDense(product));

  Csr<V> sum, gsum;
  Csr<V>::matadd(make<V>(2), a, make<V>(0, 1), c, sum);
  Csr<V>::matadd(make<V>(2), ga, make<V>(0, 1), gc, gsum);
  EXPECT_EQ(toDense(gsum), toDense(sum));

  Csr<V> t, gt;
  a.transpose(t);
  ga.transpose(gt);
  EXPECT_EQ(toDense(gt), toDense(t));

  bool found = false;
  EXPECT_EQ(ga.getElementValue(0, 0, &found), a.getElementValue(0, 0));
  EXPECT_TRUE(ga.setElementValue(0, 0, make<V>(7)) == a.setElementValue(0, 0, make<V>(7)));
  EXPECT_EQ(toDense(ga), toDense(a));

  std::vector<Csr<V>> blocks;
  ga.splitCols(partition(50), blocks);
  auto merged = Csr<V>::mergeCols(partition(50), blocks);
  EXPECT_EQ(merged.getDevice(), gpu);
  EXPECT_EQ(toDense(merged), toDense(a));
  EXPECT_EQ(toDense(Csr<V>::mergeRows(partition(40), {ga})), toDense(a));

  std::vector<V> x(50, make<V>(1, -1));
  MatrixT<V> y(40, 1, kHost), gy(40, 1, gpu);
  a.aAxpby(make<V>(1), column(x), V(0), y);
  ga.aAxpby(make<V>(1), column(x).toDevice(gpu), V(0), gy);
  expectDenseNear(entries(y), entries(gy.toDevice(kHost)));
}

}  // namespace
