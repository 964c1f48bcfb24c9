#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

#include "ParCSRTestHelpers.h"
#include "TestHelpers.h"
#include "kernels/ColBlockLoops.h"

// Counts C++ heap allocations while armed, so that a test can pin a code path that must not
// allocate.
namespace {
std::atomic<bool> gCountAllocations{false};
std::atomic<long> gAllocations{0};
}  // namespace

void* operator new(std::size_t bytes) {
  if (gCountAllocations) ++gAllocations;
  if (void* p = std::malloc(bytes == 0 ? 1 : bytes)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using namespace velmo;
using test::contents;
using test::fromDense;
using test::kHost;
using test::make;
using test::makeCsr;
using test::parDense;
using test::partsOf;
using test::sampleDense;
using test::toDense;

template <class P>
class ParCSRTyped : public ::testing::Test {};
TYPED_TEST_SUITE(ParCSRTyped, test::ParTypeList);

// Rows 4, columns 0..4 cut into parts {0, 1, 2} and {3, 4}.
template <class V>
std::vector<CSRMatrixT<V, int>> twoColumnBlocks() {
  return {makeCsr<V>(4, 3, {0, 1, 1, 3, 4}, {2, 0, 1, 1}, {make<V>(1), make<V>(2), make<V>(3), make<V>(4)}),
          makeCsr<V>(4, 2, {0, 1, 2, 2, 2}, {1, 0}, {make<V>(5, 1), make<V>(6)})};
}

TYPED_TEST(ParCSRTyped, CreateSharesBlocksAndHandles) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  Matrix A;
  EXPECT_EQ(A.getComm(), comu::kCommSelf);
  A.create(G(6), G(0), kHost, comu::kCommWorld);  // a zero dimension makes no partitions
  EXPECT_EQ(A.getRowPartitioner().getNumParts(), 0);

  const CSRMatrixT<V, int> csr = fromDense(6, 5, sampleDense<V>(6, 5, 1));
  Matrix B;
  B.createSeq(csr);
  EXPECT_TRUE(B.getLocalMatrix(-1).sharesStorageWith(csr));
  EXPECT_TRUE(B.getLocalMatrix(0).sharesStorageWith(csr));

  // Copies share the implementation; create replaces it and leaves earlier handles alone.
  Matrix alias = B;
  alias.setComm(comu::kCommWorld);
  EXPECT_EQ(B.getComm(), comu::kCommWorld);
  B.create(G(6), G(5), kHost);
  EXPECT_EQ(B.getNnzs(), 0);
  EXPECT_EQ(alias.getNnzs(), csr.getNnzs());

  const auto rowParts = partsOf<G>(4, 1), colParts = partsOf<G>(5, 2);
  const auto blocks = twoColumnBlocks<V>();
  Matrix C;
  C.create(rowParts, colParts, blocks, kHost);
  EXPECT_EQ(C.getNnzs(), 6);
  EXPECT_TRUE(C.getLocalMatrix(1).sharesStorageWith(blocks[1]));
  // An empty element leaves the earlier block of its part in place.
  const auto replacement = makeCsr<V>(4, 2, {0, 0, 0, 0, 1}, {1}, {make<V>(9)});
  C.setLocalMatrix({CSRMatrixT<V, int>(), replacement});
  EXPECT_TRUE(C.getLocalMatrix(0).sharesStorageWith(blocks[0]));
  EXPECT_TRUE(C.getLocalMatrix(1).sharesStorageWith(replacement));
  EXPECT_EQ(C.getNnzs(), 5);

  // A block with rows but no entries is not stored at all.
  CSRMatrixT<V, int> noEntries;
  noEntries.create(4, 3, 0, kHost);
  C.create(rowParts, colParts, {noEntries, blocks[1]}, kHost);
  EXPECT_EQ(C.getLocalMatrix(-1).getRows(), 0);
  EXPECT_EQ(C.getNnzs(), 2);
  // No blocks at all passes the count check, whatever the number of parts.
  C.create(rowParts, colParts, {}, kHost);
  EXPECT_EQ(C.getNnzs(), 0);
  EXPECT_DEATH(C.create(rowParts, partsOf<G>(3, 1), blocks, kHost),
               "Check failed: col_blocks.size\\(\\) == colPartitioner.getNumParts\\(\\) \\(2 vs. 1\\) num of col "
               "blocks should equal to the col partitioner size");
}

TYPED_TEST(ParCSRTyped, RawViewsDescribeEveryBlock) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const auto blocks = twoColumnBlocks<V>();
  Matrix A;
  A.create(partsOf<G>(4, 1), partsOf<G>(5, 2), blocks, kHost);

  typename Matrix::RawMatList views;
  A.getRawMat(views);
  ASSERT_EQ(views.getRows(), 2);
  for (int b = 0; b < 2; ++b) {
    const auto& view = views.getData()[b];
    EXPECT_EQ(view.nnzs, blocks[b].getNnzs());
    EXPECT_EQ(view.reserved, 0);
    EXPECT_EQ(view.row_end, blocks[b].getRowPtr() + 1);
    EXPECT_EQ(view.values, blocks[b].getValues());
    EXPECT_EQ(view.row_offset, 0);
    EXPECT_EQ(view.col_offset, b == 0 ? 0 : 3);
    EXPECT_EQ(view.rank, b);
  }

  // Global columns of a row, split into the own part and the others.
  auto columnsOf = [&](int row, bool own) {
    std::vector<int> cols;
    auto collect = [&](const auto& view, int k) { cols.push_back(view.col_offset + view.col_idx[k]); };
    if (own) {
      loopLocalCol(row, 0, views.getRows(), views.getData(), collect);
    } else {
      loopRemoteCol(row, 0, views.getRows(), views.getData(), collect);
    }
    return cols;
  };
  EXPECT_EQ(columnsOf(2, true), (std::vector<int>{0, 1}));
  EXPECT_EQ(columnsOf(0, false), std::vector<int>{4});
  EXPECT_EQ(columnsOf(2, false), std::vector<int>{});

  // The own block's x follows the vector of the last exchange; the list keeps its storage.
  const auto x = parDense<V, G>(5, 1, std::vector<V>(5, make<V>(1)));
  A.exchangeMatVec(x, {}, {}, {}, nullptr);
  const auto* storage = views.getData();
  A.getRawMat(views);
  EXPECT_EQ(views.getData(), storage);
  EXPECT_EQ(views.getData()[0].x_values, x.getLocalMatrix().getData());

  Matrix empty;
  empty.create(G(4), G(5), kHost);
  empty.getRawMat(views);
  EXPECT_EQ(views.getRows(), 0);
}

