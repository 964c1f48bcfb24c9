#include "kernels/impl/KernelTypes.h"
#include "kernels/impl/MatOpsImpl.h"
#include "kernels/spm/Dispatch.h"

namespace velmo {

namespace {
template <class T, class I, class Space>
using Impl = MatOpsImpl<T, I, std::decay_t<Space>>;
}  // namespace

#define VELMO_MAT_DISPATCH(op, ...) \
  return detail::dispatch(dev, [&](const auto& s) { return Impl<T, I, decltype(s)>::op(s, __VA_ARGS__); })

template <class T, class I>
void MatOps<T, I>::get_element_value(const Device& dev, I cols, const T* a, I i, I j, T* out) {
  VELMO_MAT_DISPATCH(get_element_value, cols, a, i, j, out);
}
template <class T, class I>
void MatOps<T, I>::set_element_value(const Device& dev, I cols, T* a, I i, I j, T v) {
  VELMO_MAT_DISPATCH(set_element_value, cols, a, i, j, v);
}
template <class T, class I>
void MatOps<T, I>::select_rows(const Device& dev, I cols, const T* a, I n, const int* indices, T* sub) {
  VELMO_MAT_DISPATCH(select_rows, cols, a, n, indices, sub);
}
template <class T, class I>
void MatOps<T, I>::unselect_rows(const Device& dev, I cols, T* a, I n, const int* indices, const T* sub) {
  VELMO_MAT_DISPATCH(unselect_rows, cols, a, n, indices, sub);
}

#undef VELMO_MAT_DISPATCH

#define VELMO_INSTANTIATE(V, I) template struct MatOps<V, I>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
