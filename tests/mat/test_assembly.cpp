#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "ParCSRTestHelpers.h"
#include "TestHelpers.h"

namespace {

using namespace velmo;
using test::colIdxOf;
using test::contents;
using test::kHost;
using test::make;
using test::partsOf;
using test::rowPtrOf;
using test::toDense;
using test::valuesOf;

template <class P>
class Assembly : public ::testing::Test {};
TYPED_TEST_SUITE(Assembly, test::ParTypeList);

TYPED_TEST(Assembly, LaterCallsResolveDuplicatesByMode) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  const V a = make<V>(2, 1), b = make<V>(-5, 3), c = make<V>(7), o = V(0);
  typename TypeParam::Matrix A;
  A.create(G(5), G(5), kHost);
  A.beginAssemble();
  A.setValue(0, 0, a, 0);
  A.setValue(0, 0, b, 0);
  A.setValue(1, 1, a, 1);
  A.setValue(1, 1, b, 1);
  A.setValue(2, 2, a, 1);
  A.setValue(2, 2, b, 1);
  A.setValue(2, 2, c, 0);
  A.setValue(3, 3, b, 1);  // a new entry adds to zero
  A.setValue(4, 0, c, 2);  // an unknown mode stores nothing, but the row exists
  A.endAssemble();

  const std::vector<V> expected{b, o, o, o, o, o, a + b, o, o, o, o, o, c, o, o, o, o, o, b, o, o, o, o, o, o};
  EXPECT_EQ(toDense(A.getLocalMatrix()), expected);
  EXPECT_EQ(A.getNnzs(), 4);
  std::map<G, G> rowLengths;
  A.traversal([&](G row, G n) { return rowLengths.emplace(row, n).second; }, {});
  EXPECT_EQ(rowLengths, (std::map<G, G>{{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 0}}));
}

// Columns arrive in descending and in mixed order.
TYPED_TEST(Assembly, RowsComeOutSortedWithEmptyRowsKept) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  typename TypeParam::Matrix A;
  A.create(G(4), G(6), kHost);
  A.beginAssemble();
  for (int col = 5; col >= 0; col -= 2) A.setValue(0, col, make<V>(col, 1), 0);
  // Row 1 stays empty.
  for (int col : {2, 5, 0, 4, 1, 3}) A.setValue(2, col, make<V>(10 + col), 1);
  A.setValue(3, 2, make<V>(-1), 0);
  A.endAssemble();

  const CSRMatrixT<V, int> local = A.getLocalMatrix();
  EXPECT_EQ(rowPtrOf(local), (std::vector<int>{0, 3, 3, 9, 10}));
  EXPECT_EQ(colIdxOf(local), (std::vector<int>{1, 3, 5, 0, 1, 2, 3, 4, 5, 2}));
  EXPECT_EQ(valuesOf(local), (std::vector<V>{make<V>(1, 1), make<V>(3, 1), make<V>(5, 1), make<V>(10), make<V>(11),
                                             make<V>(12), make<V>(13), make<V>(14), make<V>(15), make<V>(-1)}));
}

TYPED_TEST(Assembly, ColumnsAreCutIntoBlocksByPart) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  const V b = make<V>(4), c = make<V>(8, 2);
  typename TypeParam::Matrix A;
  A.create(partsOf<G>(3, 1), partsOf<G>(4, 2), {}, kHost);
  A.beginAssemble();
  A.setValue(0, 1, make<V>(3, -1), 0);
  A.setValue(1, 3, b, 0);
  A.endAssemble();
  EXPECT_EQ(A.getLocalMatrix(0).getNnzs(), 1);
  EXPECT_EQ(colIdxOf(A.getLocalMatrix(1)), std::vector<int>{1});
  EXPECT_EQ(A.getElementValue(1, 3), b);

  // Element access changes stored entries only.
  bool found = false;
  EXPECT_TRUE(A.setElementValue(1, 3, c));
  EXPECT_EQ(A.getElementValue(1, 3, &found), c);
  EXPECT_TRUE(found);
  EXPECT_FALSE(A.setElementValue(1, 2, c));  // never inserts
  EXPECT_FALSE(A.setElementValue(3, 1, c));  // past the rows this rank owns
  EXPECT_EQ(A.getNnzs(), 2);
}

TYPED_TEST(Assembly, NothingSetGivesNoBlocksOrZeros) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  typename TypeParam::Matrix A;
  A.create(G(3), G(3), kHost);
  A.beginAssemble();
  testing::internal::CaptureStderr();
  A.endAssemble();
  const std::string sparseLog = testing::internal::GetCapturedStderr();
  EXPECT_EQ(A.getNnzs(), 0);
  const size_t begin = sparseLog.find("begin splitRows"), finish = sparseLog.find("finish splitRows"),
               convert = sparseLog.find("begin coo to csr");
  ASSERT_NE(convert, std::string::npos) << sparseLog;
  EXPECT_LT(begin, finish);
  EXPECT_LT(finish, convert);

  // The dense form needs no beginAssemble after create, and has no conversion to log.
  typename TypeParam::Vector v(G(3), G(2), kHost);
  v.fill(make<V>(9));
  testing::internal::CaptureStderr();
  v.endAssemble();
  const std::string denseLog = testing::internal::GetCapturedStderr();
  EXPECT_EQ(contents(v.getLocalMatrix()), std::vector<V>(6, V(0)));
  EXPECT_NE(denseLog.find("finish splitRows"), std::string::npos) << denseLog;
  EXPECT_EQ(denseLog.find("begin coo to csr"), std::string::npos) << denseLog;
}

