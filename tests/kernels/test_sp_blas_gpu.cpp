#include <vector>

#include "SpBlasTestUtils.h"

// The host path is the oracle: each device result is compared with the same call on the host,
// on sizes well above a warp. Values are small integers, so products and sums agree exactly;
// relaxation divides and is compared within a tolerance.
namespace {

using namespace velmo;
using test::HostCsr;
using test::scalar;

Device host(0, 0);
Device gpu(1, 0);

template <class T>
class DeviceArray {
 public:
  DeviceArray() = default;
  explicit DeviceArray(const std::vector<T>& h) : n_(h.size()) {
    p_ = static_cast<T*>(gpu.rawMalloc((n_ > 0 ? n_ : 1) * sizeof(T)));
    host.rawCopyTo(n_ * sizeof(T), h.data(), gpu, p_);
  }
  DeviceArray(const DeviceArray&) = delete;
  DeviceArray& operator=(DeviceArray&& o) noexcept {
    std::swap(p_, o.p_);
    std::swap(n_, o.n_);
    return *this;
  }
  ~DeviceArray() {
    if (p_) gpu.rawFree(p_);
  }
  T* data() { return p_; }
  std::vector<T> toHost() {
    std::vector<T> h(n_);
    gpu.rawCopyTo(n_ * sizeof(T), p_, host, h.data());
    return h;
  }

 private:
  T* p_ = nullptr;
  size_t n_ = 0;
};

// A device copy of a HostCsr, or a structure-only device matrix to be filled by a builder.
template <class V, class I>
struct DeviceCsr {
  I rows, cols;
  DeviceArray<I> ptr, col;
  DeviceArray<V> val;

  explicit DeviceCsr(const HostCsr<V, I>& h) : rows(h.rows), cols(h.cols), ptr(h.ptr), col(h.col), val(h.val) {}
  DeviceCsr(I r, I c) : rows(r), cols(c), ptr(std::vector<I>(size_t(r) + 1, 0)) {}

  COT_CSRRawMat<V, I> raw() { return {rows, cols, 0, 0, ptr.data(), ptr.data() + 1, col.data(), val.data()}; }
  COT_CSRRawMat<V, I> symbolicRaw() { return {rows, cols, 0, 0, ptr.data(), ptr.data() + 1, nullptr, nullptr}; }
  void allocate() {
    size_t nnz = size_t(ptr.toHost().back());
    col = DeviceArray<I>(std::vector<I>(nnz, I(-1)));
    val = DeviceArray<V>(std::vector<V>(nnz, V(0)));
  }
  HostCsr<V, I> toHost() {
    HostCsr<V, I> h(rows, cols);
    h.ptr = ptr.toHost();
    h.col = col.toHost();
    h.val = val.toHost();
    return h;
  }
};

template <class V, class I>
void expectSameCsr(const HostCsr<V, I>& expected, const HostCsr<V, I>& actual) {
  EXPECT_EQ(expected.ptr, actual.ptr);
  EXPECT_EQ(expected.col, actual.col);
  EXPECT_EQ(expected.val, actual.val);
}

// Runs one two-pass builder into a host and a device output of the same shape, compares the
// two, and returns the host result.
template <class V, class I, class OnHost, class OnGpu>
HostCsr<V, I> expectSameBuild(I rows, I cols, OnHost onHost, OnGpu onGpu) {
  HostCsr<V, I> h(rows, cols);
  onHost(h.symbolicRaw());
  h.allocate();
  onHost(h.raw());
  DeviceCsr<V, I> d(rows, cols);
  onGpu(d.symbolicRaw());
  d.allocate();
  onGpu(d.raw());
  expectSameCsr(h, d.toHost());
  return h;
}

template <class P>
class SpBlasGpu : public ::testing::Test {};
using GpuTypes = ::testing::Types<test::Types<double, int>, test::Types<Complex<float>, long>>;
TYPED_TEST_SUITE(SpBlasGpu, GpuTypes);

TYPED_TEST(SpBlasGpu, ProductsSumsAndTranspose) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  using Raw = COT_CSRRawMat<V, I>;
  auto A = test::randomCsr<V, I>(300, 200, 0.03, 101);
  auto B = test::randomCsr<V, I>(200, 250, 0.03, 102);
  auto A2 = test::randomCsr<V, I>(300, 200, 0.03, 103);
  DeviceCsr<V, I> dA(A), dB(B), dA2(A2);

