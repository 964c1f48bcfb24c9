#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmo {

// Where data lives and where work runs: "cpu" (0), "cuda" (1), "hip" (2).
class Device {
 public:
  // The execution space of a device, type-erased, and its CUDA stream (null on the host).
  struct DeviceInfo {
    std::shared_ptr<void> space;
    void* stream = nullptr;
  };

  inline static const std::map<std::string, int> type_map{{"cpu", 0}, {"cuda", 1}, {"hip", 2}};

  int type = 0;
  int id = 0;
  std::string name = "cpu";

  Device() = default;
  Device(int type, int id);
  // "word" or "word:ordinal"; an unknown word leaves the host device and says so.
  explicit Device(const std::string& text);

  // Host blocks come from malloc; a failed one throws std::bad_alloc.
  void* rawMalloc(size_t bytes) const;
  // Kept as a plain fresh allocation: the old block is neither copied nor released.
  void* rawRealloc(void* p, size_t bytes) const;
  void rawFree(void* p) const;
  int rawCopyTo(size_t bytes, const void* src, const Device& dst_device, void* dst);
  void setDeviceContext() const;
  int getDeviceContext() const;
  DeviceInfo getDeviceInfo() const;

  // "name:id", as in "hip:0".
  std::string toString() const;

  static void initialize();
  static void finalize();
  static std::vector<Device> getAllDevices();
  static std::map<Device, DeviceInfo>& getDeviceInfoMap();

  friend bool operator==(const Device& a, const Device& b) { return a.type == b.type && a.id == b.id; }
  friend bool operator!=(const Device& a, const Device& b) { return !(a == b); }
  friend bool operator<(const Device& a, const Device& b) {
    return a.type != b.type ? a.type < b.type : a.id < b.id;
  }
};

// Fills the device table: the host, then one entry per visible GPU.
void buildInfoMap();

}  // namespace velmo
