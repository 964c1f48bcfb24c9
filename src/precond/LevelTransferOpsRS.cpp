#include "precond/LevelTransferOpsRS.h"

#include <glog/logging.h>

#include "kernels/SpLevelTransferOps.h"
#include "kernels/impl/KernelTypes.h"

namespace velmo {

namespace {
const Device kHost(0, 0);
}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>::connect(const CSRMatrix& A, double eps_strong,
                                                                  IntCSRMatrix& S, IntVector& cf) {
  const Device device = A.getDevice();
  A.copyStructure(S);
  cf.create(A.getRows(), 1, device);
  cf.fill('U');
  SpLevelTransferOps<Value, GlobalIndex, LocalIndex>::rs_connect(device, A.getRawMat(), eps_strong, S.getRawMat(),
                                                                 cf.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>::cfsplit(const CSRMatrix& A, const IntCSRMatrix& S,
                                                                  IntVector& cf) {
  using Index = MatrixT<LocalIndex, LocalIndex, MatrixLayoutRowMajor>;
  const Device device = A.getDevice();
  const LocalIndex n = A.getRows();
  Index lambda(n, 1, device), ptr(2 * n + 2, 1, device), cnt(2 * n + 2, 1, device), i2n(n, 1, device),
      n2i(n, 1, device);
  SpLevelTransferOps<Value, GlobalIndex, LocalIndex>::rs_cfsplit(device, A.getRawMat(), S.getRawMat(), cf.getData(),
                                                                 lambda.getData(), ptr.getData(), cnt.getData(),
                                                                 i2n.getData(), n2i.getData());
}

template <class Value, class GlobalIndex, class LocalIndex>
void LevelTransferOps_RS<Value, GlobalIndex, LocalIndex>::interpolation(const CSRMatrix& A, const IntCSRMatrix& S,
                                                                        const IntVector& cf, bool do_trunc,
                                                                        double eps_trunc, int& naggr, CSRMatrix& P) {
  using Ops = SpLevelTransferOps<Value, GlobalIndex, LocalIndex>;
  const Device device = A.getDevice();
  const LocalIndex n = A.getRows();
  Vector Amin(n, 1, device), Amax(n, 1, device);
  MatrixT<LocalIndex, LocalIndex, MatrixLayoutRowMajor> cidx(n, 1, device), count(1, 1, device);
  P.create(n, 0, 0, device);
  naggr = 0;
  if (n == 0) return;
  const auto pass = [&] {
    Ops::rs_interpolation(device, A.getRawMat(), S.getRawMat(), cf.getData(), do_trunc, eps_trunc, Amin.getData(),
                          Amax.getData(), cidx.getData(), count.getData(), P.getRawMat());
  };
  pass();
  naggr = int(count.toDevice(kHost).getData()[0]);
  const LocalIndex nnz = P.evaluateNnzs();
  LOG(INFO) << "num nodes " << n << ", the naggr is " << naggr << ", the nnz of P is " << nnz;
  P.resizeNnz(nnz, naggr);
  if (nnz > 0) pass();
}

#define VELMO_INSTANTIATE(V, G, L) template struct LevelTransferOps_RS<V, G, L>;
VELMO_FOR_EACH_LEVEL_TRANSFER_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
