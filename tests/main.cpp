#include <glog/logging.h>
#include <gtest/gtest.h>

#include "utils/Device.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  FLAGS_logtostderr = true;
  google::InitGoogleLogging(argv[0]);
  velmo::Device::initialize();
  int rc = RUN_ALL_TESTS();
  velmo::Device::finalize();
  return rc;
}
