#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <tuple>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"

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

namespace par_csr_matrix_test {

using namespace velmo;
using namespace velmo::test;
using Matrix = ParCSRMatrixT<double, long, int>;
using Vector = ParMatrixT<double, long, int>;
using Csr = CSRMatrixT<double, int>;

// Rows 4, columns 0..4 cut into parts {0, 1, 2} and {3, 4}.
std::vector<Csr> twoColumnBlocks() {
  return {makeCsr<double>({4, 3, {0, 1, 1, 3, 4}, {2, 0, 1, 1}, {1, 2, 3, 4}}),
          makeCsr<double>({4, 2, {0, 1, 2, 2, 2}, {1, 0}, {5, 6}})};
}

TEST(ParCSRMatrix, BlocksAreSharedAndHandlesAlias) {
  const Csr csr = makeCsr(randomCsr<double>(6, 5, 0.4, 1));
  Matrix B;
  B.createSeq(csr);
  EXPECT_TRUE(B.getLocalMatrix().sharesStorageWith(csr));
  // Copies share the implementation; create replaces it and leaves earlier handles alone.
  Matrix alias = B;
  alias.setComm(comu::kCommWorld);
  EXPECT_EQ(B.getComm(), comu::kCommWorld);
  B.create(6, 5, kHost);
  EXPECT_EQ(B.getNnzs(), 0);
  EXPECT_EQ(alias.getNnzs(), csr.getNnzs());

  const auto rowParts = partsOf<long>(4, 1), colParts = partsOf<long>(5, 2);
  const auto blocks = twoColumnBlocks();
  Matrix C;
  C.create(rowParts, colParts, blocks, kHost);
  EXPECT_EQ(C.getNnzs(), 6);
  EXPECT_TRUE(C.getLocalMatrix(1).sharesStorageWith(blocks[1]));
  // An empty element leaves the earlier block of its part in place.
  const auto replacement = makeCsr<double>({4, 2, {0, 0, 0, 0, 1}, {1}, {9}});
  C.setLocalMatrix({Csr(), replacement});
  EXPECT_TRUE(C.getLocalMatrix(0).sharesStorageWith(blocks[0]));
  EXPECT_TRUE(C.getLocalMatrix(1).sharesStorageWith(replacement));
  // A block with rows but no entries is not stored at all.
  C.create(rowParts, colParts, {makeCsr<double>({4, 3, {0, 0, 0, 0, 0}, {}, {}}), blocks[1]}, kHost);
  EXPECT_EQ(C.getLocalMatrix(-1).getRows(), 0);
  EXPECT_EQ(C.getNnzs(), 2);
  EXPECT_DEATH(C.create(rowParts, partsOf<long>(3, 1), blocks, kHost),
               "Check failed: col_blocks.size\\(\\) == colPartitioner.getNumParts\\(\\) \\(2 vs. 1\\) num of col "
               "blocks should equal to the col partitioner size");
}

TEST(ParCSRMatrix, RawViewsDescribeEveryBlock) {
  const auto blocks = twoColumnBlocks();
  Matrix A;
  A.create(partsOf<long>(4, 1), partsOf<long>(5, 2), blocks, kHost);
  Matrix::RawMatList views;
  A.getRawMat(views);
  ASSERT_EQ(views.getRows(), 2);
  for (int b = 0; b < 2; ++b) {
    const auto& view = views.getData()[b];
    EXPECT_EQ(std::make_tuple(view.values, view.col_offset, view.rank),
              std::make_tuple(blocks[b].getValues(), 3 * b, b));
  }

  // The own block's x follows the vector of the last exchange; the list keeps its storage.
  const auto x = parDense<double, long>(5, 1, std::vector<double>(5, 1.0));
  A.exchangeMatVec(x, {}, {}, {}, nullptr);
  const auto* storage = views.getData();
  A.getRawMat(views);
  EXPECT_EQ(views.getData(), storage);
  EXPECT_EQ(views.getData()[0].x_values, x.getLocalMatrix().getData());
}

TEST(ParCSRMatrix, CopiesAliasOnTheSameDeviceAndDuplicateOtherwise) {
  const HostCsr<double> h(3, 3, {0, 2, 3, 4}, {2, 0, 1, 2}, {1, 2, 3, 4});
  Matrix A;
  A.createSeq(makeCsr(h), comu::kCommWorld);
  EXPECT_TRUE(A.toDevice(kHost).getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  // setDevice moves nothing: the old device now takes a copy.
  A.setDevice(kGpu);
  Matrix copy;
  A.toDevice(kHost, copy);
  EXPECT_FALSE(copy.getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  EXPECT_EQ(toDense(copy.getLocalMatrix()), h.dense());
  // A second copy into the same matrix reuses its block storage and carries new values.
  const double* storage = copy.getLocalMatrix().getValues();
  ASSERT_TRUE(A.setElementValue(0, 2, 42));
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getLocalMatrix().getValues(), storage);
  EXPECT_EQ(copy.getElementValue(0, 2), 42);

  Matrix B;
  B.create(3, 3, kHost, comu::kCommWorld);
  B.beginAssemble();
  B.setValue(2, 2, 5, 0);
  B.endAssemble();
  Matrix D = B.deepCopy();
  EXPECT_EQ(D.getComm(), comu::kCommWorld);
  ASSERT_TRUE(D.setElementValue(2, 2, 7));
  EXPECT_EQ(B.getElementValue(2, 2), 5);
  // The assembly buffer stays with the source.
  int rowsSeen = 0;
  D.traversal([&](long, long) { return ++rowsSeen > 0; }, {});
  EXPECT_EQ(rowsSeen, 0);
  // Into itself: the matrix no longer shares its blocks.
  const Csr before = B.getLocalMatrix();
  B.deepCopy(B);
  EXPECT_FALSE(B.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(toDense(B.getLocalMatrix()), toDense(before));
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

template <class P>
class ParCSRTyped : public ::testing::Test {};
TYPED_TEST_SUITE(ParCSRTyped, AllTypes);

TYPED_TEST(ParCSRTyped, ProductMatchesDenseReference) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::Index;
  const int rows = 7, cols = 5;
  const auto h = randomCsr<V>(rows, cols, 0.4, 3);
  const std::vector<V> dense = h.dense();
  ParCSRMatrixT<V, G, int> A;
  A.createSeq(makeCsr(h), comu::kCommWorld);
  std::vector<V> x, y;
  for (int j = 0; j < cols; ++j) x.push_back(make<V>(j - 2, j % 2));
  for (int i = 0; i < rows; ++i) y.push_back(make<V>(i, -1));
  const auto xv = parDense<V, G>(cols, 1, x, comu::kCommWorld);
  const std::vector<V> ax = denseProduct(rows, cols, 1, dense, x);

  // alpha == 0 still goes through the local product.
  const V scalars[][2] = {{make<V>(2, 1), make<V>(-3)}, {V(0), make<V>(2, -1)}, {make<V>(1), V(0)}};
  for (const auto& s : scalars) {
    auto yv = parDense<V, G>(rows, 1, s[1] == V(0) ? std::vector<V>(rows, poison<V>()) : y, comu::kCommWorld);
    const auto zv = yv.deepCopy();
    A.aAxpby(s[0], xv, s[1], yv);
    std::vector<V> expected;
    for (int i = 0; i < rows; ++i) expected.push_back(s[0] * ax[i] + (s[1] == V(0) ? V(0) : s[1] * y[i]));
    expectAllNear(expected, contents(yv), 64);
    // Reading z in place of a copy of it gives the same bits and leaves z alone.
    ParMatrixT<V, G, int> out;
    A.aAxpbz(s[0], xv, s[1], zv, out);
    EXPECT_EQ(contents(out), contents(yv));
    if (s[1] != V(0)) EXPECT_EQ(contents(zv), y);
  }

  // matVec fits a default y to A and x, and keeps a fitting y's storage.
  ParMatrixT<V, G, int> yv;
  A.matVec(xv, yv);
  expectAllNear(ax, contents(yv), 64);
  const V* storage = yv.getLocalMatrix().getData();
  A.matVec(xv, yv);
  EXPECT_EQ(yv.getLocalMatrix().getData(), storage);

  // Without a local block y is only scaled, and beta == 0 clears even what a multiplication
  // by zero would keep.
  ParCSRMatrixT<V, G, int> none;
  none.create(G(3), G(2), kHost);
  const auto x2 = parDense<V, G>(2, 1, {make<V>(1), make<V>(2)});
  auto y3 = parDense<V, G>(3, 1, {make<V>(1, 1), make<V>(-2), make<V>(3)});
  ParMatrixT<V, G, int> scaled;
  none.aAxpbz(make<V>(5), x2, make<V>(2), y3, scaled);
  none.aAxpby(make<V>(5), x2, make<V>(2), y3);
  EXPECT_EQ(contents(y3), (std::vector<V>{make<V>(2, 2), make<V>(-4), make<V>(6)}));
  EXPECT_EQ(contents(scaled), contents(y3));
  y3 = parDense<V, G>(3, 1, std::vector<V>(3, poison<V>()));
  none.aAxpby(make<V>(5), x2, V(0), y3);
  EXPECT_EQ(contents(y3), std::vector<V>(3, V(0)));
}

TEST(ParCSRMatrix, ProductAllocatesNothing) {
  const int n = 50;
  Matrix A;
  A.createSeq(makeCsr(randomCsr<double>(n, n, 0.3, 4)));
  Vector x(n, kHost), y(n, kHost);
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
  Matrix A;
  A.createSeq(makeCsr(randomCsr<double>(4, 3, 0.5, 1)));
  Vector x(3, kHost), y(4, kHost), shortX(2, kHost), unfitted, otherComm(3, kHost, comu::kCommWorld);
  x.fill(1.0);
  EXPECT_DEATH(A.aAxpby(1.0, shortX, 0.0, y),
               "Check failed: A.getCols\\(\\) == x.getRows\\(\\) aAxpby: A.cols != x.rows");
  // matVec would refit this y; aAxpby does not.
  EXPECT_DEATH(A.aAxpby(1.0, x, 0.0, unfitted),
               "Check failed: A.getRows\\(\\) == y.getRows\\(\\) && x.getCols\\(\\) == y.getCols\\(\\) aAxpby: "
               "A.rows!= y.rows \\|\\| x.cols != y.cols");
  EXPECT_DEATH(A.aAxpby(1.0, otherComm, 0.0, y),
               "Check failed: A.getComm\\(\\) == x.getComm\\(\\) aAxpby: A and x must have the same comm");
  Matrix elsewhere = A.deepCopy();
  elsewhere.setDevice(kGpu);
  EXPECT_DEATH(elsewhere.aAxpby(1.0, x, 0.0, y),
               "Check failed: A.getDevice\\(\\) == x.getDevice\\(\\) aAxpby: A and x must on the same device");
  // Two columns pass the distributed checks and stop in the local product.
  Vector x2(3, 2, kHost), y2(4, 2, kHost);
  x2.fill(1.0);
  EXPECT_DEATH(A.aAxpby(1.0, x2, 0.0, y2), "Check failed: x.getCols\\(\\) == 1 aAxpby: x.cols!= 1");
}

TEST(ParCSRGpu, AssemblyAndProductMatchTheHost) {
  VELMO_REQUIRE_GPU();
  const int n = kGpuSize;
  const auto h = randomCsr<double>(n, n, 0.01, 5);
  auto assemble = [&](const Device& device) {
    Matrix A;
    A.create(n, n, device);
    A.beginAssemble();
    for (int i = 0; i < n; ++i)
      for (int k = h.ptr[i]; k < h.ptr[i + 1]; ++k) A.setValue(i, h.col[k], h.val[k], 0);
    A.endAssemble();
    return A;
  };
  Matrix onHost = assemble(kHost), onGpu = assemble(kGpu);
  EXPECT_EQ(onGpu.getLocalMatrix().getDevice(), kGpu);
  EXPECT_EQ(toDense(onGpu.getLocalMatrix()), h.dense());

  Vector x = parDense<double, long>(n, 1, sample<double>(n, 1)), y = parDense<double, long>(n, 1, sample<double>(n, 2));
  Vector xGpu = x.toDevice(kGpu), yGpu = y.toDevice(kGpu);
  onHost.aAxpby(2.0, x, 3.0, y);
  onGpu.aAxpby(2.0, xGpu, 3.0, yGpu);
  EXPECT_EQ(contents(yGpu), contents(y));
}

}  // namespace par_csr_matrix_test
