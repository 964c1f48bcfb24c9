#include <cmath>
#include <limits>
#include <vector>

#include "TestHelpers.h"
#include "kernels/BlasOps.h"

namespace {

using namespace velmo;
using test::expectNear;
using test::kHost;
using test::make;

template <class T>
class BlasOpsTyped : public ::testing::Test {};
TYPED_TEST_SUITE(BlasOpsTyped, test::ScalarTypes);

TYPED_TEST(BlasOpsTyped, ElementwiseFormulas) {
  using T = TypeParam;
  using Ops = BlasOps<T, long>;
  const long n = 5;
  std::vector<T> x, y, z;
  for (long i = 0; i < n; ++i) {
    x.push_back(make<T>(i + 1, -i));
    y.push_back(make<T>(2 * i - 3, 1));
    z.push_back(make<T>(7 - i, i));
  }
  T a = make<T>(2, 1), b = make<T>(-3), c = make<T>(1, -2);

  auto w = y;
  Ops::axpy(kHost, n, a, x.data(), w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], a * x[i] + y[i]);

  w = y;
  Ops::axpby(kHost, n, a, x.data(), b, w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], a * x[i] + b * y[i]);

  w = z;
  Ops::axpbypz(kHost, n, a, x.data(), b, y.data(), w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], a * x[i] + b * y[i] + z[i]);

  w = z;
  Ops::axypbz(kHost, n, a, x.data(), y.data(), b, w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], a * x[i] * y[i] + b * z[i]);

  w = z;
  Ops::axpbypcz(kHost, n, a, x.data(), b, y.data(), c, w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], a * x[i] + b * y[i] + c * z[i]);

  w = x;
  Ops::scal(kHost, n, b, w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], x[i] * b);

  Ops::copy(kHost, n, y.data(), w.data());
  EXPECT_EQ(w, y);
  Ops::fill(kHost, n, c, w.data());
  for (long i = 0; i < n; ++i) EXPECT_EQ(w[i], c);
}

// A zero factor on the output selects a body that never reads it.
TYPED_TEST(BlasOpsTyped, ZeroOutputFactorIgnoresGarbage) {
  using T = TypeParam;
  using R = RealOf<T>;
  if constexpr (std::is_floating_point_v<R>) {
    using Ops = BlasOps<T, int>;
    const R nan = std::numeric_limits<R>::quiet_NaN();
    std::vector<T> x{make<T>(1), make<T>(2, 1)}, y(2, T(nan)), z(2, T(nan));
    Ops::axpby(kHost, 2, make<T>(3), x.data(), T(0), y.data());
    EXPECT_EQ(y[1], make<T>(3) * x[1]);
    Ops::axypbz(kHost, 2, make<T>(1), x.data(), x.data(), T(0), z.data());
    EXPECT_EQ(z[0], make<T>(1));
    std::fill(z.begin(), z.end(), T(nan));
    Ops::axpbypcz(kHost, 2, make<T>(1), x.data(), make<T>(1), x.data(), T(0), z.data());
    EXPECT_EQ(z[1], x[1] + x[1]);
    std::fill(y.begin(), y.end(), T(nan));
    Ops::scal(kHost, 2, T(0), y.data());
    EXPECT_EQ(y[0], T(0));
    // A tiny non-zero factor reads y, and the NaN stays.
    std::fill(y.begin(), y.end(), T(nan));
    Ops::axpby(kHost, 2, make<T>(1), x.data(), make<T>(1e-30), y.data());
    EXPECT_TRUE(std::isnan(double(realPart(y[0]))));
  }
}

TYPED_TEST(BlasOpsTyped, ReciprocalNeverDividesByZero) {
  using T = TypeParam;
  using Ops = BlasOps<T, int>;
  std::vector<T> x{make<T>(2), T(0), make<T>(4)};
  Ops::reciprocal(kHost, 3, make<T>(1), x.data());
  EXPECT_EQ(x[1], make<T>(1));
  expectNear(make<T>(1) / make<T>(4), x[2]);
  Ops::reciprocal(kHost, 3, T(0), x.data());
  for (const T& v : x) EXPECT_EQ(v, T(0));
}

TYPED_TEST(BlasOpsTyped, ReductionsAndTheirEmptyValues) {
  using T = TypeParam;
  using R = RealOf<T>;
  using Ops = BlasOps<T, int>;
  std::vector<T> x{make<T>(3, 1), make<T>(-4, 2), make<T>(1, -1)};
  EXPECT_EQ(Ops::dot(kHost, 0, x.data(), x.data()), T(0));
  EXPECT_EQ(Ops::dotu(kHost, 0, x.data(), x.data()), T(0));
  EXPECT_EQ(Ops::abs_sum(kHost, 0, x.data(), R(2)), R(0));
  EXPECT_EQ(Ops::abs_max(kHost, 0, x.data()), std::numeric_limits<R>::lowest());

  T dot = T(0), dotu = T(0);
  R l1 = 0, l2 = 0, l3 = 0, maxAbs = std::numeric_limits<R>::lowest();
  for (const T& v : x) {
    dot += conj(v) * v;
    dotu += v * v;
    l1 += absValue(v);
    l2 += absSquare(v);
    maxAbs = std::max(maxAbs, absValue(v));
  }
  EXPECT_EQ(Ops::dot(kHost, 3, x.data(), x.data()), dot);
  EXPECT_EQ(Ops::dotu(kHost, 3, x.data(), x.data()), dotu);
  expectNear(l1, Ops::abs_sum(kHost, 3, x.data(), R(1)), 10);
  EXPECT_EQ(Ops::abs_sum(kHost, 3, x.data(), R(2)), l2);
  EXPECT_EQ(Ops::abs_max(kHost, 3, x.data()), maxAbs);
  for (const T& v : x) l3 = std::is_integral_v<R> ? R(double(l3) + std::pow(double(absValue(v)), 3.0))
                                                   : R(l3 + std::pow(absValue(v), R(3)));
  expectNear(l3, Ops::abs_sum(kHost, 3, x.data(), R(3)), 100);
  if constexpr (is_complex_v<T>) {
    EXPECT_EQ(imagPart(Ops::dot(kHost, 3, x.data(), x.data())), R(0));
    EXPECT_NE(imagPart(Ops::dotu(kHost, 3, x.data(), x.data())), R(0));
  }
}

