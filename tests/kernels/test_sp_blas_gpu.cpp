#include <tuple>
#include <vector>

#include "SpBlasTestUtils.h"
#include "SparseTestHelpers.h"

// The host path is the oracle: each device result is compared with the same call on the host,
// over several launch blocks. Values are small integers, so products agree exactly; relaxation
// divides and is compared within a tolerance. Sparse products and sums are compared through
// CSRMatrixT.
namespace {

using namespace velmo;
using namespace velmo::test;

template <class T>
MatrixT<T> onGpu(const std::vector<T>& h) {
  return denseOf(h, int(h.size()), 1, kGpu);
}

// A device copy of a HostCsr; without arrays, the output of a symbolic pass.
template <class V, class I>
struct DeviceCsr {
  I rows, cols;
  MatrixT<I> ptr, col;
  MatrixT<V> val;

  explicit DeviceCsr(const HostCsr<V, I>& h)
      : rows(h.rows), cols(h.cols), ptr(onGpu(h.ptr)), col(onGpu(h.col)), val(onGpu(h.val)) {}
  COT_CSRRawMat<V, I> raw() const {
    return {rows, cols, 0, 0, ptr.getData(), ptr.getData() + 1, col.getData(), val.getData()};
  }
};

// Runs one two-pass builder on the host and on the device and compares the two.
template <class V, class I, class OnHost, class OnGpu>
void expectSameBuild(I rows, I cols, OnHost onHost, OnGpu onDevice) {
  const auto h = buildCsr<V, I>(rows, cols, onHost);
  DeviceCsr<V, I> d(HostCsr<V, I>(rows, cols));
  onDevice(d.raw());
  const auto nnz = size_t(contents(d.ptr).back());
  d.col = onGpu(std::vector<I>(nnz, I(-1)));
  d.val = onGpu(std::vector<V>(nnz, V(0)));
  onDevice(d.raw());
  EXPECT_EQ(std::tie(h.ptr, h.col, h.val), std::make_tuple(contents(d.ptr), contents(d.col), contents(d.val)));
}

template <class P>
class SpBlasGpu : public ::testing::Test {};
using GpuTypes = ::testing::Types<Types<double, int>, Types<Complex<float>, long>>;
TYPED_TEST_SUITE(SpBlasGpu, GpuTypes);

TYPED_TEST(SpBlasGpu, MatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  using Ops = SpBlasOps<V, I>;
  using Raw = COT_CSRRawMat<V, I>;
  const I n = kGpuSize;
  auto A = randomCsr<V, I>(n, n, 0.02, 101), B = randomCsr<V, I>(n, 50, 0.05, 102);
  DeviceCsr<V, I> dA(A), dB(B);
  auto x = sample<V>(n, 104), y = sample<V>(n, 105);
  auto dx = onGpu(x);
  for (V beta : {V(0), make<V>(2, 1)}) {
    auto hy = y;
    auto dy = onGpu(y);
    Ops::aAxpby(kHost, make<V>(3), n, n, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(), beta,
                hy.data());
    Ops::aAxpby(kGpu, make<V>(3), n, n, dA.ptr.getData(), dA.ptr.getData() + 1, dA.col.getData(), dA.val.getData(),
                dx.getData(), beta, dy.getData());
    EXPECT_EQ(contents(dy), hy);
  }

  // A builder of the common shape: a parallel count, a serial prefix sum and a parallel fill.
  std::vector<I> cols;
  for (I j = 5; j < n; j += 2) cols.push_back(j);
  auto dCols = onGpu(cols);
  const I nc = I(cols.size());
  expectSameBuild<V, I>(
      n, nc, [&](Raw o) { Ops::get_selected_cols(kHost, A.raw(), nc, cols.data(), o, -5); },
      [&](Raw o) { Ops::get_selected_cols(kGpu, dA.raw(), nc, dCols.getData(), o, -5); });

  // A serial sweep over an own block and a ghost block, and the row norms, which take powers
  // on the device.
  auto ghost = sample<V>(50, 106);
  std::vector<V> diag(n, make<V>(40, 1));
  auto dGhost = onGpu(ghost), dDiag = onGpu(diag), dy = onGpu(y);
  std::vector<COT_SpMVCSRRawMat<V, I>> views{spmvView(A.raw(), 0, 0, 0), spmvView(B.raw(), 0, n, 1, ghost.data())};
  auto dViews = onGpu(
      std::vector<COT_SpMVCSRRawMat<V, I>>{spmvView(dA.raw(), 0, 0, 0), spmvView(dB.raw(), 0, n, 1, dGhost.getData())});
  Ops::par_sor(kHost, n, 2, 0, views.data(), x.data(), diag.data(), y.data(), make<V>(0.9), true, nullptr);
  Ops::par_sor(kGpu, n, 2, 0, dViews.getData(), dx.getData(), dDiag.getData(), dy.getData(), make<V>(0.9), true,
               nullptr);
  expectAllNear(y, contents(dy), 1e3);
  std::vector<R> norm(n);
  auto dNorm = onGpu(norm);
  Ops::par_csr_row_norm_lp(kHost, n, 2, views.data(), R(3), norm.data());
  Ops::par_csr_row_norm_lp(kGpu, n, 2, dViews.getData(), R(3), dNorm.getData());
  expectAllNear(norm, contents(dNorm), 1e3);
}

}  // namespace
