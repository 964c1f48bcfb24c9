#pragma once

#include <gtest/gtest.h>

#include <limits>

#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo::test {

// A small multiple of the type's epsilon, scaled by the magnitude compared.
template <class T>
double tolerance(double scale = 1.0) {
  using R = RealOf<T>;
  if constexpr (std::is_integral_v<R>) {
    return 0.0;
  } else {
    return 64.0 * double(std::numeric_limits<R>::epsilon()) * (scale < 1.0 ? 1.0 : scale);
  }
}

template <class T>
void expectNear(const T& expected, const T& actual, double scale = 1.0) {
  double err = double(absValue(expected - actual));
  EXPECT_LE(err, tolerance<T>(scale)) << "expected " << expected << " got " << actual;
}

// The first GPU, or skip the test where the machine has none.
inline bool haveGpu() { return Device::getAllDevices().size() > 1; }
#define VELMO_REQUIRE_GPU() \
  if (!::velmo::test::haveGpu()) GTEST_SKIP() << "no GPU present"

}  // namespace velmo::test
