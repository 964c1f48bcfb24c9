#include "kernels/Dispatch.h"
#include "kernels/SpBlasOpsImpl.h"

// Matrix-vector product, extraction and concatenation members of SpBlasOps. The family is
// spread over three translation units by theme (also SpBlasOpsProduct.cpp and
// SpBlasOpsRelax.cpp) to keep device compilation units small; an explicit instantiation
// of the class covers only the members defined in its own unit.
namespace velmo {

namespace {
template <class Value, class Index, class Space>
using Impl = SpBlasOpsImpl<Value, Index, std::decay_t<Space>>;
}  // namespace

#define VELMO_SPBLAS_DISPATCH(op, ...)                                                     \
  detail::dispatch(dev, [&](const auto& s) { Impl<Value, Index, decltype(s)>::op(s, __VA_ARGS__); })

template <class Value, class Index>
void SpBlasOps<Value, Index>::aAxpby(const Device& dev, Value alpha, Index rows, Index cols,
                                     const Index* row_ptr, const Index* row_end, const Index* col_idx,
                                     const Value* values, const Value* x, Value beta, Value* y) {
  VELMO_SPBLAS_DISPATCH(aAxpby, alpha, rows, cols, row_ptr, row_end, col_idx, values, x, beta, y);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::aAxpby_multi(const Device& dev, Value alpha, Index rows, Index cols,
                                           const Index* row_ptr, const Index* col_idx, const Value* values,
                                           Index nvecs, Index ldx, const Value* x, Value beta, Index ldy,
                                           Value* y) {
  VELMO_SPBLAS_DISPATCH(aAxpby_multi, alpha, rows, cols, row_ptr, col_idx, values, nvecs, ldx, x, beta, ldy, y);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr2dense(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                        const Index* col_idx, const Value* values, Value* dense) {
  VELMO_SPBLAS_DISPATCH(csr2dense, rows, cols, row_ptr, col_idx, values, dense);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_diag(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                       const Index* col_idx, const Value* values, Value* diag, Index rowOffset,
                                       Index colOffset) {
  VELMO_SPBLAS_DISPATCH(csr_diag, rows, cols, row_ptr, col_idx, values, diag, rowOffset, colOffset);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_axpby_diag(const Device& dev, Value alpha, const Value* x, Value beta,
                                             const Value* y, MergeRawMat A, MergeRawMat out) {
  VELMO_SPBLAS_DISPATCH(csr_axpby_diag, alpha, x, beta, y, A, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_append_rows(const Device& dev, RawMat out, Index startRow, Index startNnz,
                                              RawMat src) {
  VELMO_SPBLAS_DISPATCH(csr_append_rows, out, startRow, startNnz, src);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_merge_cols(const Device& dev, Index count, const MergeRawMat* blocks,
                                             RawMat out) {
  VELMO_SPBLAS_DISPATCH(csr_merge_cols, count, blocks, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::csr_merge_rows(const Device& dev, Index count, const MergeRawMat* blocks,
                                             RawMat out) {
  VELMO_SPBLAS_DISPATCH(csr_merge_rows, count, blocks, out);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_row_element_count(const Device& dev, RawMat A, Index count, Index* result) {
  VELMO_SPBLAS_DISPATCH(get_row_element_count, A, count, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_col_element_count(const Device& dev, RawMat A, Index count, Index* result) {
  VELMO_SPBLAS_DISPATCH(get_col_element_count, A, count, result);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                                const Index* col_idx, const Value* values, Index row, Index col,
                                                Value* value, int* found) {
  VELMO_SPBLAS_DISPATCH(get_element_value, rows, cols, row_ptr, col_idx, values, row, col, value, found);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::set_element_value(const Device& dev, Index rows, Index cols, const Index* row_ptr,
                                                const Index* col_idx, Value* values, Index row, Index col,
                                                Value value, int* found) {
  VELMO_SPBLAS_DISPATCH(set_element_value, rows, cols, row_ptr, col_idx, values, row, col, value, found);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_selected_rows(const Device& dev, RawMat A, Index n, const Index* selected,
                                                RawMat out, bool keepPositions) {
  VELMO_SPBLAS_DISPATCH(get_selected_rows, A, n, selected, out, keepPositions);
}

template <class Value, class Index>
void SpBlasOps<Value, Index>::get_selected_cols(const Device& dev, RawMat A, Index n, const Index* selected,
                                                RawMat out, Index shift) {
  VELMO_SPBLAS_DISPATCH(get_selected_cols, A, n, selected, out, shift);
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