TYPED_TEST(BlasOpsTyped, PowAndParts) {
  using T = TypeParam;
  using R = RealOf<T>;
  using Ops = BlasOps<T, int>;
  std::vector<T> x{make<T>(2, 1), make<T>(3, -2)};
  auto before = x;
  Ops::pow(kHost, 2, make<T>(2), x.data());
  if constexpr (is_complex_v<T>) {
    EXPECT_EQ(x, before);  // complex data is left as it is
  } else {
    EXPECT_EQ(x[1], T(9));
  }
  std::vector<R> re(2), im(2);
  Ops::get_real(kHost, 2, before.data(), re.data());
  Ops::get_imag(kHost, 2, before.data(), im.data());
  EXPECT_EQ(re[1], R(3));
  EXPECT_EQ(im[1], is_complex_v<T> ? R(-2) : R(0));
  std::vector<Complex<R>> z(2, Complex<R>(R(9), R(9)));
  Ops::create_complex(kHost, 2, re.data(), nullptr, z.data());
  EXPECT_EQ(z[1], Complex<R>(R(3), R(0)));
  Ops::create_complex(kHost, 2, nullptr, nullptr, z.data());
  EXPECT_EQ(z[0], Complex<R>());
}

TYPED_TEST(BlasOpsTyped, NonzeroIndicesAreAscending) {
  using T = TypeParam;
  using Ops = BlasOps<T, long>;
  std::vector<T> x{T(0), make<T>(1), T(0), make<T>(0, 1), make<T>(5)};
  std::vector<long> idx(5, -1);
  long count = -1;
  Ops::get_nonzero_indices(kHost, 5, x.data(), nullptr, &count);
  long expected = is_complex_v<T> ? 3 : 2;
  EXPECT_EQ(count, expected);
  Ops::get_nonzero_indices(kHost, 5, x.data(), idx.data(), &count);
  if constexpr (is_complex_v<T>) {
    EXPECT_EQ(idx, (std::vector<long>{1, 3, 4, -1, -1}));
  } else {
    EXPECT_EQ(idx, (std::vector<long>{1, 4, -1, -1, -1}));
  }
  Ops::get_nonzero_indices(kHost, 0, x.data(), idx.data(), &count);
  EXPECT_EQ(count, 0);
}

TEST(BlasOps, AbsMaxSkipsNaN) {
  const double nan = std::nan("");
  std::vector<double> x{nan, -3, nan, 2};
  EXPECT_EQ((BlasOps<double, int>::abs_max(kHost, 4, x.data())), 3.0);
  std::vector<double> allNaN(3, nan);
  EXPECT_EQ((BlasOps<double, int>::abs_max(kHost, 3, allNaN.data())), std::numeric_limits<double>::lowest());
}

TEST(BlasOps, IntegerArithmeticTruncates) {
  std::vector<int> x{3, 0, -7};
  BlasOps<int, int>::reciprocal(kHost, 3, 7, x.data());
  EXPECT_EQ(x, (std::vector<int>{2, 7, -1}));
  std::vector<long> p{2, 3};
  BlasOps<long, int>::pow(kHost, 2, -1, p.data());
  EXPECT_EQ(p, (std::vector<long>{0, 0}));
}

TEST(BlasOps, ComplexReciprocalFormula) {
  using C = Complex<double>;
  std::vector<C> x{C(1, 2)};
  BlasOps<C, int>::reciprocal(kHost, 1, C(3, -1), x.data());
  // (3 - i) / (1 + 2i) = (1 - 7i) / 5
  expectNear(C(0.2, -1.4), x[0]);
}

TEST(BlasOps, UnknownDeviceTypeIsANoOp) {
  Device hip("hip");
  std::vector<double> x{1, 2};
  BlasOps<double, int>::fill(hip, 2, 9.0, x.data());
  EXPECT_EQ(x, (std::vector<double>{1, 2}));
  EXPECT_EQ((BlasOps<double, int>::dot(hip, 2, x.data(), x.data())), 0.0);
  EXPECT_EQ((BlasOps<double, int>::abs_max(hip, 2, x.data())), 0.0);
}

TEST(MixedBlasOps, ConvertsPrecision) {
  std::vector<double> x{0.1, -2.5};
  std::vector<float> y(2);
  MixedBlasOps<float, double, int>::copy(kHost, 2, x.data(), y.data());
  EXPECT_EQ(y[0], 0.1f);
  std::vector<Complex<float>> cf{Complex<float>(1.5f, -2.f)};
  std::vector<Complex<double>> cd(1);
  MixedBlasOps<Complex<double>, Complex<float>, long>::copy(kHost, 1, cf.data(), cd.data());
  EXPECT_EQ(cd[0], Complex<double>(1.5, -2.0));
}

}  // namespace
