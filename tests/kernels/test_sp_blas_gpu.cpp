#include <tuple>
#include <vector>

#include "SpBlasTestUtils.h"
#include "mat/Matrix.h"

// The host path is the oracle: each device result is compared with the same call on the host,
// on sizes well above a warp. Values are small integers, so products and sums agree exactly;
// relaxation divides and is compared within a tolerance.
namespace {

using namespace velmo;
using test::HostCsr;
using test::kHost;
using test::make;

const Device gpu(1, 0);

template <class T>
MatrixT<T> onGpu(const std::vector<T>& h) {
  MatrixT<T> m(1, int(h.size()), kHost);
  std::copy(h.begin(), h.end(), m.getData());
  return m.toDevice(gpu);
}

template <class T>
std::vector<T> toHost(const MatrixT<T>& d) {
  MatrixT<T> h = d.toDevice(kHost);
  return {h.getData(), h.getData() + h.getSize()};
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
  HostCsr<V, I> toHost() const {
    HostCsr<V, I> h(rows, cols);
    h.ptr = ::toHost(ptr);
    h.col = ::toHost(col);
    h.val = ::toHost(val);
    return h;
  }
};

template <class V, class I>
void expectSameCsr(const HostCsr<V, I>& expected, const HostCsr<V, I>& actual) {
  EXPECT_EQ(std::tie(expected.ptr, expected.col, expected.val), std::tie(actual.ptr, actual.col, actual.val));
}

// Runs one two-pass builder on the host and on the device, compares the two, and returns the
// host result.
template <class V, class I, class OnHost, class OnGpu>
HostCsr<V, I> expectSameBuild(I rows, I cols, OnHost onHost, OnGpu onGpu) {
  auto h = test::buildCsr<V, I>(rows, cols, onHost);
  DeviceCsr<V, I> d(HostCsr<V, I>(rows, cols));
  onGpu(d.raw());
  auto nnz = size_t(::toHost(d.ptr).back());
  d.col = ::onGpu(std::vector<I>(nnz, I(-1)));
  d.val = ::onGpu(std::vector<V>(nnz, V(0)));
  onGpu(d.raw());
  expectSameCsr(h, d.toHost());
  return h;
}

template <class V>
void expectClose(const std::vector<V>& host, const std::vector<V>& device) {
  ASSERT_EQ(host.size(), device.size());
  for (size_t i = 0; i < host.size(); ++i) test::expectNear(host[i], device[i], 1e3);
}

template <class P>
class SpBlasGpu : public ::testing::Test {};
using GpuTypes = ::testing::Types<test::Types<double, int>, test::Types<Complex<float>, long>>;
TYPED_TEST_SUITE(SpBlasGpu, GpuTypes);

TYPED_TEST(SpBlasGpu, MatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  using Ops = SpBlasOps<V, I>;
  using Raw = COT_CSRRawMat<V, I>;
  const I n = 300;
  auto A = test::randomCsr<V, I>(n, n, 0.02, 101);
  auto B = test::randomCsr<V, I>(n, 50, 0.05, 102);
  auto A2 = test::randomCsr<V, I>(n, n, 0.02, 103);
  DeviceCsr<V, I> dA(A), dB(B), dA2(A2);
  auto x = test::randomVector<V>(n, 104), y = test::randomVector<V>(n, 105);
  auto dx = onGpu(x);
  for (V beta : {V(0), make<V>(2, 1)}) {
    auto hy = y;
    auto dy = onGpu(y);
    Ops::aAxpby(kHost, make<V>(3), n, n, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(),
                beta, hy.data());
    Ops::aAxpby(gpu, make<V>(3), n, n, dA.ptr.getData(), dA.ptr.getData() + 1, dA.col.getData(), dA.val.getData(),
                dx.getData(), beta, dy.getData());
    EXPECT_EQ(toHost(dy), hy);
  }

  // A builder of the common shape: a parallel count, a serial prefix sum and a parallel fill.
  std::vector<I> cols;
  for (I j = 5; j < n; j += 2) cols.push_back(j);
  auto dCols = onGpu(cols);
  const I nc = I(cols.size());
  expectSameBuild<V, I>(
      n, nc, [&](Raw o) { Ops::get_selected_cols(kHost, A.raw(), nc, cols.data(), o, -5); },
      [&](Raw o) { Ops::get_selected_cols(gpu, dA.raw(), nc, dCols.getData(), o, -5); });

  // The serial device product keeps the host's first-touch order; the serial transpose follows.
  std::vector<I> marker(n, I(0));
  auto dMarker = onGpu(marker);
  auto C = expectSameBuild<V, I>(
      n, n,
      [&](Raw c) {
        Ops::csr_matmul(kHost, n, n, n, A.ptr.data(), A.col.data(), A.val.data(), A2.ptr.data(), A2.col.data(),
                        A2.val.data(), const_cast<I*>(c.row_ptr), c.col_idx, c.values, marker.data());
      },
      [&](Raw c) {
        Ops::csr_matmul(gpu, n, n, n, dA.ptr.getData(), dA.col.getData(), dA.val.getData(), dA2.ptr.getData(),
                        dA2.col.getData(), dA2.val.getData(), const_cast<I*>(c.row_ptr), c.col_idx, c.values,
                        dMarker.getData());
      });
  DeviceCsr<V, I> dC(C);
  HostCsr<V, I> T(n, n);
  T.col.resize(size_t(C.nnzs()));
  T.val.resize(size_t(C.nnzs()));
  DeviceCsr<V, I> dT(T);
  Ops::csr_transpose(kHost, n, n, C.ptr.data(), C.col.data(), C.val.data(), T.ptr.data(), T.col.data(),
                     T.val.data());
  Ops::csr_transpose(gpu, n, n, dC.ptr.getData(), dC.col.getData(), dC.val.getData(), dT.ptr.getData(),
                     dT.col.getData(), dT.val.getData());
  expectSameCsr(T, dT.toHost());

  // Hash sum first, as the merge sum sorts its operands' rows in place.
  V alpha = make<V>(2), beta = make<V>(-1, 1);
  std::vector<HashTableSlot<I, I>> slots(size_t(A.nnzs() + A2.nnzs()));
  auto dSlots = onGpu(slots);
  expectSameBuild<V, I>(
      n, n, [&](Raw c) { Ops::csr_matadd_hash(kHost, alpha, A.raw(), beta, A2.raw(), c, slots.data()); },
      [&](Raw c) { Ops::csr_matadd_hash(gpu, alpha, dA.raw(), beta, dA2.raw(), c, dSlots.getData()); });
  HostCsr<V, I> scratch(n, n);
  scratch.col.resize(slots.size());
  scratch.val.resize(slots.size());
  DeviceCsr<V, I> dScratch(scratch);
  expectSameBuild<V, I>(
      n, n, [&](Raw c) { Ops::csr_matadd(kHost, alpha, A.raw(), beta, A2.raw(), c, scratch.raw()); },
      [&](Raw c) { Ops::csr_matadd(gpu, alpha, dA.raw(), beta, dA2.raw(), c, dScratch.raw()); });
  expectSameCsr(A, dA.toHost());  // both sides sorted alike

  // A serial sweep over an own block and a ghost block, and the row norms, which take powers
  // on the device.
  auto ghost = test::randomVector<V>(50, 106);
  std::vector<V> diag(n, make<V>(40, 1));
  auto dGhost = onGpu(ghost), dDiag = onGpu(diag), dy = onGpu(y);
  std::vector<COT_SpMVCSRRawMat<V, I>> views{test::spmvView(A.raw(), 0, 0, 0),
                                             test::spmvView(B.raw(), 0, n, 1, ghost.data())};
  auto dViews = onGpu(std::vector<COT_SpMVCSRRawMat<V, I>>{test::spmvView(dA.raw(), 0, 0, 0),
                                                           test::spmvView(dB.raw(), 0, n, 1, dGhost.getData())});
  Ops::par_sor(kHost, n, 2, 0, views.data(), x.data(), diag.data(), y.data(), make<V>(0.9), true, nullptr);
  Ops::par_sor(gpu, n, 2, 0, dViews.getData(), dx.getData(), dDiag.getData(), dy.getData(), make<V>(0.9), true,
               nullptr);
  expectClose(y, toHost(dy));
  std::vector<R> norm(n);
  auto dNorm = onGpu(norm);
  Ops::par_csr_row_norm_lp(kHost, n, 2, views.data(), R(3), norm.data());
  Ops::par_csr_row_norm_lp(gpu, n, 2, dViews.getData(), R(3), dNorm.getData());
  expectClose(norm, toHost(dNorm));
}

}  // namespace
