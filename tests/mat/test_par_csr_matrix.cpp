#include <atomic>
#include <cmath>
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
using test::fromDense;
using test::kHost;
using test::localDense;
using test::localValues;
using test::make;
using test::makeCsr;
using test::parDense;
using test::sampleDense;
using test::toDense;

template <class P>
class ParCSRStructure : public ::testing::Test {};
using StructureTypes = ::testing::Types<test::ParTypes<double, int>, test::ParTypes<Complex<float>, long>>;
TYPED_TEST_SUITE(ParCSRStructure, StructureTypes);

template <class P>
class ParCSRProduct : public ::testing::Test {};
TYPED_TEST_SUITE(ParCSRProduct, test::ParTypeList);

template <class G>
PartitionerT<G, int> partsOf(G globalSize, int parts) {
  PartitionerT<G, int> p;
  p.createForParts(globalSize, parts);
  return p;
}

// Rows 4, columns 0..4 cut into parts {0, 1, 2} and {3, 4}.
template <class V>
std::vector<CSRMatrixT<V, int>> twoColumnBlocks() {
  return {makeCsr<V>(4, 3, {0, 1, 1, 3, 4}, {2, 0, 1, 1}, {make<V>(1), make<V>(2), make<V>(3), make<V>(4)}),
          makeCsr<V>(4, 2, {0, 1, 2, 2, 2}, {1, 0}, {make<V>(5, 1), make<V>(6)})};
}

TYPED_TEST(ParCSRStructure, CreateStoresShapeAndSharesBlocks) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;

  Matrix A;
  EXPECT_EQ(A.getRows(), 0);
  EXPECT_EQ(A.getCols(), 0);
  EXPECT_EQ(A.getComm(), comu::kCommSelf);
  EXPECT_EQ(A.getDevice(), kHost);
  EXPECT_EQ(A.getRowPartitioner().getNumParts(), 0);
  EXPECT_EQ(A.getNnzs(), 0);

  A.create(G(6), G(0), kHost, comu::kCommWorld);
  EXPECT_EQ(A.getRowPartitioner().getNumParts(), 0);
  EXPECT_EQ(A.getColPartitioner().getNumParts(), 0);

  A.create(G(6), G(5), kHost, comu::kCommWorld);
  EXPECT_EQ(A.getComm(), comu::kCommWorld);
  EXPECT_EQ(A.getRowPartitioner().getGlobalSize(), 6);
  EXPECT_EQ(A.getColPartitioner().getGlobalSize(), 5);
  EXPECT_EQ(A.getColPartitioner().getNumParts(), 1);
  EXPECT_EQ(A.getNnzs(), 0);
  EXPECT_EQ(A.getLocalMatrix(-1).getNnzs(), 0);

  const CSRMatrixT<V, int> csr = fromDense(6, 5, sampleDense<V>(6, 5, 1));
  Matrix B;
  B.createSeq(csr);
  EXPECT_EQ(B.getRows(), 6);
  EXPECT_EQ(B.getCols(), 5);
  EXPECT_TRUE(B.getLocalMatrix(-1).sharesStorageWith(csr));
  EXPECT_TRUE(B.getLocalMatrix(0).sharesStorageWith(csr));
  EXPECT_EQ(B.getNnzs(), csr.getNnzs());
  G begin = -1, end = -1;
  B.getOwnerShipRange(&begin, &end);
  EXPECT_EQ(begin, 0);
  EXPECT_EQ(end, 6);

  // Copies share the implementation; create replaces it and leaves earlier handles alone.
  Matrix alias = B;
  alias.setComm(comu::kCommWorld);
  EXPECT_EQ(B.getComm(), comu::kCommWorld);
  B.create(G(6), G(5), kHost);
  EXPECT_EQ(B.getNnzs(), 0);
  EXPECT_EQ(alias.getNnzs(), csr.getNnzs());
}

