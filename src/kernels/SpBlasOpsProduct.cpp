#include "kernels/Dispatch.h"
#include "kernels/SpBlasOpsProductImpl.h"

// Product, sum, sort and transpose members of SpBlasOps; see SpBlasOps.cpp for the split.
namespace velmo {

namespace {
template <class Value, class Index, class Space>
using Impl = SpBlasOpsProductImpl<Value, Index, std::decay_t<Space>>;
}  // namespace

#define VELMO_SPBLAS_DISPATCH(op, ...)                                                     \
  detail::dispatch(dev, [&](const auto& s) { Impl<Value, Index, decltype(s)>::op(s, __VA_ARGS__); })

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul(const Device& dev, Index rowsA, Index colsA, Index colsB,
                                         const Index* A_row_ptr, const Index* A_col_idx, const Value* A_values,
                                         const Index* B_row_ptr, const Index* B_col_idx, const Value* B_values,
                                         Index* C_row_ptr, Index* C_col_idx, Value* C_values, Index* marker) {
  VELMO_SPBLAS_DISPATCH(csr_matmul, rowsA, colsA, colsB, A_row_ptr, A_col_idx, A_values, B_row_ptr, B_col_idx,
                        B_values, C_row_ptr, C_col_idx, C_values, marker);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul_aAD(const Device& dev, Value alpha, SpMVRawMat A) {
  VELMO_SPBLAS_DISPATCH(csr_matmul_aAD, alpha, A);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matmul_aDA(const Device& dev, Value alpha, const Value* diag, MergeRawMat A) {
  VELMO_SPBLAS_DISPATCH(csr_matmul_aDA, alpha, diag, A);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B,
                                         RawMat C, RawMat scratch) {
  VELMO_SPBLAS_DISPATCH(csr_matadd, alpha, A, beta, B, C, scratch);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd_hash(const Device& dev, Value alpha, RawMat A, Value beta, RawMat B,
                                              RawMat C, Slot* slots) {
  VELMO_SPBLAS_DISPATCH(csr_matadd_hash, alpha, A, beta, B, C, slots);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_matadd_vec(const Device& dev, Index rows, Index count, const RawMat* list,
                                             RawMat out, Index* marker) {
  VELMO_SPBLAS_DISPATCH(csr_matadd_vec, rows, count, list, out, marker);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_sort_rows(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            Index* col_idx, Value* values) {
  VELMO_SPBLAS_DISPATCH(csr_sort_rows, rows, cols, row_ptr, col_idx, values);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_transpose(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                            const Index* col_idx, const Value* values, Index* out_row_ptr,
                                            Index* out_col_idx, Value* out_values) {
  VELMO_SPBLAS_DISPATCH(csr_transpose, rows, cols, row_ptr, col_idx, values, out_row_ptr, out_col_idx,
                        out_values);
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