  auto x = test::randomVector<V>(200, 104), y = test::randomVector<V>(300, 105);
  DeviceArray<V> dx(x);
  for (V beta : {V(0), scalar<V>(2, 1)}) {
    DeviceArray<V> dy(y);
    auto hy = y;
    Ops::aAxpby(host, scalar<V>(3), 300, 200, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data(), x.data(),
                beta, hy.data());
    Ops::aAxpby(gpu, scalar<V>(3), 300, 200, dA.ptr.data(), dA.ptr.data() + 1, dA.col.data(), dA.val.data(),
                dx.data(), beta, dy.data());
    EXPECT_EQ(dy.toHost(), hy);
  }

  // The serial device product keeps the host's first-touch order.
  std::vector<I> marker(250);
  DeviceArray<I> dMarker(marker);
  auto C = expectSameBuild<V, I>(
      300, 250,
      [&](Raw c) {
        Ops::csr_matmul(host, 300, 200, 250, A.ptr.data(), A.col.data(), A.val.data(), B.ptr.data(), B.col.data(),
                        B.val.data(), const_cast<I*>(c.row_ptr), c.col_idx, c.values, marker.data());
      },
      [&](Raw c) {
        Ops::csr_matmul(gpu, 300, 200, 250, dA.ptr.data(), dA.col.data(), dA.val.data(), dB.ptr.data(),
                        dB.col.data(), dB.val.data(), const_cast<I*>(c.row_ptr), c.col_idx, c.values,
                        dMarker.data());
      });

  // Hash sum first, as the merge sum sorts its operands.
  V alpha = scalar<V>(2), beta = scalar<V>(-1, 1);
  std::vector<HashTableSlot<I, I>> slots(size_t(A.nnzs() + A2.nnzs()));
  DeviceArray<HashTableSlot<I, I>> dSlots(slots);
  expectSameBuild<V, I>(
      300, 200, [&](Raw c) { Ops::csr_matadd_hash(host, alpha, A.raw(), beta, A2.raw(), c, slots.data()); },
      [&](Raw c) { Ops::csr_matadd_hash(gpu, alpha, dA.raw(), beta, dA2.raw(), c, dSlots.data()); });
  HostCsr<V, I> scratch(300, 200);
  scratch.col.resize(slots.size());
  scratch.val.resize(slots.size());
  DeviceCsr<V, I> dScratch(scratch);
  expectSameBuild<V, I>(
      300, 200, [&](Raw c) { Ops::csr_matadd(host, alpha, A.raw(), beta, A2.raw(), c, scratch.raw()); },
      [&](Raw c) { Ops::csr_matadd(gpu, alpha, dA.raw(), beta, dA2.raw(), c, dScratch.raw()); });
  expectSameCsr(A, dA.toHost());  // both sides sorted the operand's rows alike

  // Transpose of the unsorted product, then sorting the product's rows.
  DeviceCsr<V, I> dC(C);
  HostCsr<V, I> T(250, 300), blank(250, 300);
  T.col.resize(size_t(C.nnzs()));
  T.val.resize(size_t(C.nnzs()));
  blank.col.assign(T.col.size(), I(-1));
  blank.val.assign(T.val.size(), V(0));
  DeviceCsr<V, I> dT(blank);
  Ops::csr_transpose(host, 300, 250, C.ptr.data(), C.col.data(), C.val.data(), T.ptr.data(), T.col.data(),
                     T.val.data());
  Ops::csr_transpose(gpu, 300, 250, dC.ptr.data(), dC.col.data(), dC.val.data(), dT.ptr.data(), dT.col.data(),
                     dT.val.data());
  expectSameCsr(T, dT.toHost());
  Ops::csr_sort_rows(host, 300, 250, C.ptr.data(), C.col.data(), C.val.data());
  Ops::csr_sort_rows(gpu, 300, 250, dC.ptr.data(), dC.col.data(), dC.val.data());
  expectSameCsr(C, dC.toHost());
}