TYPED_TEST(ParCSRStructure, ColumnBlocksByPart) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const auto rowParts = partsOf<G>(4, 1), colParts = partsOf<G>(5, 2);
  const auto blocks = twoColumnBlocks<V>();

  Matrix A;
  A.create(rowParts, colParts, blocks, kHost);
  EXPECT_EQ(A.getRows(), 4);
  EXPECT_EQ(A.getCols(), 5);
  EXPECT_EQ(A.getColPartitioner(), colParts);
  EXPECT_EQ(A.getNnzs(), 6);
  EXPECT_TRUE(A.getLocalMatrix(-1).sharesStorageWith(blocks[0]));
  EXPECT_TRUE(A.getLocalMatrix(0).sharesStorageWith(blocks[0]));
  EXPECT_TRUE(A.getLocalMatrix(1).sharesStorageWith(blocks[1]));

  // An empty element leaves the earlier block of its part in place.
  const auto replacement = makeCsr<V>(4, 2, {0, 0, 0, 0, 1}, {1}, {make<V>(9)});
  A.setLocalMatrix({CSRMatrixT<V, int>(), replacement});
  EXPECT_TRUE(A.getLocalMatrix(0).sharesStorageWith(blocks[0]));
  EXPECT_TRUE(A.getLocalMatrix(1).sharesStorageWith(replacement));
  EXPECT_EQ(A.getNnzs(), 5);

  // A block with rows but no entries is not stored at all.
  CSRMatrixT<V, int> noEntries;
  noEntries.create(4, 3, 0, kHost);
  Matrix B;
  B.create(rowParts, colParts, {noEntries, blocks[1]}, kHost);
  const CSRMatrixT<V, int> missing = B.getLocalMatrix(-1);
  EXPECT_EQ(missing.getRows(), 0);
  EXPECT_FALSE(missing.sharesStorageWith(noEntries));
  EXPECT_EQ(B.getNnzs(), 2);

  // No blocks at all passes the count check, whatever the number of parts.
  Matrix C;
  C.create(rowParts, colParts, {}, kHost);
  EXPECT_EQ(C.getNnzs(), 0);
  EXPECT_EQ(C.getRows(), 4);
}

TYPED_TEST(ParCSRStructure, RawViewsDescribeEveryBlock) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const auto blocks = twoColumnBlocks<V>();
  Matrix A;
  A.create(partsOf<G>(4, 1), partsOf<G>(5, 2), blocks, kHost);

  typename Matrix::RawMatList views;
  A.getRawMat(views);
  ASSERT_EQ(views.getRows(), 2);
  EXPECT_EQ(views.getCols(), 1);
  EXPECT_EQ(views.getDevice(), kHost);
  for (int b = 0; b < 2; ++b) {
    const auto& view = views.getData()[b];
    EXPECT_EQ(view.rows, 4);
    EXPECT_EQ(view.cols, blocks[b].getCols());
    EXPECT_EQ(view.nnzs, blocks[b].getNnzs());
    EXPECT_EQ(view.reserved, 0);
    EXPECT_EQ(view.row_ptr, blocks[b].getRowPtr());
    EXPECT_EQ(view.row_end, blocks[b].getRowPtr() + 1);
    EXPECT_EQ(view.col_idx, blocks[b].getColIdx());
    EXPECT_EQ(view.values, blocks[b].getValues());
    EXPECT_EQ(view.row_offset, 0);
    EXPECT_EQ(view.col_offset, b == 0 ? 0 : 3);
    EXPECT_EQ(view.rank, b);
    EXPECT_EQ(view.x_values, nullptr);
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
  EXPECT_EQ(columnsOf(0, true), std::vector<int>{2});
  EXPECT_EQ(columnsOf(0, false), std::vector<int>{4});
  EXPECT_EQ(columnsOf(2, true), (std::vector<int>{0, 1}));
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

TYPED_TEST(ParCSRStructure, ToDeviceAliasesOrCopies) {
  using V = typename TypeParam::Value;
  using Matrix = typename TypeParam::Matrix;
  const V o = V(0);
  const std::vector<V> dense{make<V>(1), o, make<V>(2, 1), o, make<V>(3), o, make<V>(4), o, make<V>(5)};
  Matrix A;
  A.createSeq(fromDense(3, 3, dense));

  const Matrix same = A.toDevice(kHost);
  EXPECT_TRUE(same.getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));

  // setDevice moves nothing: the old device now takes a copy, the new one an alias.
  const Device gpu(1, 0);
  A.setDevice(gpu);
  EXPECT_EQ(A.getDevice(), gpu);
  EXPECT_TRUE(A.toDevice(gpu).getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  Matrix copy;
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getDevice(), kHost);
  EXPECT_FALSE(copy.getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));
  EXPECT_EQ(localDense(copy), dense);

  // A second copy into the same matrix reuses its block storage and carries new values.
  const V* storage = copy.getLocalMatrix().getValues();
  ASSERT_TRUE(A.setElementValue(0, 0, make<V>(42)));
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getLocalMatrix().getValues(), storage);
  EXPECT_EQ(copy.getElementValue(0, 0), make<V>(42));

  // The copy holds exactly the source's blocks.
  const auto extra = makeCsr<V>(3, 2, {0, 1, 1, 1}, {0}, {make<V>(3)});
  copy.setLocalMatrix({CSRMatrixT<V, int>(), extra});
  A.toDevice(kHost, copy);
  EXPECT_EQ(copy.getLocalMatrix(1).getNnzs(), 0);
  EXPECT_EQ(copy.getNnzs(), A.getNnzs());
}

