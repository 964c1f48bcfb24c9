#include "kernels/MatOpsImpl.h"

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

template struct MatOps<int, int>;
template struct MatOps<int, long>;
template struct MatOps<long, int>;
template struct MatOps<long, long>;
template struct MatOps<float, int>;
template struct MatOps<float, long>;
template struct MatOps<double, int>;
template struct MatOps<double, long>;
template struct MatOps<Complex<float>, int>;
template struct MatOps<Complex<float>, long>;
template struct MatOps<Complex<double>, int>;
template struct MatOps<Complex<double>, long>;

}  // namespace velmo
