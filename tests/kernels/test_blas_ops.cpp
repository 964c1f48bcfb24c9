#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "TestHelpers.h"
#include "kernels/BlasOps.h"

namespace blas_ops_test {

using namespace velmo;
using namespace velmo::test;

template <class P>
class BlasOpsTyped : public ::testing::Test {};
TYPED_TEST_SUITE(BlasOpsTyped, AllTypes);

TYPED_TEST(BlasOpsTyped, ReductionsReciprocalPowAndNonzeros) {
  using T = typename TypeParam::Value;
  using I = typename TypeParam::Index;
  using R = RealOf<T>;
  using Ops = BlasOps<T, I>;
  std::vector<T> x{make<T>(3, 1), make<T>(-4, 2), make<T>(1, -1)};
  EXPECT_EQ(Ops::dot(kHost, 3, x.data(), x.data()), make<T>(is_complex_v<T> ? 32 : 26));  // conjugates
  EXPECT_EQ(Ops::dotu(kHost, 3, x.data(), x.data()), make<T>(26 - (is_complex_v<T> ? 6 : 0), 6 - 16 - 2));
  EXPECT_EQ(Ops::abs_sum(kHost, 3, x.data(), R(2)), R(is_complex_v<T> ? 32 : 26));
  EXPECT_EQ(Ops::abs_max(kHost, 3, x.data()), absValue(x[1]));
  R sum = 0;
  double cubes = 0;
  for (const T& v : x) sum += absValue(v), cubes += std::pow(double(absValue(v)), 3.0);
  expectNear(sum, Ops::abs_sum(kHost, 3, x.data(), R(1)), 10);
  expectNear(R(cubes), Ops::abs_sum(kHost, 3, x.data(), R(3)), 100);

  // A zero numerator clears without dividing; a zero element is never divided by.
  std::vector<T> r{make<T>(2), T(0), make<T>(4)};
  Ops::reciprocal(kHost, 3, make<T>(1), r.data());
  EXPECT_EQ(r[1], make<T>(1));
  expectNear(make<T>(1) / make<T>(4), r[2]);
  Ops::reciprocal(kHost, 3, T(0), r.data());
  EXPECT_EQ(r, std::vector<T>(3, T(0)));

  const auto before = x;
  Ops::pow(kHost, 3, make<T>(2), x.data());
  EXPECT_EQ(x[1], is_complex_v<T> ? before[1] : T(16));  // complex data is left as it is

  // A count first, then the positions in ascending order.
  const std::vector<T> y{T(0), make<T>(1), T(0), make<T>(0, 1), make<T>(5)};
  std::vector<I> idx(5, -1);
  I count = -1;
  Ops::get_nonzero_indices(kHost, 5, y.data(), nullptr, &count);
  EXPECT_EQ(count, is_complex_v<T> ? 3 : 2);
  Ops::get_nonzero_indices(kHost, 5, y.data(), idx.data(), &count);
  EXPECT_EQ(idx, is_complex_v<T> ? (std::vector<I>{1, 3, 4, -1, -1}) : (std::vector<I>{1, 4, -1, -1, -1}));
}

// The device launches against the host oracle; sample values keep every sum exact.
TYPED_TEST(BlasOpsTyped, GpuMatchesTheHostAcrossBlocks) {
  VELMO_REQUIRE_GPU();
  using T = typename TypeParam::Value;
  using Ops = BlasOps<T, typename TypeParam::Index>;
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

// A zero factor on the output selects a body that never reads it.
TEST(BlasOps, ZeroOutputFactorIgnoresGarbage) {
  using Ops = BlasOps<double, int>;
  const double nan = std::nan("");
  std::vector<double> x{1, 2}, y(2, nan), z(2, nan), w(2, nan);
  Ops::axpby(kHost, 2, 3.0, x.data(), 0.0, y.data());
  Ops::axypbz(kHost, 2, 1.0, x.data(), x.data(), 0.0, z.data());
  Ops::axpbypcz(kHost, 2, 1.0, x.data(), 1.0, x.data(), 0.0, w.data());
  EXPECT_EQ(std::make_tuple(y[1], z[1], w[1]), std::make_tuple(6.0, 4.0, 4.0));
  y.assign(2, nan);
  Ops::scal(kHost, 2, 0.0, y.data());
  EXPECT_EQ(y[0], 0.0);
  // A tiny non-zero factor reads y, and the NaN stays.
  y[0] = nan;
  Ops::axpby(kHost, 2, 1.0, x.data(), 1e-300, y.data());
  EXPECT_TRUE(std::isnan(y[0]));
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

  std::vector<Complex<float>> cf{Complex<float>(1.5f, -2.f)};
  std::vector<Complex<double>> cd(1);
  MixedBlasOps<Complex<double>, Complex<float>, long>::copy(kHost, 1, cf.data(), cd.data());
  EXPECT_EQ(cd[0], Complex<double>(1.5, -2.0));
}

}  // namespace blas_ops_test
