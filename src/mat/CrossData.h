#pragma once

#include "mat/Matrix.h"
#include "utils/Device.h"

namespace velmo {

// One scalar that kernels on a device update and host code reads, such as a counter of a
// parallel pass. The device copy is what kernels write through; the host copy is what the
// host reads after toHost. Exists for T = int.
template <class T>
class CrossData {
 public:
  using Cell = MatrixT<T, int, MatrixLayoutRowMajor>;

  // Both copies hold `value`.
  CrossData(const Device& device, const T& value);

  // Brings the device copy to the host copy. When the device is the host the two become one
  // storage, and later writes through the device copy show without another call.
  void toHost();

  T* deviceData() const { return m_device.getData(); }
  // The host copy as of the last toHost (or construction).
  T hostValue() const { return *m_host.getData(); }
  const Cell& getHost() const { return m_host; }
  const Cell& getDevice() const { return m_device; }

 private:
  Cell m_host;
  Cell m_device;
};

extern template class CrossData<int>;

}  // namespace velmo