TYPED_TEST(ParCSRStructure, DeepCopyIsIndependent) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  Matrix A;
  A.create(G(3), G(3), kHost, comu::kCommWorld);
  A.beginAssemble();
  A.setValue(0, 1, make<V>(2), 0);
  A.setValue(2, 2, make<V>(5, 1), 0);
  A.endAssemble();

  const Matrix D = A.deepCopy();
  EXPECT_EQ(D.getComm(), comu::kCommWorld);
  EXPECT_EQ(D.getRowPartitioner(), A.getRowPartitioner());
  EXPECT_EQ(localDense(D), localDense(A));
  EXPECT_FALSE(D.getLocalMatrix().sharesStorageWith(A.getLocalMatrix()));

  Matrix written = D;
  ASSERT_TRUE(written.setElementValue(2, 2, make<V>(7)));
  EXPECT_EQ(A.getElementValue(2, 2), make<V>(5, 1));

  // The assembly buffer stays with the source.
  int rowsSeen = 0;
  written.traversal([&](G, G) { return ++rowsSeen > 0; }, {});
  EXPECT_EQ(rowsSeen, 0);

  // Into itself: the matrix no longer shares its blocks.
  const CSRMatrixT<V, int> before = A.getLocalMatrix();
  A.deepCopy(A);
  EXPECT_FALSE(A.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(localDense(A), toDense(before));
}

TEST(ParCSRStructureChecks, UseRecvEventFromEnvironment) {
  using Matrix = ParCSRMatrixT<double, int, int>;
  unsetenv("USE_RECV_EVENT");
  EXPECT_TRUE(Matrix().getUseRecvEvent());
  setenv("USE_RECV_EVENT", "7", 1);
  EXPECT_TRUE(Matrix().getUseRecvEvent());
  setenv("USE_RECV_EVENT", "abc", 1);
  EXPECT_FALSE(Matrix().getUseRecvEvent());
  setenv("USE_RECV_EVENT", "0", 1);
  Matrix A;
  EXPECT_FALSE(A.getUseRecvEvent());
  // Only the default constructor reads the environment.
  A.create(3, 3, kHost);
  EXPECT_TRUE(A.getUseRecvEvent());
  unsetenv("USE_RECV_EVENT");
}

TEST(ParCSRStructureChecks, BlockCountMustMatchColumnParts) {
  const auto block = twoColumnBlocks<double>()[0];
  ParCSRMatrixT<double, int, int> A;
  EXPECT_DEATH(A.create(partsOf<int>(4, 1), partsOf<int>(3, 1), {block, block}, kHost),
               "Check failed: col_blocks.size\\(\\) == colPartitioner.getNumParts\\(\\) \\(2 vs. 1\\) num of col "
               "blocks should equal to the col partitioner size");
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

template <class V>
std::vector<V> referenceProduct(int rows, int cols, const std::vector<V>& dense, V alpha, const std::vector<V>& x,
                                V beta, const std::vector<V>& y) {
  std::vector<V> out(size_t(rows), V(0));
  for (int i = 0; i < rows; ++i) {
    V sum = V(0);
    for (int j = 0; j < cols; ++j) sum += dense[size_t(i) * cols + j] * x[j];
    out[i] = alpha * sum + (beta == V(0) ? V(0) : beta * y[i]);
  }
  return out;
}

template <class V>
void expectValuesNear(const std::vector<V>& expected, const std::vector<V>& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (size_t i = 0; i < expected.size(); ++i) test::expectNear(expected[i], actual[i], 64);
}

TYPED_TEST(ParCSRProduct, MatchesDenseReference) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  const int rows = 7, cols = 5;
  const std::vector<V> dense = sampleDense<V>(rows, cols, 3);
  Matrix A;
  A.createSeq(fromDense(rows, cols, dense));
  std::vector<V> x, y;
  for (int j = 0; j < cols; ++j) x.push_back(make<V>(j - 2, j % 2));
  for (int i = 0; i < rows; ++i) y.push_back(make<V>(i, -1));
  const auto xv = parDense<V, G>(cols, 1, x);

  // alpha == 0 still goes through the local product.
  const V scalars[][2] = {{make<V>(2, 1), make<V>(-3)}, {V(0), make<V>(2, -1)}, {make<V>(1), V(0)}};
  for (const auto& s : scalars) {
    auto yv = parDense<V, G>(rows, 1, s[1] == V(0) ? std::vector<V>(rows, poison<V>()) : y);
    A.aAxpby(s[0], xv, s[1], yv);
    expectValuesNear(referenceProduct(rows, cols, dense, s[0], x, s[1], y), localValues(yv));
  }
  expectValuesNear(referenceProduct(rows, cols, dense, V(1), x, V(0), y), localValues(A.matVec(xv)));
}

