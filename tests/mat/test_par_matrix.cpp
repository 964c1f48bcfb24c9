#include <cmath>
#include <vector>

#include "TestHelpers.h"
#include "mat/ParMatrix.h"
#include "operators/ParOperator.h"

namespace {

using namespace velmo;
using test::expectNear;

const Device host(0, 0);
constexpr int kOtherComm = 0x44000000;

template <class T>
T make(double re, double im = 0) {
  if constexpr (is_complex_v<T>) {
    return T(RealOf<T>(re), RealOf<T>(im));
  } else {
    return T(re);
  }
}

template <class V, class G = long>
ParMatrixT<V, G, int> vectorOf(const std::vector<V>& values) {
  ParMatrixT<V, G, int> v(G(values.size()), host);
  for (size_t i = 0; i < values.size(); ++i) v.setElementValue(G(i), 0, values[i]);
  return v;
}

template <class V, class G>
std::vector<V> valuesOf(const ParMatrixT<V, G, int>& m) {
  std::vector<V> out;
  for (G i = 0; i < m.getRows(); ++i)
    for (G j = 0; j < m.getCols(); ++j) out.push_back(m.getElementValue(i, j));
  return out;
}

template <class T>
class ParMatrixTyped : public ::testing::Test {};
using ValueTypes = ::testing::Types<int, long, float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(ParMatrixTyped, ValueTypes);

TYPED_TEST(ParMatrixTyped, ShapeAndPartitioners) {
  using V = TypeParam;
  ParMatrixT<V, long, int> m(5, 3, host);
  EXPECT_EQ(m.getRows(), 5);
  EXPECT_EQ(m.getCols(), 3);
  EXPECT_EQ(m.getSize(), 15);
  EXPECT_EQ(m.getComm(), 0x44000001);
  EXPECT_EQ(m.getDevice(), host);
  EXPECT_EQ(m.getLocalMatrix().getRows(), 5);
  EXPECT_EQ(m.getLocalMatrix().getCols(), 3);
  EXPECT_EQ(m.getRowPartitioner().getGlobalSize(), 5);
  EXPECT_EQ(m.getColPartitioner().getGlobalSize(), 3);
  long begin = -1, end = -1;
  m.getOwnerShipRange(&begin, &end);
  EXPECT_EQ(begin, 0);
  EXPECT_EQ(end, 5);

  ParMatrixT<V, int, int> column(4, host);
  EXPECT_EQ(column.getCols(), 1);

  // A zero dimension leaves the partitioners empty and nothing allocated.
  ParMatrixT<V, long, int> empty;
  EXPECT_EQ(empty.getSize(), 0);
  EXPECT_EQ(empty.getRowPartitioner().getNumParts(), 0);
  ParMatrixT<V, long, int> flat(0, 4, host);
  EXPECT_EQ(flat.getCols(), 4);
  EXPECT_EQ(flat.getColPartitioner().getNumParts(), 0);
  EXPECT_EQ(flat.getLocalMatrix().getData(), nullptr);

  ParMatrixT<V, long, int> fromParts;
  fromParts.create(m.getRowPartitioner(), host);
  EXPECT_EQ(fromParts.getRows(), 5);
  EXPECT_EQ(fromParts.getCols(), 1);
  EXPECT_EQ(fromParts.getLocalMatrix().getRows(), 5);
}

TYPED_TEST(ParMatrixTyped, CreateSeqSharesTheLocalMatrix) {
  using V = TypeParam;
  MatrixT<V> local(3, 2, host);
  local.fill(make<V>(1));
  ParMatrixT<V, long, int> m;
  m.createSeq(local);
  EXPECT_EQ(m.getRows(), 3);
  EXPECT_EQ(m.getCols(), 2);
  EXPECT_TRUE(m.getLocalMatrix().sharesStorageWith(local));
  local.fill(make<V>(4));
  EXPECT_EQ(m.getElementValue(2, 1), make<V>(4));
}

TYPED_TEST(ParMatrixTyped, ElementAccessRanges) {
  using V = TypeParam;
  ParMatrixT<V, long, int> m(3, 2, host);
  m.fill(make<V>(0));
  EXPECT_TRUE(m.setElementValue(2, 1, make<V>(5, 1)));
  bool found = false;
  EXPECT_EQ(m.getElementValue(2, 1, &found), make<V>(5, 1));
  EXPECT_TRUE(found);

  for (auto [row, col] : std::vector<std::pair<long, long>>{{-1, 0}, {3, 0}, {0, -1}, {0, 2}})
    EXPECT_FALSE(m.setElementValue(row, col, make<V>(9))) << row << "," << col;
  EXPECT_EQ(valuesOf(m), (std::vector<V>{make<V>(0), make<V>(0), make<V>(0), make<V>(0), make<V>(0), make<V>(5, 1)}));

  found = true;
  EXPECT_EQ(m.getElementValue(3, 0, &found), V());
  EXPECT_FALSE(found);
  found = true;
  EXPECT_EQ(m.getElementValue(0, 2, &found), V());
  EXPECT_FALSE(found);

  // A placeholder owns no rows.
  ParMatrixT<V, long, int> empty;
  EXPECT_FALSE(empty.setElementValue(0, 0, make<V>(1)));
  found = true;
  empty.getElementValue(0, 0, &found);
  EXPECT_FALSE(found);
}

TYPED_TEST(ParMatrixTyped, NormsAndReductions) {
  using V = TypeParam;
  using M = ParMatrixT<V, long, int>;
  auto x = vectorOf<V>({make<V>(3), make<V>(-4)});
  // The 1-norm is the root of the 1-sum, on purpose.
  EXPECT_DOUBLE_EQ(M::normL1(x), std::sqrt(7.0));
  EXPECT_DOUBLE_EQ(M::normL2(x), 5.0);
  EXPECT_EQ(M::absSum(x, 1.0), RealOf<V>(7));
  EXPECT_EQ(M::absSum(x, 3.0), RealOf<V>(91));
  EXPECT_EQ(M::absMax(x), RealOf<V>(4));
  auto y = vectorOf<V>({make<V>(2, 1), make<V>(1)});
  // conj(3) (2 + i) + conj(-4) 1
  EXPECT_EQ(M::dot(x, y), make<V>(2, 3));
  if constexpr (is_complex_v<V>) {
    auto z = vectorOf<V>({make<V>(3, 4)});
    EXPECT_DOUBLE_EQ(M::normL2(z), 5.0);
    EXPECT_DOUBLE_EQ(M::normL1(z), std::sqrt(5.0));
  }
}

TYPED_TEST(ParMatrixTyped, ElementwiseForms) {
  using V = TypeParam;
  using M = ParMatrixT<V, long, int>;
  const V a = make<V>(2), b = make<V>(-1), c = make<V>(3);
  auto x = vectorOf<V>({make<V>(1), make<V>(2)});
  auto y = vectorOf<V>({make<V>(5), make<V>(-3)});
  auto z = vectorOf<V>({make<V>(1), make<V>(1)});
  M::axpy(a, x, y);
  EXPECT_EQ(valuesOf(y), (std::vector<V>{make<V>(7), make<V>(1)}));
  M::axpby(a, x, b, y);
  EXPECT_EQ(valuesOf(y), (std::vector<V>{make<V>(-5), make<V>(3)}));
  M::axpbypz(a, x, b, y, z);
  EXPECT_EQ(valuesOf(z), (std::vector<V>{make<V>(8), make<V>(2)}));
  M::axpbypcz(a, x, b, y, c, z);
  EXPECT_EQ(valuesOf(z), (std::vector<V>{make<V>(31), make<V>(7)}));
  M::axypbz(a, x, y, b, z);
  EXPECT_EQ(valuesOf(z), (std::vector<V>{make<V>(-41), make<V>(5)}));

  M::scale(make<V>(0), z);
  EXPECT_EQ(valuesOf(z), (std::vector<V>{make<V>(0), make<V>(0)}));
  auto r = vectorOf<V>({make<V>(2), make<V>(0)});
  M::reciprocal(make<V>(4), r);
  EXPECT_EQ(valuesOf(r), (std::vector<V>{make<V>(2), make<V>(4)}));
  auto p = vectorOf<V>({make<V>(3)});
  M::pow(make<V>(2), p);
  // The complex power leaves its array as it was.
  EXPECT_EQ(valuesOf(p), (std::vector<V>{make<V>(is_complex_v<V> ? 3 : 9)}));
}

TYPED_TEST(ParMatrixTyped, ResizeKeepsOrDiscards) {
  using V = TypeParam;
  ParMatrixT<V, long, int> m(4, 1, host);
  m.fill(make<V>(6));
  auto before = m.getLocalMatrix();
  m.resize(4, 1, host, 0x44000001);
  EXPECT_TRUE(m.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(m.getElementValue(3, 0), make<V>(6));
  m.resize(4, 1, host, kOtherComm);
  EXPECT_FALSE(m.getLocalMatrix().sharesStorageWith(before));
  EXPECT_EQ(m.getComm(), kOtherComm);
  m.resize(2, 3, host, kOtherComm);
  EXPECT_EQ(m.getLocalMatrix().getRows(), 2);
  EXPECT_EQ(m.getLocalMatrix().getCols(), 3);
}

TYPED_TEST(ParMatrixTyped, DeepCopyAndToDevice) {
  using V = TypeParam;
  using M = ParMatrixT<V, long, int>;
  auto x = vectorOf<V>({make<V>(1), make<V>(2, -1), make<V>(3)});

  // Matching shape: the target keeps its storage and gets a private copy.
  M out(3, host);
  auto storage = out.getLocalMatrix();
  x.deepCopy(out);
  EXPECT_TRUE(out.getLocalMatrix().sharesStorageWith(storage));
  EXPECT_EQ(valuesOf(out), valuesOf(x));
  x.fill(make<V>(0));
  EXPECT_EQ(out.getElementValue(1, 0), make<V>(2, -1));

  // Another shape or comm: the target is made anew.
  M other(5, 2, host, kOtherComm);
  out.deepCopy(other);
  EXPECT_EQ(other.getRows(), 3);
  EXPECT_EQ(other.getCols(), 1);
  EXPECT_EQ(other.getComm(), 0x44000001);
  EXPECT_EQ(valuesOf(other), valuesOf(out));
  EXPECT_EQ(valuesOf(out.deepCopy()), valuesOf(out));
  out.deepCopy(out);
  EXPECT_EQ(out.getElementValue(1, 0), make<V>(2, -1));

  // To the current device: an alias, so writes show through.
  M alias = out.toDevice(host);
  alias.fill(make<V>(7));
  EXPECT_EQ(out.getElementValue(2, 0), make<V>(7));
}

TYPED_TEST(ParMatrixTyped, RealAndImaginaryParts) {
  using V = TypeParam;
  using R = RealOf<V>;
  using M = ParMatrixT<V, long, int>;
  using RM = ParMatrixT<R, long, int>;
  auto x = vectorOf<V>({make<V>(1, 2), make<V>(3, -4)});
  RM re = x.getReal(), im = x.getImag();
  EXPECT_EQ(valuesOf(re), (std::vector<R>{1, 3}));
  EXPECT_EQ(valuesOf(im), is_complex_v<V> ? (std::vector<R>{2, -4}) : (std::vector<R>{0, 0}));

  M back = M::createComplex(re, im);
  EXPECT_EQ(valuesOf(back), valuesOf(x));

  // The shape comes from im when re is empty; the missing real part is zero.
  RM imOnly(2, 1, host, kOtherComm);
  imOnly.fill(R(5));
  M fromIm = M::createComplex(RM(), imOnly);
  EXPECT_EQ(fromIm.getRows(), 2);
  EXPECT_EQ(fromIm.getComm(), kOtherComm);
  EXPECT_EQ(valuesOf(fromIm), (std::vector<V>(2, make<V>(0, 5))));

  M none = M::createComplex(RM(), RM());
  EXPECT_EQ(none.getSize(), 0);
}

// D x with a diagonal D, enough to pin the residual's arithmetic.
template <class V>
struct Diagonal : ParMatrixFreeT<V, long, int> {
  using M = ParMatrixT<V, long, int>;
  M d;
  int getComm() const override { return d.getComm(); }
  Device getDevice() const override { return d.getDevice(); }
  long getRows() const override { return d.getRows(); }
  long getCols() const override { return d.getRows(); }
  void aAxpby(V a, const M& x, V b, M& y, typename ParMatrixFreeT<V, long, int>::AsyncMatVecObject*) override {
    M::axypbz(a, d, x, b, y);
  }
};

TYPED_TEST(ParMatrixTyped, ResidualIsBMinusAx) {
  using V = TypeParam;
  using M = ParMatrixT<V, long, int>;
  Diagonal<V> A;
  A.d = vectorOf<V>({make<V>(2), make<V>(3)});
  auto x = vectorOf<V>({make<V>(1), make<V>(-1)});
  auto b = vectorOf<V>({make<V>(5), make<V>(1)});
  M r;
  EXPECT_DOUBLE_EQ(M::residual(A, x, b, r), 5.0);
  EXPECT_EQ(valuesOf(r), (std::vector<V>{make<V>(3), make<V>(4)}));
  EXPECT_DOUBLE_EQ(M::residual(A, x, b), 5.0);
  EXPECT_EQ(valuesOf(b), (std::vector<V>{make<V>(5), make<V>(1)}));
}

TEST(ParMatrixGpu, ToDeviceCopiesAcrossDevices) {
  VELMO_REQUIRE_GPU();
  using M = ParMatrixT<double, long, int>;
  const Device gpu(1, 0);
  auto x = vectorOf<double>({3, -4});
  M onGpu;
  x.toDevice(gpu, onGpu);
  EXPECT_EQ(onGpu.getDevice(), gpu);
  EXPECT_EQ(onGpu.getRows(), 2);
  EXPECT_DOUBLE_EQ(M::normL2(onGpu), 5.0);
  EXPECT_DOUBLE_EQ(M::normL1(onGpu), std::sqrt(7.0));
  M::scale(2.0, onGpu);
  EXPECT_EQ(valuesOf(onGpu.toDevice(host)), (std::vector<double>{6, -8}));
  EXPECT_EQ(valuesOf(x), (std::vector<double>{3, -4}));
}

TEST(ParMatrixDeathTest, SetLocalMatrixTakesExactlyOneBlock) {
  ParMatrixT<double, long, int> m(2, host);
  const char* text = "Check failed: localMat.size\\(\\) == 1 only support localMat.size == 1";
  EXPECT_DEATH(m.setLocalMatrix({}), text);
  std::vector<MatrixT<double>> two{MatrixT<double>(2, 1, host), MatrixT<double>(2, 1, host)};
  EXPECT_DEATH(m.setLocalMatrix(two), text);
}

TEST(ParMatrixDeathTest, ElementwiseChecksComeFromTheLocalMatrix) {
  using M = ParMatrixT<double, long, int>;
  M x(2, host), y(3, host);
  EXPECT_DEATH(M::axpy(1.0, x, y), "axpy: x and y must have the same size");
}

}  // namespace
