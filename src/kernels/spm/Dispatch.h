#pragma once

#include <omp.h>

#include <utility>

#include "kernels/spm/spm.h"
#include "utils/Device.h"

#if defined(VELMO_HAVE_CUDA)
#include <cuda_runtime_api.h>
#endif

namespace velmo::detail {

// The one switch of every kernel family: the device picks the execution space, and an
// unknown type does nothing and yields zero.
template <class Fn>
auto dispatch(const Device& dev, Fn&& fn) {
  using Result = decltype(fn(std::declval<const spm::OpenMP&>()));
  switch (dev.type) {
    case 0: {
      const spm::OpenMP space(omp_get_max_threads());
      return fn(space);
    }
#if defined(VELMO_HAVE_CUDA)
    case 1: {
      cudaSetDevice(dev.id);
      Device::DeviceInfo info = dev.getDeviceInfo();
      auto* space = static_cast<const spm::Cuda*>(info.space.get());
      if (space == nullptr) return Result();
      return fn(*space);
    }
#endif
    default:
      return Result();
  }
}

}  // namespace velmo::detail
