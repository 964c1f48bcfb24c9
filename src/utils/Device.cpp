#include "utils/Device.h"

#include <omp.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include <glog/logging.h>

#include "kernels/spm/spm.h"
#include "utils/HostMemory.h"

#ifdef VELMO_HAVE_CUDA
#include <cuda_runtime_api.h>
#endif

namespace velmo {

Device::Device(int type_, int id_) : type(type_), id(id_) {
  for (const auto& [word, value] : type_map) {
    if (value == type) {
      name = word;
      break;
    }
  }
}

Device::Device(const std::string& text) {
  auto colon = text.find(':');
  std::string word = text.substr(0, colon);
  int ordinal = colon == std::string::npos ? 0 : std::stoi(text.substr(colon + 1), nullptr, 10);
  auto hit = type_map.find(word);
  if (hit == type_map.end()) {
    std::cout << "unrecognized device type: " << name << "\n";
    return;
  }
  type = hit->second;
  name = word;
  id = ordinal;
}

std::string Device::toString() const { return name + ":" + std::to_string(id); }

void* Device::rawMalloc(size_t bytes) const {
  switch (type) {
    case 0: {
      void* p = std::malloc(bytes);
      // An exception the application can catch, where a null block would crash later.
      if (p == nullptr && bytes > 0) throw std::bad_alloc();
      adviseHugePages(p, bytes);
      return p;
    }
    case 1: {
      void* p = nullptr;
#ifdef VELMO_HAVE_CUDA
      cudaDeviceProp prop;
      cudaGetDeviceProperties(&prop, id);
      cudaSetDevice(id);
      cudaMalloc(&p, bytes);
#endif
      return p;
    }
    case 2:
      LOG(FATAL) << "device is " << toString() << " but HIP is not enabled";
    default:
      LOG(FATAL) << "unknown device type " << toString();
  }
  return nullptr;
}

void* Device::rawRealloc(void*, size_t bytes) const { return rawMalloc(bytes); }

void Device::rawFree(void* p) const {
  if (type == 0) {
    std::free(p);
  } else if (type == 1) {
#ifdef VELMO_HAVE_CUDA
    cudaSetDevice(id);
    cudaFree(p);
#endif
  }
}

namespace {

// A host copy on the thread team: chunk k of the bytes on thread k, as the host kernels cut
// their ranges. The team joins from the size at which it joins a kernel over 8-byte values, the
// values most copies carry; smaller copies run in one piece on the caller.
void hostCopy(size_t bytes, const void* src, void* dst) {
  const long n = long(bytes);
  const long chunks = std::min<long>(n, omp_get_max_threads());
  if (chunks <= 0) return;
  auto* to = static_cast<char*>(dst);
  const auto* from = static_cast<const char*>(src);
  spm::detail::runChunks(n / long(sizeof(double)), int(chunks), [&](int k) {
    long start, count;
    spm::chunkBounds(n, chunks, k, start, count);
    std::memcpy(to + start, from + start, size_t(count));
  });
}

}  // namespace

int Device::rawCopyTo(size_t bytes, const void* src, const Device& dst_device, void* dst) {
  if (type == 0 && dst_device.type == 0) {
    hostCopy(bytes, src, dst);
    return 0;
  }
#ifdef VELMO_HAVE_CUDA
  cudaMemcpyKind kind;
  if (type == 1 && dst_device.type == 1) {
    kind = cudaMemcpyDeviceToDevice;
  } else if (type == 0 && dst_device.type == 1) {
    kind = cudaMemcpyHostToDevice;
  } else if (type == 1 && dst_device.type == 0) {
    kind = cudaMemcpyDeviceToHost;
  } else {
    return 0;
  }
  return int(cudaMemcpy(dst, src, bytes, kind));
#else
  return 0;
#endif
}

void Device::setDeviceContext() const {
#ifdef VELMO_HAVE_CUDA
  if (type == 1) cudaSetDevice(id);
#endif
}

int Device::getDeviceContext() const {
#ifdef VELMO_HAVE_CUDA
  if (type == 1) {
    int current = -1;
    cudaGetDevice(&current);
    return current;
  }
#endif
  return -1;
}

std::map<Device, Device::DeviceInfo>& Device::getDeviceInfoMap() {
  static std::map<Device, DeviceInfo> table;
  return table;
}

Device::DeviceInfo Device::getDeviceInfo() const {
  auto& table = getDeviceInfoMap();
  auto hit = table.find(*this);
  if (hit == table.end()) {
    std::cout << "can not get dev info for: " << name << "\n";
    return DeviceInfo{};
  }
  return hit->second;
}

namespace {

// Without a driver every runtime call fails and the count is left unwritten: that is no GPU.
int visibleGpuCount() {
  int count = 0;
#ifdef VELMO_HAVE_CUDA
  if (cudaGetDeviceCount(&count) != cudaSuccess) count = 0;
#endif
  return count;
}

}  // namespace

void buildInfoMap() {
  auto& table = Device::getDeviceInfoMap();
  table[Device(0, 0)] = Device::DeviceInfo{std::make_shared<spm::OpenMP>(omp_get_max_threads()), nullptr};
#ifdef VELMO_HAVE_CUDA
  int count = visibleGpuCount();
  for (int i = 0; i < count; ++i) {
    cudaDeviceProp prop;
    cudaGetDeviceProperties(&prop, i);
    cudaSetDevice(i);
    cudaStream_t stream = nullptr;
    cudaStreamCreate(&stream);
    int current = i;
    cudaGetDevice(&current);
    table[Device(1, i)] =
        Device::DeviceInfo{std::make_shared<spm::Cuda>(stream, true, current), stream};
  }
#endif
}

void Device::initialize() {
  if (spm::is_initialized()) return;
  static char word[] = "velmo";
  static char* argv[] = {word, nullptr};
  spm::initialize(1, argv);
  buildInfoMap();
}

void Device::finalize() {
  getDeviceInfoMap().clear();
  if (spm::is_initialized()) spm::finalize();
}

std::vector<Device> Device::getAllDevices() {
  std::vector<Device> devices{Device(0, 0)};
  int count = visibleGpuCount();
  for (int i = 0; i < count; ++i) {
#ifdef VELMO_HAVE_CUDA
    cudaDeviceProp prop;
    cudaGetDeviceProperties(&prop, i);
#endif
    devices.emplace_back(1, i);
  }
  return devices;
}

}  // namespace velmo