TYPED_TEST(ParCSRTyped, CopiesAliasOrDuplicate) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const std::vector<V> dense = sampleDense<V>(3, 3, 2);
  Matrix A;
  A.createSeq(fromDense(3, 3, dense), comu::kCommWorld);
  EXPECT_TRUE(A.toDevice(kHost).getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));

  // setDevice moves nothing: the old device now takes a copy, the new one an alias.
  A.setDevice(test::kGpu);
  EXPECT_TRUE(A.toDevice(test::kGpu).getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  Matrix copy;
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getDevice(), kHost);
  EXPECT_FALSE(copy.getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  EXPECT_EQ(toDense(copy.getLocalMatrix()), dense);
  // A second copy into the same matrix reuses its block storage and carries new values.
  const V* storage = copy.getLocalMatrix().getValues();
  ASSERT_TRUE(A.setElementValue(0, 2, make<V>(42)));
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getLocalMatrix().getValues(), storage);
  EXPECT_EQ(copy.getElementValue(0, 2), make<V>(42));
  // The copy holds exactly the source's blocks.
  copy.setLocalMatrix({CSRMatrixT<V, int>(), makeCsr<V>(3, 2, {0, 1, 1, 1}, {0}, {make<V>(3)})});
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getNnzs(), A.getNnzs());

  Matrix B;
  B.create(G(3), G(3), kHost, comu::kCommWorld);
  B.beginAssemble();
  B.setValue(2, 2, make<V>(5, 1), 0);
  B.endAssemble();
  Matrix D = B.deepCopy();
  EXPECT_EQ(D.getComm(), comu::kCommWorld);
  EXPECT_EQ(toDense(D.getLocalMatrix()), toDense(B.getLocalMatrix()));
  ASSERT_TRUE(D.setElementValue(2, 2, make<V>(7)));
  EXPECT_EQ(B.getElementValue(2, 2), make<V>(5, 1));
  // The assembly buffer stays with the source.
  int rowsSeen = 0;
  D.traversal([&](G, G) { return ++rowsSeen > 0; }, {});
  EXPECT_EQ(rowsSeen, 0);
  // Into itself: the matrix no longer shares its blocks.
  const CSRMatrixT<V, int> before = B.getLocalMatrix();
  B.deepCopy(B);
  EXPECT_FALSE(B.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(toDense(B.getLocalMatrix()), toDense(before));
}

