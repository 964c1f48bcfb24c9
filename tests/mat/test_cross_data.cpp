#include "TestHelpers.h"
#include "mat/CrossData.h"

namespace cross_data_test {

using namespace velmo;
using test::kHost;

TEST(CrossData, HostCopySharesTheHostDeviceCopyAfterToHost) {
  CrossData<int> counter(kHost, 7);
  *counter.deviceData() = 3;
  EXPECT_EQ(counter.hostValue(), 7);  // not brought over yet
  counter.toHost();
  EXPECT_EQ(counter.hostValue(), 3);
  *counter.deviceData() = 5;  // one storage from now on
  EXPECT_EQ(counter.hostValue(), 5);
}

}  // namespace cross_data_test
