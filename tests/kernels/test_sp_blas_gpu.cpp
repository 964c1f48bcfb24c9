#include <vector>

#include "SparseTestHelpers.h"
#include "kernels/SpBlasOps.h"

// The relaxation kernels over column-block views against the host oracle. Products, sums and
// builders on the device are compared through CSRMatrixT and ParCSRMatrixT.
namespace sp_blas_gpu_test {

using namespace velmo;
using namespace velmo::test;

template <class T>
MatrixT<T> onGpu(const std::vector<T>& h) {
  return denseOf(h, int(h.size()), 1, kGpu);
}

// A device copy of a HostCsr, viewed as one column block.
template <class V, class I>
struct DeviceBlock {
  MatrixT<I> ptr, col;
  MatrixT<V> val;
  COT_SpMVCSRRawMat<V, I> view;

  DeviceBlock(const HostCsr<V, I>& h, long colOffset, long rank, V* x)
      : ptr(onGpu(h.ptr)), col(onGpu(h.col)), val(onGpu(h.val)) {
    view = spmvView<V, I>({h.rows, h.cols, 0, 0, ptr.getData(), ptr.getData() + 1, col.getData(), val.getData()},
                          0, colOffset, rank, x);
  }
};

template <class P>
class SpBlasGpu : public ::testing::Test {};
TYPED_TEST_SUITE(SpBlasGpu, FloatTypes);

// The serial sweep over an own and a ghost block, and the row norms, which take powers on
// the device.
TYPED_TEST(SpBlasGpu, RelaxationMatchesHost) {
  VELMO_REQUIRE_GPU();
  using V = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<V>;
  using Ops = SpBlasOps<V, I>;
  const I n = kGpuSize;
  auto A = randomCsr<V, I>(n, n, 0.02, 101), B = randomCsr<V, I>(n, 50, 0.05, 102);
  auto b = sample<V>(n, 104), x = sample<V>(n, 105), ghost = sample<V>(50, 106);
  std::vector<V> diag(n, make<V>(40, 1));
  auto db = onGpu(b), dx = onGpu(x), dGhost = onGpu(ghost), dDiag = onGpu(diag);
  DeviceBlock<V, I> dA(A, 0, 0, nullptr), dB(B, n, 1, dGhost.getData());
  std::vector<COT_SpMVCSRRawMat<V, I>> views{spmvView(A.raw(), 0, 0, 0), spmvView(B.raw(), 0, n, 1, ghost.data())};
  auto dViews = onGpu(std::vector<COT_SpMVCSRRawMat<V, I>>{dA.view, dB.view});

  Ops::par_sor(kHost, n, 2, 0, views.data(), b.data(), diag.data(), x.data(), make<V>(0.9), true, nullptr);
  Ops::par_sor(kGpu, n, 2, 0, dViews.getData(), db.getData(), dDiag.getData(), dx.getData(), make<V>(0.9), true,
               nullptr);
  expectAllNear(x, contents(dx), 1e3);
  std::vector<R> norm(n);
  auto dNorm = onGpu(norm);
  Ops::par_csr_row_norm_lp(kHost, n, 2, views.data(), R(3), norm.data());
  Ops::par_csr_row_norm_lp(kGpu, n, 2, dViews.getData(), R(3), dNorm.getData());
  expectAllNear(norm, contents(dNorm), 1e3);
}

}  // namespace sp_blas_gpu_test
