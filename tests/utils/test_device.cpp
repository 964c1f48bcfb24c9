#include <gtest/gtest.h>

#include <omp.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "TestHelpers.h"
#include "utils/Device.h"

namespace device_test {

using velmo::Device;

TEST(DeviceParsing, WordsAndOrdinals) {
  Device cuda("cuda");
  EXPECT_EQ(cuda.type, 1);
  EXPECT_EQ(cuda.id, 0);
  EXPECT_EQ(cuda.name, "cuda");
  EXPECT_EQ(Device("cuda:2").id, 2);
  EXPECT_EQ(Device("cpu:3").type, 0);
  EXPECT_NE(Device("cpu:3"), Device("cpu"));
  EXPECT_EQ(Device("hip:1").toString(), "hip:1");
  EXPECT_THROW(Device("cuda:x"), std::invalid_argument);
  EXPECT_THROW(Device("cuda:"), std::invalid_argument);
  EXPECT_THROW(Device("cuda:99999999999"), std::out_of_range);
  // The name takes no part in equality or order.
  Device renamed(1, 0);
  renamed.name = "other";
  EXPECT_EQ(renamed, Device("cuda:0"));
  EXPECT_LT(Device(0, 5), Device(1, 0));
  EXPECT_EQ(Device(7, 1).name, "cpu");
}

TEST(DeviceParsing, UnknownWordNamesTheHostAndDropsTheOrdinal) {
  for (const char* text : {"gpu:1", ":1"}) {
    testing::internal::CaptureStdout();
    Device d{std::string(text)};
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "unrecognized device type: cpu\n");
    EXPECT_EQ(d, Device(0, 0));
    EXPECT_EQ(d.name, "cpu");
  }
}

TEST(DeviceMemory, HostCopiesAndHipBehaviour) {
  Device host(0, 0);
  auto* src = static_cast<int*>(host.rawMalloc(3 * sizeof(int)));
  auto* dst = static_cast<int*>(host.rawMalloc(3 * sizeof(int)));
  for (int i = 0; i < 3; ++i) src[i] = i + 10;
  host.rawCopyTo(3 * sizeof(int), src, host, dst);
  EXPECT_EQ(0, std::memcmp(src, dst, 3 * sizeof(int)));
  // rawRealloc is a fresh allocation; the old block stays ours to free.
  void* fresh = host.rawRealloc(src, 16);
  EXPECT_NE(fresh, nullptr);
  host.rawFree(fresh);
  host.rawFree(src);

  Device hip("hip");
  hip.rawFree(dst);  // does nothing
  int marker = 5;
  hip.rawCopyTo(sizeof(int), &marker, host, dst);
  EXPECT_EQ(dst[0], 10);
  host.rawFree(dst);
  EXPECT_DEATH(hip.rawMalloc(8), "device is hip:0 but HIP is not enabled");
  EXPECT_DEATH(Device(5, 2).rawMalloc(8), "unknown device type cpu:2");
}

// Host copies run in chunks on the team from 4096 doubles on; sizes on both sides of that and
// of the chunk edges, and a byte past the end that must stay untouched.
TEST(DeviceMemory, TeamCopiesEqualMemcpy) {
  const int threads = omp_get_max_threads();
  omp_set_num_threads(3);
  const size_t team = 4096 * sizeof(double);
  for (size_t bytes : {size_t(0), size_t(1), size_t(5), team - 1, team, team + 1, 3 * team + 2}) {
    std::vector<unsigned char> src(bytes + 1), dst(bytes + 1, 0xAB), expected(bytes + 1, 0xAB);
    for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i * 131 + 7);
    std::memcpy(expected.data(), src.data(), bytes);
    Device(0, 0).rawCopyTo(bytes, src.data(), Device(0, 0), dst.data());
    EXPECT_EQ(dst, expected) << bytes << " bytes";
  }
  omp_set_num_threads(threads);
}

TEST(DeviceTable, HoldsTheHostAndOneEntryPerGpu) {
  auto devices = Device::getAllDevices();
  ASSERT_GE(devices.size(), 1u);
  EXPECT_EQ(devices[0], Device(0, 0));
  EXPECT_EQ(Device::getDeviceInfoMap().size(), devices.size());
  EXPECT_NE(Device(0, 0).getDeviceInfo().space, nullptr);
  EXPECT_EQ(Device(0, 0).getDeviceContext(), -1);

  Device::finalize();
  EXPECT_TRUE(Device::getDeviceInfoMap().empty());
  testing::internal::CaptureStdout();
  auto info = Device(0, 0).getDeviceInfo();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "can not get dev info for: cpu\n");
  EXPECT_EQ(info.space, nullptr);
  Device::initialize();
  Device::initialize();
  EXPECT_EQ(Device::getDeviceInfoMap().size(), devices.size());
}

}  // namespace device_test
