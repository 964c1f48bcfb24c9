#include <cmath>
#include <utility>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"

namespace par_matrix_test {

using namespace velmo;
using namespace velmo::test;

template <class V>
using Par = ParMatrixT<V, long, int>;

template <class P>
class ParMatrixTyped : public ::testing::Test {};
TYPED_TEST_SUITE(ParMatrixTyped, AllTypes);

// Element access itself is pinned on MatrixT; here only what the distributed form adds.
TYPED_TEST(ParMatrixTyped, SharedLocalMatrixAndOwnedRows) {
  using V = typename TypeParam::Value;
  MatrixT<V> local(3, 2, kHost);
  Par<V> m;
  m.createSeq(local);
  local.fill(make<V>(4));
  EXPECT_EQ(m.getElementValue(2, 1), make<V>(4));
  EXPECT_FALSE(m.setElementValue(3, 0, make<V>(9)));         // past the rows this rank owns
  EXPECT_FALSE(Par<V>().setElementValue(0, 0, make<V>(1)));  // a placeholder owns no rows
}

TYPED_TEST(ParMatrixTyped, NormsAndReductions) {
  using V = typename TypeParam::Value;
  using M = Par<V>;
  auto x = parVector<V>({make<V>(3), make<V>(-4)});
  // The 1-norm is the root of the 1-sum, on purpose.
  EXPECT_DOUBLE_EQ(M::normL1(x), std::sqrt(7.0));
  EXPECT_DOUBLE_EQ(M::normL2(x), 5.0);
  EXPECT_EQ(M::absSum(x, 3.0), RealOf<V>(91));
  EXPECT_EQ(M::absMax(x), RealOf<V>(4));
  // conj(3) (2 + i) + conj(-4) 1
  EXPECT_EQ(M::dot(x, parVector<V>({make<V>(2, 1), make<V>(1)})), make<V>(2, 3));
  if constexpr (is_complex_v<V>) {
    auto z = parVector<V>({make<V>(3, 4)});
    EXPECT_DOUBLE_EQ(M::normL2(z), 5.0);
    EXPECT_DOUBLE_EQ(M::normL1(z), std::sqrt(5.0));
  }
  M::scale(make<V>(0), x);
  EXPECT_EQ(contents(x), (std::vector<V>{V(0), V(0)}));
}

TYPED_TEST(ParMatrixTyped, ResizeAndCopies) {
  using V = typename TypeParam::Value;
  using M = Par<V>;
  // Another comm makes a resize allocate, even for the same shape.
  M m(3, 1, kHost);
  const auto before = m.getLocalMatrix();
  m.resize(3, 1, kHost, comu::kCommSelf);
  EXPECT_TRUE(m.getLocalMatrix().sharesStorageWith(before));
  m.resize(3, 1, kHost, comu::kCommWorld);
  EXPECT_FALSE(m.getLocalMatrix().sharesStorageWith(before));

  // Matching shape: the target keeps its storage and gets a private copy.
  auto x = parVector<V>({make<V>(1), make<V>(2, -1), make<V>(3)});
  M out(3, kHost), other(5, 2, kHost, comu::kCommWorld);
  const auto storage = out.getLocalMatrix();
  x.deepCopy(out);
  EXPECT_TRUE(out.getLocalMatrix().sharesStorageWith(storage));
  x.fill(V(0));
  EXPECT_EQ(out.getElementValue(1, 0), make<V>(2, -1));
  // Another shape or comm: the target is made anew.
  out.deepCopy(other);
  EXPECT_EQ(other.getComm(), comu::kCommSelf);
  EXPECT_EQ(contents(other), contents(out));
  // To the current device: an alias, so writes show through.
  out.toDevice(kHost).fill(make<V>(7));
  EXPECT_EQ(out.getElementValue(2, 0), make<V>(7));
}

TYPED_TEST(ParMatrixTyped, RealImaginaryPartsAndResidual) {
  using V = typename TypeParam::Value;
  using R = RealOf<V>;
  using M = Par<V>;
  using RM = ParMatrixT<R, long, int>;
  auto x = parVector<V>({make<V>(1, 2), make<V>(3, -4)});
  const RM re = x.getReal(), im = x.getImag();
  EXPECT_EQ(contents(im), is_complex_v<V> ? (std::vector<R>{2, -4}) : (std::vector<R>{0, 0}));
  EXPECT_EQ(contents(M::createComplex(re, im)), contents(x));
  // The shape comes from im when re is empty; the missing real part is zero.
  RM imOnly(2, 1, kHost, comu::kCommWorld);
  imOnly.fill(R(5));
  const M fromIm = M::createComplex(RM(), imOnly);
  EXPECT_EQ(fromIm.getComm(), comu::kCommWorld);
  EXPECT_EQ(contents(fromIm), (std::vector<V>(2, make<V>(0, 5))));

  ParCSRMatrixT<V, long, int> A;
  A.createSeq(makeCsr<V>({2, 2, {0, 1, 2}, {0, 1}, {make<V>(2), make<V>(3)}}));
  const auto b = parVector<V>({make<V>(5), make<V>(1)});
  M r;
  EXPECT_DOUBLE_EQ(M::residual(A, parVector<V>({make<V>(1), make<V>(-1)}), b, r), 5.0);
  EXPECT_EQ(contents(r), (std::vector<V>{make<V>(3), make<V>(4)}));
  EXPECT_EQ(contents(b), (std::vector<V>{make<V>(5), make<V>(1)}));
}

TEST(ParMatrixDeathTest, OneLocalBlock) {
  EXPECT_DEATH(Par<double>(2, kHost).setLocalMatrix({}),
               "Check failed: localMat.size\\(\\) == 1 only support localMat.size == 1");
}

}  // namespace par_matrix_test
