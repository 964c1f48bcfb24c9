#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "mat/ParMatrix.h"
#include "utils/Complex.h"
#include "utils/Device.h"
#include "utils/Scalar.h"

namespace velmo::test {

inline const Device kHost(0, 0);
inline const Device kGpu(1, 0);
// Several 512-thread blocks with a ragged last one; a reduction over it gives unequal chunks
// to its 256 partials.
constexpr int kGpuSize = 3 * 512 + 37;

#define VELMO_REQUIRE_GPU() \
  if (::velmo::Device::getAllDevices().size() < 2) GTEST_SKIP() << "no GPU present"

// A value type and an index type for the typed suites. The code paths differ between integer,
// real and complex values and between the two index widths; the floating types are for the
// methods that divide.
template <class V, class I>
struct Types {
  using Value = V;
  using Index = I;
};
using AllTypes = ::testing::Types<Types<int, long>, Types<double, int>, Types<Complex<float>, long>>;
using FloatTypes = ::testing::Types<Types<double, long>, Types<Complex<float>, int>>;

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
void expectNear(const T& expected, const T& actual, double scale = 1.0) {
  using R = RealOf<T>;
  const double tolerance =
      std::is_integral_v<R> ? 0.0 : 64.0 * double(std::numeric_limits<R>::epsilon()) * std::max(scale, 1.0);
  EXPECT_LE(double(absValue(expected - actual)), tolerance) << "expected " << expected << " got " << actual;
}

template <class T>
void expectAllNear(const std::vector<T>& expected, const std::vector<T>& actual, double scale = 16) {
  ASSERT_EQ(expected.size(), actual.size());
  for (size_t k = 0; k < expected.size(); ++k) expectNear(expected[k], actual[k], scale);
}

// A dense matrix holding `values` row by row.
template <class T>
MatrixT<T> denseOf(const std::vector<T>& values, int rows, int cols = 1, const Device& device = kHost) {
  MatrixT<T> m(rows, cols, kHost);
  std::copy(values.begin(), values.end(), m.getData());
  return m.toDevice(device);
}

// The elements of a dense matrix on any device, in storage order.
template <class T>
std::vector<T> contents(const MatrixT<T>& m) {
  const MatrixT<T> h = m.toDevice(kHost);
  return {h.getData(), h.getData() + h.getSize()};
}

// The local elements of a distributed matrix.
template <class V, class G>
std::vector<V> contents(const ParMatrixT<V, G, int>& m) {
  return contents(m.getLocalMatrix());
}

// A distributed host matrix of `cols` columns holding `values` row by row.
template <class V, class G>
ParMatrixT<V, G, int> parDense(G rows, G cols, const std::vector<V>& values, int comm = comu::kCommSelf) {
  ParMatrixT<V, G, int> m(rows, cols, kHost, comm);
  std::copy(values.begin(), values.end(), m.getLocalMatrix().getData());
  return m;
}

template <class V, class G = long>
ParMatrixT<V, G, int> parVector(const std::vector<V>& values) {
  return parDense<V, G>(G(values.size()), 1, values);
}

template <class G>
PartitionerT<G, int> partsOf(G globalSize, int parts) {
  PartitionerT<G, int> p;
  p.createForParts(globalSize, parts);
  return p;
}

// Writes `text` to a file of the test temporary folder and returns its path.
inline std::string writeFile(const std::string& name, const std::string& text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

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