TEST(ParCSRMatrix, UseRecvEventFromEnvironment) {
  using Matrix = ParCSRMatrixT<double, int, int>;
  test::ScopedEnv env("USE_RECV_EVENT", nullptr);
  EXPECT_TRUE(Matrix().getUseRecvEvent());
  env.set("7");
  EXPECT_TRUE(Matrix().getUseRecvEvent());
  env.set("abc");
  EXPECT_FALSE(Matrix().getUseRecvEvent());
  env.set("0");
  Matrix A;
  EXPECT_FALSE(A.getUseRecvEvent());
  // Only the default constructor reads the environment.
  A.create(3, 3, kHost);
  EXPECT_TRUE(A.getUseRecvEvent());
}

// `fill` where the old y must not leak into the result: NaN for floating types.
template <class V>
V poison() {
  if constexpr (std::is_floating_point_v<RealOf<V>>) {
    return V(std::numeric_limits<RealOf<V>>::quiet_NaN());
  } else {
    return make<V>(12345);
  }
}

TYPED_TEST(ParCSRTyped, ProductMatchesDenseReference) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const int rows = 7, cols = 5;
  const std::vector<V> dense = sampleDense<V>(rows, cols, 3);
  Matrix A;
  A.createSeq(fromDense(rows, cols, dense), comu::kCommWorld);
  std::vector<V> x, y;
  for (int j = 0; j < cols; ++j) x.push_back(make<V>(j - 2, j % 2));
  for (int i = 0; i < rows; ++i) y.push_back(make<V>(i, -1));
  const auto xv = parDense<V, G>(cols, 1, x, comu::kCommWorld);
  const std::vector<V> ax = test::denseProduct(rows, cols, 1, dense, x);

  // alpha == 0 still goes through the local product.
  const V scalars[][2] = {{make<V>(2, 1), make<V>(-3)}, {V(0), make<V>(2, -1)}, {make<V>(1), V(0)}};
  for (const auto& s : scalars) {
    auto yv = parDense<V, G>(rows, 1, s[1] == V(0) ? std::vector<V>(rows, poison<V>()) : y, comu::kCommWorld);
    A.aAxpby(s[0], xv, s[1], yv);
    std::vector<V> expected;
    for (int i = 0; i < rows; ++i) expected.push_back(s[0] * ax[i] + (s[1] == V(0) ? V(0) : s[1] * y[i]));
    test::expectAllNear(expected, contents(yv.getLocalMatrix()), 64);
  }

  // matVec fits a default y to A and x, and keeps a fitting y's storage, also through the
  // operator interface.
  typename TypeParam::Vector yv;
  A.matVec(xv, yv);
  EXPECT_EQ(yv.getRows(), rows);
  EXPECT_EQ(yv.getCols(), 1);
  EXPECT_EQ(yv.getComm(), comu::kCommWorld);
  test::expectAllNear(ax, contents(yv.getLocalMatrix()), 64);
  const V* storage = yv.getLocalMatrix().getData();
  ParMatrixFreeT<V, G, int>& op = A;
  op.matVec(xv, yv);
  EXPECT_EQ(yv.getLocalMatrix().getData(), storage);
  test::expectAllNear(ax, contents(A.matVec(xv).getLocalMatrix()), 64);

  // Without a local block y is only scaled, and beta == 0 clears even what a multiplication
  // by zero would keep.
  Matrix none;
  none.create(G(3), G(2), kHost);
  const auto x2 = parDense<V, G>(2, 1, {make<V>(1), make<V>(2)});
  auto y3 = parDense<V, G>(3, 1, {make<V>(1, 1), make<V>(-2), make<V>(3)});
  none.aAxpby(make<V>(5), x2, make<V>(2), y3);
  EXPECT_EQ(contents(y3.getLocalMatrix()), (std::vector<V>{make<V>(2, 2), make<V>(-4), make<V>(6)}));
  y3 = parDense<V, G>(3, 1, std::vector<V>(3, poison<V>()));
  none.aAxpby(make<V>(5), x2, V(0), y3);
  EXPECT_EQ(contents(y3.getLocalMatrix()), std::vector<V>(3, V(0)));
}

