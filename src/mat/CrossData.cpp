#include "mat/CrossData.h"

namespace velmo {

template <class T>
CrossData<T>::CrossData(const Device& device, const T& value) {
  m_host.create(1, 1, Device(0, 0));
  m_device.create(1, 1, device);
  m_host.fill(value);
  m_device.fill(value);
}

template <class T>
void CrossData<T>::toHost() {
  if (m_host.getDevice() == m_device.getDevice()) {
    m_host = m_device;
    return;
  }
  m_host.resize(m_device.getRows(), m_device.getCols(), Device(0, 0));
  m_device.getDevice().rawCopyTo(sizeof(T) * size_t(m_device.getSize()), m_device.getData(), m_host.getDevice(),
                                 m_host.getData());
}

template class CrossData<int>;

}  // namespace velmo
