#include "kernels/impl/BlasOpsImpl.h"
#include "kernels/impl/KernelTypes.h"
#include "kernels/spm/Dispatch.h"

namespace velmo {

namespace {
template <class T, class I, class Space>
using Impl = BlasOpsImpl<T, I, std::decay_t<Space>>;
}  // namespace

#define VELMO_BLAS_DISPATCH(op, ...) \
  return detail::dispatch(dev, [&](const auto& s) { return Impl<T, I, decltype(s)>::op(s, __VA_ARGS__); })

template <class T, class I>
void BlasOps<T, I>::fill(const Device& dev, I n, T a, T* x) { VELMO_BLAS_DISPATCH(fill, n, a, x); }
template <class T, class I>
void BlasOps<T, I>::scal(const Device& dev, I n, T a, T* x) { VELMO_BLAS_DISPATCH(scal, n, a, x); }
template <class T, class I>
void BlasOps<T, I>::copy(const Device& dev, I n, const T* x, T* y) { VELMO_BLAS_DISPATCH(copy, n, x, y); }
template <class T, class I>
void BlasOps<T, I>::axpy(const Device& dev, I n, T a, const T* x, T* y) {
  VELMO_BLAS_DISPATCH(axpy, n, a, x, y);
}
template <class T, class I>
void BlasOps<T, I>::axpby(const Device& dev, I n, T a, const T* x, T b, T* y) {
  VELMO_BLAS_DISPATCH(axpby, n, a, x, b, y);
}
template <class T, class I>
void BlasOps<T, I>::axpbypz(const Device& dev, I n, T a, const T* x, T b, const T* y, T* z) {
  VELMO_BLAS_DISPATCH(axpbypz, n, a, x, b, y, z);
}
template <class T, class I>
void BlasOps<T, I>::axypbz(const Device& dev, I n, T a, const T* x, const T* y, T b, T* z) {
  VELMO_BLAS_DISPATCH(axypbz, n, a, x, y, b, z);
}
template <class T, class I>
void BlasOps<T, I>::axpbypcz(const Device& dev, I n, T a, const T* x, T b, const T* y, T c, T* z) {
  VELMO_BLAS_DISPATCH(axpbypcz, n, a, x, b, y, c, z);
}
template <class T, class I>
void BlasOps<T, I>::reciprocal(const Device& dev, I n, T a, T* x) {
  VELMO_BLAS_DISPATCH(reciprocal, n, a, x);
}
template <class T, class I>
void BlasOps<T, I>::pow(const Device& dev, I n, T a, T* x) { VELMO_BLAS_DISPATCH(pow, n, a, x); }
template <class T, class I>
void BlasOps<T, I>::get_real(const Device& dev, I n, const T* x, R* y) {
  VELMO_BLAS_DISPATCH(get_real, n, x, y);
}
template <class T, class I>
void BlasOps<T, I>::get_imag(const Device& dev, I n, const T* x, R* y) {
  VELMO_BLAS_DISPATCH(get_imag, n, x, y);
}
template <class T, class I>
void BlasOps<T, I>::create_complex(const Device& dev, I n, const R* re, const R* im, Complex<R>* z) {
  VELMO_BLAS_DISPATCH(create_complex, n, re, im, z);
}
template <class T, class I>
void BlasOps<T, I>::get_nonzero_indices(const Device& dev, I n, const T* x, I* indices, I* count) {
  VELMO_BLAS_DISPATCH(get_nonzero_indices, n, x, indices, count);
}
template <class T, class I>
T BlasOps<T, I>::dot(const Device& dev, I n, const T* x, const T* y) { VELMO_BLAS_DISPATCH(dot, n, x, y); }
template <class T, class I>
T BlasOps<T, I>::dotu(const Device& dev, I n, const T* x, const T* y) { VELMO_BLAS_DISPATCH(dotu, n, x, y); }
template <class T, class I>
typename BlasOps<T, I>::R BlasOps<T, I>::abs_max(const Device& dev, I n, const T* x) {
  VELMO_BLAS_DISPATCH(abs_max, n, x);
}
template <class T, class I>
typename BlasOps<T, I>::R BlasOps<T, I>::abs_sum(const Device& dev, I n, const T* x, R p) {
  VELMO_BLAS_DISPATCH(abs_sum, n, x, p);
}

template <class To, class From, class I>
void MixedBlasOps<To, From, I>::copy(const Device& dev, I n, const From* x, To* y) {
  return detail::dispatch(dev, [&](const auto& s) {
    MixedBlasOpsImpl<To, From, I, std::decay_t<decltype(s)>>::copy(s, n, x, y);
  });
}

#undef VELMO_BLAS_DISPATCH

#define VELMO_INSTANTIATE(V, I) template struct BlasOps<V, I>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

#define VELMO_INSTANTIATE(To, From, I) template struct MixedBlasOps<To, From, I>;
VELMO_FOR_EACH_MIXED_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
