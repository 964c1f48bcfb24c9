#include <cmath>
#include <limits>
#include <vector>

#include "SparseTestHelpers.h"
#include "kernels/BlasOps.h"

namespace {

using namespace velmo;
using namespace velmo::test;

template <class T>
class BlasOpsTyped : public ::testing::Test {};
TYPED_TEST_SUITE(BlasOpsTyped, CoreTypes);

// A zero factor on the output selects a body that never reads it.
TYPED_TEST(BlasOpsTyped, ZeroOutputFactorIgnoresGarbage) {
  using T = TypeParam;
  using R = RealOf<T>;
  if constexpr (std::is_floating_point_v<R>) {
    using Ops = BlasOps<T, int>;
    const T nan = T(std::numeric_limits<R>::quiet_NaN());
    std::vector<T> x{make<T>(1), make<T>(2, 1)}, y(2, nan), z(2, nan);
    Ops::axpby(kHost, 2, make<T>(3), x.data(), T(0), y.data());
    EXPECT_EQ(y[1], make<T>(3) * x[1]);
    Ops::axypbz(kHost, 2, make<T>(1), x.data(), x.data(), T(0), z.data());
    EXPECT_EQ(z[0], make<T>(1));
    z.assign(2, nan);
    Ops::axpbypcz(kHost, 2, make<T>(1), x.data(), make<T>(1), x.data(), T(0), z.data());
    EXPECT_EQ(z[1], x[1] + x[1]);
    y.assign(2, nan);
    Ops::scal(kHost, 2, T(0), y.data());
    EXPECT_EQ(y[0], T(0));
    // A tiny non-zero factor reads y, and the NaN stays.
    y.assign(2, nan);
    Ops::axpby(kHost, 2, make<T>(1), x.data(), make<T>(1e-30), y.data());
    EXPECT_TRUE(std::isnan(double(realPart(y[0]))));
  }
}

TYPED_TEST(BlasOpsTyped, ReciprocalNeverDividesByZero) {
  using T = TypeParam;
  std::vector<T> x{make<T>(2), T(0), make<T>(4)};
  BlasOps<T, int>::reciprocal(kHost, 3, make<T>(1), x.data());
  EXPECT_EQ(x[1], make<T>(1));
  expectNear(make<T>(1) / make<T>(4), x[2]);
  BlasOps<T, int>::reciprocal(kHost, 3, T(0), x.data());
  EXPECT_EQ(x, std::vector<T>(3, T(0)));
}

TYPED_TEST(BlasOpsTyped, ReductionsAndTheirEmptyValues) {
  using T = TypeParam;
  using R = RealOf<T>;
  using Ops = BlasOps<T, int>;
  std::vector<T> x{make<T>(3, 1), make<T>(-4, 2), make<T>(1, -1)};
  EXPECT_EQ(Ops::dot(kHost, 0, x.data(), x.data()), T(0));
  EXPECT_EQ(Ops::abs_sum(kHost, 0, x.data(), R(2)), R(0));
  EXPECT_EQ(Ops::abs_max(kHost, 0, x.data()), std::numeric_limits<R>::lowest());

  T dot = T(0), dotu = T(0);
  R l1 = 0, l2 = 0;
  double l3 = 0;
  for (const T& v : x) {
    dot += conj(v) * v;
    dotu += v * v;
    l1 += absValue(v);
    l2 += absSquare(v);
    l3 += std::pow(double(absValue(v)), 3.0);
  }
  EXPECT_EQ(Ops::dot(kHost, 3, x.data(), x.data()), dot);
  EXPECT_EQ(Ops::dotu(kHost, 3, x.data(), x.data()), dotu);
  expectNear(l1, Ops::abs_sum(kHost, 3, x.data(), R(1)), 10);
  EXPECT_EQ(Ops::abs_sum(kHost, 3, x.data(), R(2)), l2);
  expectNear(R(l3), Ops::abs_sum(kHost, 3, x.data(), R(3)), 100);
  EXPECT_EQ(Ops::abs_max(kHost, 3, x.data()), absValue(x[1]));
}

// The formulas of the element-wise kernels are pinned through MatrixT, on the host and the GPU.
TYPED_TEST(BlasOpsTyped, PowAndNonzeroIndices) {
  using T = TypeParam;
  using Ops = BlasOps<T, long>;
  std::vector<T> x{make<T>(2, 1), make<T>(3, -2)};
  const auto before = x;
  Ops::pow(kHost, 2, make<T>(2), x.data());
  EXPECT_EQ(x[1], is_complex_v<T> ? before[1] : T(9));  // complex data is left as it is

  // A count first, then the positions in ascending order.
  const std::vector<T> y{T(0), make<T>(1), T(0), make<T>(0, 1), make<T>(5)};
  std::vector<long> idx(5, -1);
  long count = -1;
  Ops::get_nonzero_indices(kHost, 5, y.data(), nullptr, &count);
  EXPECT_EQ(count, is_complex_v<T> ? 3 : 2);
  Ops::get_nonzero_indices(kHost, 5, y.data(), idx.data(), &count);
  EXPECT_EQ(idx, is_complex_v<T> ? (std::vector<long>{1, 3, 4, -1, -1}) : (std::vector<long>{1, 4, -1, -1, -1}));
}

// The device launches against the host oracle; sample values keep every sum exact.
TYPED_TEST(BlasOpsTyped, GpuMatchesTheHostAcrossBlocks) {
  VELMO_REQUIRE_GPU();
  using T = TypeParam;
  using Ops = BlasOps<T, int>;
  const int n = kGpuSize;
  const auto x = sample<T>(n, 1);
  auto y = sample<T>(n, 2);
  MatrixT<T> gx = denseOf(x, n, 1, kGpu), gy = denseOf(y, n, 1, kGpu);
  Ops::axpby(kHost, n, make<T>(2, 1), x.data(), make<T>(-3), y.data());
  Ops::axpby(kGpu, n, make<T>(2, 1), gx.getData(), make<T>(-3), gy.getData());
  EXPECT_EQ(contents(gy), y);
  EXPECT_EQ(Ops::dot(kGpu, n, gx.getData(), gy.getData()), Ops::dot(kHost, n, x.data(), y.data()));
  EXPECT_EQ(Ops::abs_sum(kGpu, n, gy.getData(), RealOf<T>(2)), Ops::abs_sum(kHost, n, y.data(), RealOf<T>(2)));
  EXPECT_EQ(Ops::abs_max(kGpu, n, gy.getData()), Ops::abs_max(kHost, n, y.data()));
}

TEST(BlasOps, OddCases) {
  const double nan = std::nan("");
  std::vector<double> x{nan, -3, nan, 2}, allNaN(3, nan);
  EXPECT_EQ((BlasOps<double, int>::abs_max(kHost, 4, x.data())), 3.0);
  EXPECT_EQ((BlasOps<double, int>::abs_max(kHost, 3, allNaN.data())), std::numeric_limits<double>::lowest());
  // Integer arithmetic truncates.
  std::vector<int> i{3, 0, -7};
  BlasOps<int, int>::reciprocal(kHost, 3, 7, i.data());
  EXPECT_EQ(i, (std::vector<int>{2, 7, -1}));
  std::vector<long> p{2, 3};
  BlasOps<long, int>::pow(kHost, 2, -1, p.data());
  EXPECT_EQ(p, (std::vector<long>{0, 0}));
  // (3 - i) / (1 + 2i) = (1 - 7i) / 5
  std::vector<Complex<double>> c{{1, 2}};
  BlasOps<Complex<double>, int>::reciprocal(kHost, 1, Complex<double>(3, -1), c.data());
  expectNear(Complex<double>(0.2, -1.4), c[0]);
  // A device type other than host and CUDA does nothing; every kernel family shares this dispatch.
  const Device hip("hip");
  std::vector<double> y{1, 2};
  BlasOps<double, int>::fill(hip, 2, 9.0, y.data());
  EXPECT_EQ(y, (std::vector<double>{1, 2}));
  EXPECT_EQ((BlasOps<double, int>::dot(hip, 2, y.data(), y.data())), 0.0);
  EXPECT_EQ((BlasOps<double, int>::abs_max(hip, 2, y.data())), 0.0);
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