TYPED_TEST(SpBlasGpu, ExtractionAndConcatenation) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using Ops = SpBlasOps<V, I>;
  using Raw = COT_CSRRawMat<V, I>;
  auto A = test::randomCsr<V, I>(260, 240, 0.04, 201);
  auto L = test::randomCsr<V, I>(260, 100, 0.05, 202);
  DeviceCsr<V, I> dA(A), dL(L);

  std::vector<I> rows, cols;
  for (I i = 0; i < 260; i += 3) rows.push_back(259 - i);
  for (I j = 5; j < 240; j += 2) cols.push_back(j);
  DeviceArray<I> dRows(rows), dCols(cols);
  const I nr = I(rows.size()), nc = I(cols.size());
  for (bool keep : {false, true}) {
    expectSameBuild<V, I>(
        keep ? 260 : nr, 240, [&](Raw o) { Ops::get_selected_rows(host, A.raw(), nr, rows.data(), o, keep); },
        [&](Raw o) { Ops::get_selected_rows(gpu, dA.raw(), nr, dRows.data(), o, keep); });
  }
  expectSameBuild<V, I>(
      260, nc, [&](Raw o) { Ops::get_selected_cols(host, A.raw(), nc, cols.data(), o, -5); },
      [&](Raw o) { Ops::get_selected_cols(gpu, dA.raw(), nc, dCols.data(), o, -5); });

  // Two column blocks side by side, then the diagonal of the result replaced.
  std::vector<COT_MergeCSRRawMat<V, I>> blocks{L.mergeRaw(0, 0), A.mergeRaw(0, 100)};
  DeviceArray<COT_MergeCSRRawMat<V, I>> dBlocks(
      std::vector<COT_MergeCSRRawMat<V, I>>{test::mergeView(dL.raw(), 0, 0), test::mergeView(dA.raw(), 0, 100)});
  auto M = expectSameBuild<V, I>(
      260, 340, [&](Raw o) { Ops::csr_merge_cols(host, 2, blocks.data(), o); },
      [&](Raw o) { Ops::csr_merge_cols(gpu, 2, dBlocks.data(), o); });
  DeviceCsr<V, I> dM(M);

  auto x = test::randomVector<V>(260, 203), y = test::randomVector<V>(260, 204);
  DeviceArray<V> dx(x), dy(y);
  expectSameBuild<V, I>(
      260, 340,
      [&](Raw o) {
        Ops::csr_axpby_diag(host, scalar<V>(2), x.data(), scalar<V>(3), y.data(), M.mergeRaw(0, 0),
                            test::mergeView(o, 0, 0));
      },
      [&](Raw o) {
        Ops::csr_axpby_diag(gpu, scalar<V>(2), dx.data(), scalar<V>(3), dy.data(), test::mergeView(dM.raw(), 0, 0),
                            test::mergeView(o, 0, 0));
      });

  std::vector<V> diag(260, scalar<V>(-7)), dense(size_t(260) * 340);
  DeviceArray<V> dDiag(diag), dDense(dense);
  Ops::csr_diag(host, 260, 340, M.ptr.data(), M.col.data(), M.val.data(), diag.data(), 0, 0);
  Ops::csr_diag(gpu, 260, 340, dM.ptr.data(), dM.col.data(), dM.val.data(), dDiag.data(), 0, 0);
  EXPECT_EQ(dDiag.toHost(), diag);
  Ops::csr2dense(gpu, 260, 340, dM.ptr.data(), dM.col.data(), dM.val.data(), dDense.data());
  EXPECT_EQ(dDense.toHost(), M.dense());

  DeviceArray<V> dValue(std::vector<V>(1));
  DeviceArray<int> dFound(std::vector<int>(1));
  const I first = M.ptr[17];
  Ops::get_element_value(gpu, 260, 340, dM.ptr.data(), dM.col.data(), dM.val.data(), I(17), M.col[first],
                         dValue.data(), dFound.data());
  EXPECT_EQ(dFound.toHost()[0], 1);
  EXPECT_EQ(dValue.toHost()[0], M.val[first]);
}

