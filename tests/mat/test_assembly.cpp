#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"

namespace assembly_test {

using namespace velmo;
using namespace velmo::test;

template <class P>
class Assembly : public ::testing::Test {};
TYPED_TEST_SUITE(Assembly, AllTypes);

TYPED_TEST(Assembly, ModesResolveRepeatsAndRowsComeOutSorted) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const V a = make<V>(2, 1), b = make<V>(-5, 3), c = make<V>(7);
  ParCSRMatrixT<V, G, int> A;
  A.create(G(5), G(6), kHost);
  A.beginAssemble();
  // Mode 0 overwrites, mode 1 adds; columns arrive descending and mixed.
  A.setValue(0, 4, a, 0);
  A.setValue(0, 4, b, 0);
  A.setValue(0, 1, a, 1);
  A.setValue(0, 1, b, 1);
  A.setValue(1, 2, a, 1);
  A.setValue(1, 2, c, 0);
  for (int col : {2, 5, 0, 4, 1, 3}) A.setValue(2, col, make<V>(10 + col), 1);
  A.setValue(3, 3, b, 1);  // a new entry adds to zero
  A.setValue(4, 0, c, 2);  // an unknown mode stores nothing, but the row exists
  A.endAssemble();

  const HostCsr<V> expected(5, 6, {0, 2, 3, 9, 10, 10}, {1, 4, 2, 0, 1, 2, 3, 4, 5, 3},
                            {a + b, b, c, make<V>(10), make<V>(11), make<V>(12), make<V>(13), make<V>(14),
                             make<V>(15), b});
  EXPECT_EQ(hostOf(A.getLocalMatrix()).arrays(), expected.arrays());
  std::map<G, G> rowLengths;
  A.traversal([&](G row, G n) { return rowLengths.emplace(row, n).second; }, {});
  EXPECT_EQ(rowLengths, (std::map<G, G>{{0, 2}, {1, 1}, {2, 6}, {3, 1}, {4, 0}}));
}

TYPED_TEST(Assembly, ColumnsAreCutIntoBlocksAndTraversalWalksTheBuffer) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const V a = make<V>(1, 2), b = make<V>(-3), c = make<V>(6, -1), o = V(0);
  ParCSRMatrixT<V, G, int> A;
  A.create(partsOf<G>(3, 1), partsOf<G>(3, 2), {}, kHost);  // column parts {0, 1} and {2}
  A.beginAssemble();
  A.setValue(0, 1, a, 0);
  A.setValue(2, 0, b, 0);
  A.setValue(2, 2, c, 0);
  A.endAssemble();
  EXPECT_EQ(A.getLocalMatrix(0).getNnzs(), 2);
  EXPECT_EQ(hostOf(A.getLocalMatrix(1)).col, std::vector<int>{0});
  EXPECT_EQ(A.getElementValue(2, 2), c);
  // Element access changes stored entries only, and never inserts.
  EXPECT_TRUE(A.setElementValue(2, 2, b));
  EXPECT_FALSE(A.setElementValue(1, 1, c));
  EXPECT_EQ(A.getElementValue(2, 2), b);

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
  A.setValue(1, 1, c, 0);
  A.endAssemble();
  EXPECT_EQ(toDense(A.getLocalMatrix(0)), (std::vector<V>{o, a + a, o, c, b + b, o}));
  EXPECT_EQ(toDense(A.getLocalMatrix(1)), (std::vector<V>{o, o, c + c}));
}

// Nothing set: no blocks, or zeros for the dense form, which has no conversion to log.
TEST(AssemblyLog, NothingSetGivesNoBlocksOrZeros) {
  ParCSRMatrixT<double, long, int> A;
  A.create(3, 3, kHost);
  A.beginAssemble();
  LogCapture sparseLog;
  A.endAssemble();
  EXPECT_EQ(A.getNnzs(), 0);
  EXPECT_EQ(sparseLog.texts(), (std::vector<std::string>{"begin splitRows", "finish splitRows", "begin coo to csr"}));

  ParMatrixT<double, long, int> v(3, 2, kHost);
  v.fill(9);
  LogCapture denseLog;
  v.endAssemble();
  EXPECT_EQ(contents(v), std::vector<double>(6, 0.0));
  EXPECT_EQ(denseLog.texts(), (std::vector<std::string>{"begin splitRows", "finish splitRows"}));
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
  using Matrix = ParCSRMatrixT<V, typename TypeParam::Index, int>;
  const int n = 37;
  const auto expected = assembleConcurrently<Matrix, V>(n, 1), actual = assembleConcurrently<Matrix, V>(n, 8);
  EXPECT_EQ(actual.getNnzs(), 4 * n);
  EXPECT_EQ(hostOf(actual).arrays(), hostOf(expected).arrays());
}