TEST(ParCSRMatrix, ProductAllocatesNothing) {
  const int n = 50;
  ParCSRMatrixT<double, int, int> A;
  A.createSeq(fromDense(n, n, sampleDense<double>(n, n, 4)));
  ParMatrixT<double, int, int> x(n, kHost), y(n, kHost);
  x.fill(1.0);
  y.fill(2.0);
  A.aAxpby(2.0, x, 3.0, y);

  gAllocations = 0;
  gCountAllocations = true;
  A.aAxpby(2.0, x, 3.0, y);
  A.matVec(x, y);
  gCountAllocations = false;
  EXPECT_EQ(gAllocations.load(), 0);
}

TEST(ParCSRMatrix, ProductMismatchesStopTheProcess) {
  using Matrix = ParCSRMatrixT<double, int, int>;
  using Vector = ParMatrixT<double, int, int>;
  Matrix A;
  A.createSeq(fromDense(4, 3, sampleDense<double>(4, 3, 1)));
  Vector x(3, kHost), y(4, kHost);
  x.fill(1.0);

  Vector shortX(2, kHost);
  EXPECT_DEATH(A.aAxpby(1.0, shortX, 0.0, y),
               "Check failed: A.getCols\\(\\) == x.getRows\\(\\) aAxpby: A.cols != x.rows");
  // matVec would refit this y; aAxpby does not.
  Vector unfitted;
  EXPECT_DEATH(A.aAxpby(1.0, x, 0.0, unfitted),
               "Check failed: A.getRows\\(\\) == y.getRows\\(\\) && x.getCols\\(\\) == y.getCols\\(\\) aAxpby: "
               "A.rows!= y.rows \\|\\| x.cols != y.cols");
  Vector otherComm(3, kHost, comu::kCommWorld);
  EXPECT_DEATH(A.aAxpby(1.0, otherComm, 0.0, y),
               "Check failed: A.getComm\\(\\) == x.getComm\\(\\) aAxpby: A and x must have the same comm");
  Matrix elsewhere = A.deepCopy();
  elsewhere.setDevice(test::kGpu);
  EXPECT_DEATH(elsewhere.aAxpby(1.0, x, 0.0, y),
               "Check failed: A.getDevice\\(\\) == x.getDevice\\(\\) aAxpby: A and x must on the same device");
  // Two columns pass the distributed checks and stop in the local product.
  Vector x2(3, 2, kHost), y2(4, 2, kHost);
  x2.fill(1.0);
  EXPECT_DEATH(A.aAxpby(1.0, x2, 0.0, y2), "Check failed: x.getCols\\(\\) == 1 aAxpby: x.cols!= 1");
}

TEST(ParCSRGpu, AssemblyAndProductMatchTheHost) {
  VELMO_REQUIRE_GPU();
  using Matrix = ParCSRMatrixT<double, int, int>;
  using Vector = ParMatrixT<double, int, int>;
  const Device gpu = test::kGpu;
  const int n = 300;
  const std::vector<double> dense = sampleDense<double>(n, n, 5);
  auto assemble = [&](const Device& device) {
    Matrix A;
    A.create(n, n, device);
    A.beginAssemble();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        if (dense[size_t(i) * n + j] != 0.0) A.setValue(i, j, dense[size_t(i) * n + j], 0);
    A.endAssemble();
    return A;
  };
  Matrix onHost = assemble(kHost), onGpu = assemble(gpu);
  EXPECT_EQ(onGpu.getLocalMatrix().getDevice(), gpu);
  EXPECT_EQ(toDense(onGpu.getLocalMatrix()), dense);

  std::vector<double> xs, ys;
  for (int i = 0; i < n; ++i) xs.push_back(double(i % 7) - 3.0), ys.push_back(double(i % 5));
  Vector x = test::parDense(n, 1, xs), y = test::parDense(n, 1, ys);
  Vector xGpu = x.toDevice(gpu), yGpu = y.toDevice(gpu);
  onHost.aAxpby(2.0, x, 3.0, y);
  onGpu.aAxpby(2.0, xGpu, 3.0, yGpu);
  test::expectAllNear(contents(y.getLocalMatrix()), contents(yGpu.getLocalMatrix()), 64);

  // A second copy onto the GPU reuses the block storage.
  Matrix copy;
  onHost.toDevice(gpu, copy);
  const double* storage = copy.getLocalMatrix().getValues();
  onHost.toDevice(gpu, copy);
  EXPECT_EQ(copy.getLocalMatrix().getValues(), storage);
  EXPECT_EQ(toDense(copy.getLocalMatrix()), dense);
}

}  // namespace
