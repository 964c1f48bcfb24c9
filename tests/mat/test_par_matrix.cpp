#include <cmath>
#include <utility>
#include <vector>

#include "SparseTestHelpers.h"
#include "TestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"

namespace {

using namespace velmo;
using test::contents;
using test::kHost;
using test::make;

constexpr int kOtherComm = 0x44000000;

template <class V>
using Par = ParMatrixT<V, long, int>;

template <class V>
Par<V> vectorOf(const std::vector<V>& values) {
  Par<V> v(long(values.size()), kHost);
  std::copy(values.begin(), values.end(), v.getLocalMatrix().getData());
  return v;
}

template <class V>
std::vector<V> valuesOf(const Par<V>& m) {
  return contents(m.getLocalMatrix());
}

template <class T>
class ParMatrixTyped : public ::testing::Test {};
TYPED_TEST_SUITE(ParMatrixTyped, test::CoreTypes);

TYPED_TEST(ParMatrixTyped, ShapesElementsAndSharedStorage) {
  using V = TypeParam;
  Par<V> m(3, 2, kHost);
  EXPECT_EQ(m.getComm(), 0x44000001);
  // A zero dimension leaves the partitioners empty and nothing allocated.
  Par<V> flat(0, 4, kHost);
  EXPECT_EQ(flat.getColPartitioner().getNumParts(), 0);
  EXPECT_EQ(flat.getLocalMatrix().getData(), nullptr);

  m.fill(V(0));
  EXPECT_TRUE(m.setElementValue(2, 1, make<V>(5, 1)));
  bool found = false;
  EXPECT_EQ(m.getElementValue(2, 1, &found), make<V>(5, 1));
  EXPECT_TRUE(found);
  for (auto [row, col] : std::vector<std::pair<long, long>>{{-1, 0}, {3, 0}, {0, -1}, {0, 2}}) {
    EXPECT_FALSE(m.setElementValue(row, col, make<V>(9))) << row << "," << col;
    EXPECT_EQ(m.getElementValue(row, col, &found), V());
    EXPECT_FALSE(found);
  }
  EXPECT_EQ(valuesOf(m), (std::vector<V>{V(0), V(0), V(0), V(0), V(0), make<V>(5, 1)}));
  EXPECT_FALSE(Par<V>().setElementValue(0, 0, make<V>(1)));  // a placeholder owns no rows

  MatrixT<V> local(3, 2, kHost);
  Par<V> seq;
  seq.createSeq(local);
  EXPECT_EQ(seq.getCols(), 2);
  local.fill(make<V>(4));
  EXPECT_EQ(seq.getElementValue(2, 1), make<V>(4));
}

TYPED_TEST(ParMatrixTyped, NormsReductionsAndOwnKernels) {
  using V = TypeParam;
  using M = Par<V>;
  auto x = vectorOf<V>({make<V>(3), make<V>(-4)});
  // The 1-norm is the root of the 1-sum, on purpose.
  EXPECT_DOUBLE_EQ(M::normL1(x), std::sqrt(7.0));
  EXPECT_DOUBLE_EQ(M::normL2(x), 5.0);
  EXPECT_EQ(M::absSum(x, 3.0), RealOf<V>(91));
  EXPECT_EQ(M::absMax(x), RealOf<V>(4));
  // conj(3) (2 + i) + conj(-4) 1
  EXPECT_EQ(M::dot(x, vectorOf<V>({make<V>(2, 1), make<V>(1)})), make<V>(2, 3));
  if constexpr (is_complex_v<V>) {
    auto z = vectorOf<V>({make<V>(3, 4)});
    EXPECT_DOUBLE_EQ(M::normL2(z), 5.0);
    EXPECT_DOUBLE_EQ(M::normL1(z), std::sqrt(5.0));
  }

  M::scale(make<V>(0), x);
  EXPECT_EQ(valuesOf(x), (std::vector<V>{V(0), V(0)}));
  auto r = vectorOf<V>({make<V>(2), make<V>(0)});
  M::reciprocal(make<V>(4), r);
  EXPECT_EQ(valuesOf(r), (std::vector<V>{make<V>(2), make<V>(4)}));
  auto p = vectorOf<V>({make<V>(3)});
  M::pow(make<V>(2), p);
  // The complex power leaves its array as it was.
  EXPECT_EQ(valuesOf(p), (std::vector<V>{make<V>(is_complex_v<V> ? 3 : 9)}));
}

TYPED_TEST(ParMatrixTyped, ResizeCopiesAndDevices) {
  using V = TypeParam;
  using M = Par<V>;
  M m(4, 1, kHost);
  m.fill(make<V>(6));
  const auto before = m.getLocalMatrix();
  m.resize(4, 1, kHost, comu::kCommSelf);
  EXPECT_TRUE(m.getLocalMatrix().sharesStorageWith(before));
  m.resize(4, 1, kHost, kOtherComm);
  EXPECT_FALSE(m.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(m.getComm(), kOtherComm);

  // Matching shape: the target keeps its storage and gets a private copy.
  auto x = vectorOf<V>({make<V>(1), make<V>(2, -1), make<V>(3)});
  M out(3, kHost);
  const auto storage = out.getLocalMatrix();
  x.deepCopy(out);
  EXPECT_TRUE(out.getLocalMatrix().sharesStorageWith(storage));
  x.fill(V(0));
  EXPECT_EQ(out.getElementValue(1, 0), make<V>(2, -1));
  // Another shape or comm: the target is made anew.
  M other(5, 2, kHost, kOtherComm);
  out.deepCopy(other);
  EXPECT_EQ(other.getCols(), 1);
  EXPECT_EQ(other.getComm(), comu::kCommSelf);
  EXPECT_EQ(valuesOf(other), valuesOf(out));
  out.deepCopy(out);
  EXPECT_EQ(out.getElementValue(1, 0), make<V>(2, -1));

  // To the current device: an alias, so writes show through.
  out.toDevice(kHost).fill(make<V>(7));
  EXPECT_EQ(out.getElementValue(2, 0), make<V>(7));
}

TYPED_TEST(ParMatrixTyped, RealAndImaginaryParts) {
  using V = TypeParam;
  using R = RealOf<V>;
  using M = Par<V>;
  using RM = ParMatrixT<R, long, int>;
  auto x = vectorOf<V>({make<V>(1, 2), make<V>(3, -4)});
  const RM re = x.getReal(), im = x.getImag();
  EXPECT_EQ(contents(re.getLocalMatrix()), (std::vector<R>{1, 3}));
  EXPECT_EQ(contents(im.getLocalMatrix()), is_complex_v<V> ? (std::vector<R>{2, -4}) : (std::vector<R>{0, 0}));
  EXPECT_EQ(valuesOf(M::createComplex(re, im)), valuesOf(x));

  // The shape comes from im when re is empty; the missing real part is zero.
  RM imOnly(2, 1, kHost, kOtherComm);
  imOnly.fill(R(5));
  const M fromIm = M::createComplex(RM(), imOnly);
  EXPECT_EQ(fromIm.getComm(), kOtherComm);
  EXPECT_EQ(valuesOf(fromIm), (std::vector<V>(2, make<V>(0, 5))));
  EXPECT_EQ(M::createComplex(RM(), RM()).getSize(), 0);
}

TYPED_TEST(ParMatrixTyped, ResidualIsBMinusAx) {
  using V = TypeParam;
  ParCSRMatrixT<V, long, int> A;
  A.createSeq(test::makeCsr<V>(2, 2, {0, 1, 2}, {0, 1}, {make<V>(2), make<V>(3)}));
  const auto x = vectorOf<V>({make<V>(1), make<V>(-1)});
  const auto b = vectorOf<V>({make<V>(5), make<V>(1)});
  Par<V> r;
  EXPECT_DOUBLE_EQ(Par<V>::residual(A, x, b, r), 5.0);
  EXPECT_EQ(valuesOf(r), (std::vector<V>{make<V>(3), make<V>(4)}));
  EXPECT_DOUBLE_EQ(Par<V>::residual(A, x, b), 5.0);
  EXPECT_EQ(valuesOf(b), (std::vector<V>{make<V>(5), make<V>(1)}));
}

TEST(ParMatrixGpu, ToDeviceCopiesAcrossDevices) {
  VELMO_REQUIRE_GPU();
  using M = Par<double>;
  const auto x = vectorOf<double>({3, -4});
  M onGpu;
  x.toDevice(test::kGpu, onGpu);
  EXPECT_EQ(onGpu.getDevice(), test::kGpu);
  EXPECT_DOUBLE_EQ(M::normL2(onGpu), 5.0);
  EXPECT_DOUBLE_EQ(M::normL1(onGpu), std::sqrt(7.0));
  M::scale(2.0, onGpu);
  EXPECT_EQ(valuesOf(onGpu), (std::vector<double>{6, -8}));
  EXPECT_EQ(valuesOf(x), (std::vector<double>{3, -4}));
}

TEST(ParMatrixDeathTest, OneLocalBlockAndTheLocalMatrixChecks) {
  using M = Par<double>;
  M m(2, kHost), y(3, kHost);
  const char* text = "Check failed: localMat.size\\(\\) == 1 only support localMat.size == 1";
  EXPECT_DEATH(m.setLocalMatrix({}), text);
  EXPECT_DEATH(m.setLocalMatrix({MatrixT<double>(2, 1, kHost), MatrixT<double>(2, 1, kHost)}), text);
  EXPECT_DEATH(M::axpy(1.0, m, y), "axpy: x and y must have the same size");
}

}  // namespace
