#include <omp.h>

#include <type_traits>
#include <vector>

#include "kernels/impl/KernelTypes.h"
#include "kernels/impl/MatOpsImpl.h"
#include "kernels/spm/Dispatch.h"

namespace velmo {

namespace {
template <class T, class I, class Space>
using Impl = MatOpsImpl<T, I, std::decay_t<Space>>;

// An array of a host-only member as the host sees it: the array itself when the device's
// space is the host's, otherwise a host copy, which commit() writes back.
template <class X, class Space>
class HostView {
  using Plain = std::remove_const_t<X>;
  static constexpr bool kStaged = !std::is_same_v<std::decay_t<Space>, spm::OpenMP>;

 public:
  HostView(const Device& dev, X* data, size_t n) : m_dev(dev), m_data(data), m_n(n) {
    if (!kStaged || n == 0) return;
    m_copy.resize(n);
    m_dev.rawCopyTo(sizeof(Plain) * n, data, Device(0, 0), m_copy.data());
  }
  X* get() { return kStaged ? m_copy.data() : m_data; }
  void commit() {
    if (kStaged && m_n > 0) Device(0, 0).rawCopyTo(sizeof(Plain) * m_n, m_copy.data(), m_dev, m_data);
  }

 private:
  Device m_dev;
  X* m_data;
  size_t m_n;
  std::vector<Plain> m_copy;
};

// The space a host-only member runs in, whichever device holds its arrays.
spm::OpenMP hostSpace() { return spm::OpenMP(omp_get_max_threads()); }
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

// The host-only members go through the same switch, so an unknown device does nothing here
// either; any other space reaches the host body through host views of the arrays.
template <class T, class I>
I MatOps<T, I>::lu_factor(const Device& dev, I n, T* a, I* pivots) {
  return detail::dispatch(dev, [&](const auto& s) {
    using Space = decltype(s);
    HostView<T, Space> lu(dev, a, size_t(n) * size_t(n));
    HostView<I, Space> swaps(dev, pivots, size_t(n));
    const I factored = MatOpsHostImpl<T, I>::lu_factor(hostSpace(), n, lu.get(), swaps.get());
    lu.commit();
    swaps.commit();
    return factored;
  });
}
template <class T, class I>
void MatOps<T, I>::lu_solve(const Device& dev, I n, const T* lu, const I* pivots, T* b) {
  detail::dispatch(dev, [&](const auto& s) {
    using Space = decltype(s);
    HostView<const T, Space> factors(dev, lu, size_t(n) * size_t(n));
    HostView<const I, Space> swaps(dev, pivots, size_t(n));
    HostView<T, Space> rhs(dev, b, size_t(n));
    MatOpsHostImpl<T, I>::lu_solve(hostSpace(), n, factors.get(), swaps.get(), rhs.get());
    rhs.commit();
  });
}

#define VELMO_INSTANTIATE(V, I) template struct MatOps<V, I>;
VELMO_FOR_EACH_KERNEL_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

}  // namespace velmo
