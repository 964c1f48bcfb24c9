#include "kernels/Dispatch.h"
#include "kernels/SpBlasOpsRelaxImpl.h"

// Relaxation members of SpBlasOps; see SpBlasOps.cpp for the split.
namespace velmo {

namespace {
template <class Value, class Index, class Space>
using Impl = SpBlasOpsRelaxImpl<Value, Index, std::decay_t<Space>>;
}  // namespace

#define VELMO_SPBLAS_DISPATCH(op, ...)                                                     \
  detail::dispatch(dev, [&](const auto& s) { Impl<Value, Index, decltype(s)>::op(s, __VA_ARGS__); })

template <class Value, class Index>
void SpBlasOps<Value, Index>::jacobi(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                     const Index* col_idx, const Value* values, const Value* xOld, const Value* b,
                                     Value* x, Value omega) {
  VELMO_SPBLAS_DISPATCH(jacobi, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::jacobi_diagLp(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            const Index* col_idx, const Value* values, const Value* xOld,
                                            const Value* b, Value* x, Value omega, R p, const Index* select) {
  VELMO_SPBLAS_DISPATCH(jacobi_diagLp, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega, p, select);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::richardson(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                         const Index* col_idx, const Value* values, const Value* xOld,
                                         const Value* b, Value* x, Value omega) {
  VELMO_SPBLAS_DISPATCH(richardson, rows, cols, row_ptr, col_idx, values, xOld, b, x, omega);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::sor(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                  const Index* col_idx, const Value* values, const Value* b, Value* x, Value omega,
                                  bool forward, const Index* order) {
  VELMO_SPBLAS_DISPATCH(sor, rows, cols, row_ptr, col_idx, values, b, x, omega, forward, order);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_sor(const Device& dev, Index rows, Index blockCount, Index rank,
                                      const SpMVRawMat* blocks, const Value* b, const Value* diag, Value* x,
                                      Value omega, bool forward, const Index* order) {
  VELMO_SPBLAS_DISPATCH(par_sor, rows, blockCount, rank, blocks, b, diag, x, omega, forward, order);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_row_norm_lp(const Device& dev, Index rows, Index blockCount,
                                                  const SpMVRawMat* blocks, R p, R* result) {
  VELMO_SPBLAS_DISPATCH(par_csr_row_norm_lp, rows, blockCount, blocks, p, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::par_csr_diag(const Device& dev, Index rows, Index blockCount,
                                           const SpMVRawMat* blocks, Value* diag) {
  VELMO_SPBLAS_DISPATCH(par_csr_diag, rows, blockCount, blocks, diag);
}

#undef VELMO_SPBLAS_DISPATCH

template struct SpBlasOps<int, int>;
template struct SpBlasOps<int, long>;
template struct SpBlasOps<long, int>;
template struct SpBlasOps<long, long>;
template struct SpBlasOps<float, int>;
template struct SpBlasOps<float, long>;
template struct SpBlasOps<double, int>;
template struct SpBlasOps<double, long>;
template struct SpBlasOps<Complex<float>, int>;
template struct SpBlasOps<Complex<float>, long>;
template struct SpBlasOps<Complex<double>, int>;
template struct SpBlasOps<Complex<double>, long>;

}  // namespace velmo