// One thread filling two buffers in turn, and a buffer begun afresh, must not carry a row over
// from the other or the old buffer.
TEST(AssemblyBuffers, KeepTheirOwnRows) {
  ParCSRMatrixT<double, long, int> A, B;
  A.create(3, 3, kHost);
  B.create(3, 3, kHost);
  A.beginAssemble();
  B.beginAssemble();
  A.setValue(1, 1, 2.0, 1);
  B.setValue(1, 1, 3.0, 1);
  A.setValue(1, 2, 5.0, 1);
  A.endAssemble();
  B.endAssemble();
  EXPECT_EQ(toDense(A.getLocalMatrix()), (std::vector<double>{0, 0, 0, 0, 2, 5, 0, 0, 0}));
  EXPECT_EQ(toDense(B.getLocalMatrix()), (std::vector<double>{0, 0, 0, 0, 3, 0, 0, 0, 0}));
  A.beginAssemble();
  A.setValue(1, 1, 7.0, 1);
  A.endAssemble();
  EXPECT_EQ(toDense(A.getLocalMatrix()), (std::vector<double>{0, 0, 0, 0, 7, 0, 0, 0, 0}));
}

// The release leaves the assembled matrix and vector working, with nothing in their buffers.
TEST(AssemblyRelease, KeepsTheResultAndEmptiesTheBuffer) {
  ParCSRMatrixT<double, long, int> A;
  A.create(2, 2, kHost);
  A.beginAssemble();
  A.setValue(0, 0, 2.0, 0);
  A.setValue(1, 0, 1.0, 0);
  A.endAssemble();
  ParMatrixT<double, long, int> v(2, kHost);
  v.setValue(0, 3.0, 0);
  v.setValue(1, 4.0, 0);
  v.endAssemble();
  A.releaseAssembly();
  v.releaseAssembly();

  int rows = 0;
  A.traversal([&](long, long) { return ++rows > 0; }, {});
  EXPECT_EQ(rows, 0);
  EXPECT_EQ(contents(A.matVec(v)), (std::vector<double>{6, 3}));
  // A later assembly builds on what is set after the release alone.
  A.setValue(1, 1, 5.0, 0);
  A.endAssemble();
  EXPECT_EQ(toDense(A.getLocalMatrix()), (std::vector<double>{0, 0, 0, 5}));
  v.endAssemble();
  EXPECT_EQ(contents(v), (std::vector<double>{0, 0}));
}

TEST(AssemblyFromLocal, CreateByAssembleTakesGlobalRows) {
  using C = Complex<double>;
  const C a(1, 1), b(2), c(3, -2), d(4);
  // Rows given in descending column order come out sorted.
  ParCSRMatrixT<C, int, int> A;
  A.createByAssemble(makeCsr<C>({3, 4, {0, 2, 2, 4}, {3, 0, 2, 1}, {a, b, c, d}}), comu::kCommWorld);
  EXPECT_EQ(A.getComm(), comu::kCommWorld);
  EXPECT_EQ(hostOf(A.getLocalMatrix()).arrays(), HostCsr<C>(3, 4, {0, 2, 2, 4}, {0, 3, 1, 2}, {b, a, d, c}).arrays());

  const std::vector<C> values{a, C(0), b, c, C(0), d};
  ParMatrixT<C, int, int> m;
  m.createByAssemble(denseOf(values, 3, 2), comu::kCommWorld);
  EXPECT_EQ(m.getComm(), comu::kCommWorld);
  EXPECT_EQ(contents(m), values);
}

TYPED_TEST(Assembly, DenseFormByRowAndColumn) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const V a = make<V>(1, -1), b = make<V>(5), c = make<V>(-2), o = V(0);
  // Needs no beginAssemble after create.
  ParMatrixT<V, G, int> v(G(4), kHost);
  v.setValue(1, a, 1);
  v.setValue(1, b, 1);
  v.setValue(3, a, 1);
  v.setValue(3, c, 0);
  v.endAssemble();
  EXPECT_EQ(contents(v), (std::vector<V>{o, a + b, o, c}));

  // After a create from partitioners the buffer has to be begun first.
  ParMatrixT<V, G, int> w;
  w.create(partsOf<G>(3, 1), partsOf<G>(2, 1), kHost);
  w.beginAssemble();
  w.setValue(2, 1, a, 0);
  w.setValue(0, 0, b, 1);
  w.endAssemble();
  EXPECT_EQ(contents(w), (std::vector<V>{b, o, o, o, o, a}));
}

}  // namespace assembly_test