TYPED_TEST(ParCSRProduct, WithoutLocalBlockYIsScaled) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  Matrix A;
  A.create(G(3), G(2), kHost);
  const auto x = parDense<V, G>(2, 1, {make<V>(1), make<V>(2)});
  auto y = parDense<V, G>(3, 1, {make<V>(1, 1), make<V>(-2), make<V>(3)});
  A.aAxpby(make<V>(5), x, make<V>(2), y);
  EXPECT_EQ(localValues(y), (std::vector<V>{make<V>(2, 2), make<V>(-4), make<V>(6)}));

  // The scaling kernel clears even values that a multiplication by zero would keep.
  y = parDense<V, G>(3, 1, std::vector<V>(3, poison<V>()));
  A.aAxpby(make<V>(5), x, V(0), y);
  EXPECT_EQ(localValues(y), std::vector<V>(3, V(0)));
}

TYPED_TEST(ParCSRProduct, MatVecFitsY) {
  using V = typename TypeParam::Value;
  using G = typename TypeParam::GlobalIndex;
  using Matrix = typename TypeParam::Matrix;
  using Vector = typename TypeParam::Vector;
  const std::vector<V> dense = sampleDense<V>(4, 3, 1);
  Matrix A;
  A.createSeq(fromDense(4, 3, dense), comu::kCommWorld);
  const std::vector<V> x{make<V>(1), make<V>(-1, 2), make<V>(3)};
  Vector xv(G(3), kHost, comu::kCommWorld);
  std::copy(x.begin(), x.end(), xv.getLocalMatrix().getData());

  Vector y;
  A.matVec(xv, y);
  EXPECT_EQ(y.getRows(), 4);
  EXPECT_EQ(y.getCols(), 1);
  EXPECT_EQ(y.getDevice(), kHost);
  EXPECT_EQ(y.getComm(), comu::kCommWorld);
  const std::vector<V> expected = referenceProduct(4, 3, dense, V(1), x, V(0), {});
  expectValuesNear(expected, localValues(y));

  // A fitting y keeps its storage, also through the operator interface.
  const V* storage = y.getLocalMatrix().getData();
  ParMatrixFreeT<V, G, int>& op = A;
  op.matVec(xv, y);
  EXPECT_EQ(y.getLocalMatrix().getData(), storage);
  expectValuesNear(expected, localValues(y));
}

TEST(ParCSRProductChecks, ProductAllocatesNothing) {
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

TEST(ParCSRProductChecks, MismatchesStopTheProcess) {
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
  elsewhere.setDevice(Device(1, 0));
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
  const Device gpu(1, 0);
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
  Matrix onHost = assemble(kHost);
  Matrix onGpu = assemble(gpu);
  EXPECT_EQ(onGpu.getLocalMatrix().getDevice(), gpu);
  EXPECT_EQ(localDense(onGpu), dense);

  Vector x(n, kHost), y(n, kHost);
  for (int i = 0; i < n; ++i) {
    x.getLocalMatrix().getData()[i] = double(i % 7) - 3.0;
    y.getLocalMatrix().getData()[i] = double(i % 5);
  }
  Vector xGpu = x.toDevice(gpu), yGpu = y.toDevice(gpu);
  onHost.aAxpby(2.0, x, 3.0, y);
  onGpu.aAxpby(2.0, xGpu, 3.0, yGpu);
  expectValuesNear(localValues(y), localValues(yGpu.toDevice(kHost)));

  // A second copy onto the GPU reuses the block storage.
  Matrix copy;
  onHost.toDevice(gpu, copy);
  const double* storage = copy.getLocalMatrix().getValues();
  onHost.toDevice(gpu, copy);
  EXPECT_EQ(copy.getLocalMatrix().getValues(), storage);
  EXPECT_EQ(localDense(copy), dense);
}

}  // namespace
