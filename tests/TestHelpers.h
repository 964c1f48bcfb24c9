#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo::test {

inline const Device kHost(0, 0);

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

// `n` small integers (with an imaginary part for a complex type): sums and products of a few
// stay exact in every type.
template <class T>
std::vector<T> sample(int n, int seed) {
  std::vector<T> v;
  for (int k = 0; k < n; ++k) v.push_back(make<T>((k * 7 + seed) % 11 - 5, (k + 2 * seed) % 5 - 2));
  return v;
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
// Several 512-thread blocks with a ragged last one; a reduction over it gives unequal chunks
// to its 256 partials.
constexpr int kGpuSize = 3 * 512 + 37;

// Sets an environment variable, or clears it for a null value; the old state returns at the
// end of the scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  ~ScopedEnv() { set(old_ ? old_->c_str() : nullptr); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

  void set(const char* value) { value ? setenv(name_, value, 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace velmo::test
