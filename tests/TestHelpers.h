#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>

#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo::test {

inline const Device kHost(0, 0);

using ScalarTypes = ::testing::Types<int, long, float, double, Complex<float>, Complex<double>>;
// One integer, one real and one complex type: enough where the code path does not depend on
// the width of the type.
using CoreTypes = ::testing::Types<int, double, Complex<float>>;

// A value of any scalar type; the imaginary part is dropped for a real type.
template <class T>
T make(double re, double im = 0) {
  if constexpr (is_complex_v<T>) {
    return T(RealOf<T>(re), RealOf<T>(im));
  } else {
    return T(re);
  }
}

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
inline const Device kGpu(1, 0);

// Sets an environment variable, or clears it for a null value; the old state returns at the
// end of the scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    set(value);
  }
  ~ScopedEnv() { set(had_ ? old_.c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

  void set(const char* value) {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  bool had_;
  std::string old_;
};

}  // namespace velmo::test