TYPED_TEST(Assembly, TraversalWalksTheBuffer) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  const V a = make<V>(1, 2), b = make<V>(-3), c = make<V>(6, -1), o = V(0);
  typename TypeParam::Matrix A;
  A.create(G(3), G(3), kHost);
  A.beginAssemble();
  A.setValue(0, 1, a, 0);
  A.setValue(2, 0, b, 0);
  A.setValue(2, 2, c, 0);
  A.endAssemble();

  std::map<G, G> rowLengths;
  std::map<std::pair<G, G>, V> entries;
  A.traversal([&](G row, G n) { return rowLengths.emplace(row, n).second; },
              [&](G row, G col, V& v) { return entries.emplace(std::make_pair(row, col), v).second; });
  EXPECT_EQ(rowLengths, (std::map<G, G>{{0, 1}, {2, 2}}));
  EXPECT_EQ(entries, (std::map<std::pair<G, G>, V>{{{0, 1}, a}, {{2, 0}, b}, {{2, 2}, c}}));

  // Writes reach the blocks at the next endAssemble, which rebuilds from the whole buffer.
  A.traversal({}, [](G, G, V& v) {
    v = v + v;
    return true;
  });
  EXPECT_EQ(A.getElementValue(2, 0), b);
  A.setValue(1, 1, c, 0);
  A.endAssemble();
  EXPECT_EQ(toDense(A.getLocalMatrix()), (std::vector<V>{o, a + a, o, o, c, o, b + b, o, c + c}));
}

// Adds from every thread to shared off-diagonal entries, and overwrites each diagonal entry
// once. Small integers keep every sum exact in any order.
template <class Matrix, class V>
CSRMatrixT<V, int> assembleConcurrently(int n, int threads) {
  Matrix A;
  A.create(n, n, kHost);
  A.beginAssemble();
  const int items = 6000;
  auto work = [&](int first) {
    for (int k = first; k < items; k += threads) {
      const int row = (k * 7) % n;
      A.setValue(row, (row + 1 + k % 3) % n, make<V>(k % 5 + 1, k % 3), 1);
      if (k < n) A.setValue(k, k, make<V>(-k, 1), 0);
    }
  };
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t) pool.emplace_back(work, t);
  for (std::thread& t : pool) t.join();
  A.endAssemble();
  return A.getLocalMatrix();
}

TYPED_TEST(Assembly, ManyThreadsGiveTheSameMatrixAsOne) {
  using V = typename TypeParam::Value;
  using Matrix = typename TypeParam::Matrix;
  const int n = 37;
  const auto expected = assembleConcurrently<Matrix, V>(n, 1), actual = assembleConcurrently<Matrix, V>(n, 8);
  EXPECT_EQ(actual.getNnzs(), 4 * n);
  EXPECT_EQ(rowPtrOf(actual), rowPtrOf(expected));
  EXPECT_EQ(colIdxOf(actual), colIdxOf(expected));
  EXPECT_EQ(valuesOf(actual), valuesOf(expected));
}

TYPED_TEST(Assembly, CreateByAssembleTakesGlobalRows) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  const V a = make<V>(1, 1), b = make<V>(2), c = make<V>(3, -2), d = make<V>(4);
  if constexpr (std::is_same_v<G, int>) {
    // Rows given in descending column order come out sorted.
    typename TypeParam::Matrix A;
    A.createByAssemble(test::makeCsr<V>(3, 4, {0, 2, 2, 4}, {3, 0, 2, 1}, {a, b, c, d}), comu::kCommWorld);
    EXPECT_EQ(A.getCols(), 4);
    EXPECT_EQ(A.getComm(), comu::kCommWorld);
    const CSRMatrixT<V, int> local = A.getLocalMatrix();
    EXPECT_EQ(rowPtrOf(local), (std::vector<int>{0, 2, 2, 4}));
    EXPECT_EQ(colIdxOf(local), (std::vector<int>{0, 3, 1, 2}));
    EXPECT_EQ(valuesOf(local), (std::vector<V>{b, a, d, c}));
    A.createByAssemble(CSRMatrixT<V, int>());
    EXPECT_EQ(A.getRows(), 0);
  }

  MatrixT<V, G, MatrixLayoutRowMajor> dense(G(3), G(2), kHost);
  const std::vector<V> values{a, V(0), b, c, V(0), d};
  std::copy(values.begin(), values.end(), dense.getData());
  typename TypeParam::Vector m;
  m.createByAssemble(dense, comu::kCommWorld);
  EXPECT_EQ(m.getCols(), 2);
  EXPECT_EQ(m.getComm(), comu::kCommWorld);
  EXPECT_EQ(contents(m.getLocalMatrix()), values);
}

TYPED_TEST(Assembly, DenseAssemblyByRowAndColumn) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  const V a = make<V>(1, -1), b = make<V>(5), c = make<V>(-2), o = V(0);
  typename TypeParam::Vector v(G(4), kHost);
  v.setValue(1, a, 1);
  v.setValue(1, b, 1);
  v.setValue(3, a, 1);
  v.setValue(3, c, 0);
  v.endAssemble();
  EXPECT_EQ(contents(v.getLocalMatrix()), (std::vector<V>{o, a + b, o, c}));

  // After a create from partitioners the buffer has to be begun first.
  typename TypeParam::Vector w;
  w.create(partsOf<G>(3, 1), partsOf<G>(2, 1), kHost);
  w.beginAssemble();
  w.setValue(2, 1, a, 0);
  w.setValue(0, 0, b, 1);
  w.endAssemble();
  EXPECT_EQ(contents(w.getLocalMatrix()), (std::vector<V>{b, o, o, o, o, a}));
}

}  // namespace