TYPED_TEST(SpBlasGpu, Relaxation) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  using Ops = SpBlasOps<V, I>;
  const I n = 300;
  // A diagonally dominant own block, and a ghost block of 50 columns.
  auto A = test::randomCsr<V, I>(n, n, 0.02, 301, 0.0);
  for (I i = 0; i < n; ++i) {
    for (I k = A.ptr[i]; k < A.ptr[i + 1]; ++k) {
      if (A.col[k] == i) A.val[k] = scalar<V>(40, 1);
    }
  }
  auto G = test::randomCsr<V, I>(n, 50, 0.05, 302);
  DeviceCsr<V, I> dA(A), dG(G);
  auto b = test::randomVector<V>(n, 303), x = test::randomVector<V>(n, 304), ghost = test::randomVector<V>(50, 305);
  std::vector<V> diag(n, scalar<V>(40, 1));
  DeviceArray<V> db(b), dx(x), dxOld(x), dGhost(ghost), dDiag(diag);
  auto expectClose = [&](const std::vector<V>& h, const std::vector<V>& d) {
    ASSERT_EQ(h.size(), d.size());
    for (size_t i = 0; i < h.size(); ++i) test::expectNear(h[i], d[i], 1e3);
  };

  auto xOld = x;
  Ops::jacobi(host, n, n, A.ptr.data(), A.col.data(), A.val.data(), xOld.data(), b.data(), x.data(), scalar<V>(0.7));
  Ops::jacobi(gpu, n, n, dA.ptr.data(), dA.col.data(), dA.val.data(), dxOld.data(), db.data(), dx.data(),
              scalar<V>(0.7));
  expectClose(x, dx.toHost());

  Ops::sor(host, n, n, A.ptr.data(), A.col.data(), A.val.data(), b.data(), x.data(), scalar<V>(1.2), false, nullptr);
  Ops::sor(gpu, n, n, dA.ptr.data(), dA.col.data(), dA.val.data(), db.data(), dx.data(), scalar<V>(1.2), false,
           nullptr);
  expectClose(x, dx.toHost());

  std::vector<COT_SpMVCSRRawMat<V, I>> views{A.spmvRaw(0, 0, 0, nullptr), G.spmvRaw(0, n, 1, ghost.data())};
  DeviceArray<COT_SpMVCSRRawMat<V, I>> dViews(std::vector<COT_SpMVCSRRawMat<V, I>>{
      test::spmvView(dA.raw(), 0, 0, 0),
      test::spmvView(dG.raw(), 0, n, 1, dGhost.data())});
  Ops::par_sor(host, n, 2, 0, views.data(), b.data(), diag.data(), x.data(), scalar<V>(0.9), true, nullptr);
  Ops::par_sor(gpu, n, 2, 0, dViews.data(), db.data(), dDiag.data(), dx.data(), scalar<V>(0.9), true, nullptr);
  expectClose(x, dx.toHost());

  std::vector<R> norm(n);
  DeviceArray<R> dNorm(norm);
  Ops::par_csr_row_norm_lp(host, n, 2, views.data(), R(3), norm.data());
  Ops::par_csr_row_norm_lp(gpu, n, 2, dViews.data(), R(3), dNorm.data());
  auto dn = dNorm.toHost();
  for (I i = 0; i < n; ++i) test::expectNear(norm[i], dn[i], 100);

  std::vector<V> pd(n);
  DeviceArray<V> dPd(pd);
  Ops::par_csr_diag(host, n, 2, views.data(), pd.data());
  Ops::par_csr_diag(gpu, n, 2, dViews.data(), dPd.data());
  EXPECT_EQ(dPd.toHost(), pd);
}

}  // namespace
