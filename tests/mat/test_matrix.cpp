#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "TestHelpers.h"
#include "mat/Matrix.h"
#include "mat/Partitioner.h"

namespace {

using namespace velmo;
using test::expectNear;

const Device host(0, 0);
// A second host device: distinct for every device check, and usable without a GPU.
const Device otherHost(0, 1);

template <class T>
T make(double re, double im = 0) {
  if constexpr (is_complex_v<T>) {
    return T(RealOf<T>(re), RealOf<T>(im));
  } else {
    return T(re);
  }
}

// Small integers, so that every operation below is exact in every type and on every device.
template <class T>
std::vector<T> sample(int n, int seed) {
  std::vector<T> v;
  for (int k = 0; k < n; ++k) v.push_back(make<T>((k * 7 + seed) % 11 - 5, (k + 2 * seed) % 5 - 2));
  return v;
}

template <class T>
MatrixT<T> upload(const std::vector<T>& values, int rows, int cols, const Device& d) {
  MatrixT<T> m(rows, cols, host);
  for (int k = 0; k < rows * cols; ++k) m.getData()[k] = values[k];
  return m.toDevice(d);
}

template <class T>
std::vector<T> contents(const MatrixT<T>& m) {
  MatrixT<T> h = m.toDevice(host);
  return std::vector<T>(h.getData(), h.getData() + h.getSize());
}

template <class T>
void expectContents(const std::vector<T>& expected, const MatrixT<T>& m) {
  std::vector<T> got = contents(m);
  ASSERT_EQ(got.size(), expected.size());
  for (size_t k = 0; k < got.size(); ++k) {
    SCOPED_TRACE(k);
    expectNear(expected[k], got[k]);
  }
}

MatrixT<int> indexColumn(const std::vector<int>& idx, const Device& d) {
  return upload(idx, int(idx.size()), 1, d);
}

// Sets or clears the strict text switch for one scope.
class StrictMode {
 public:
  explicit StrictMode(bool strict) {
    const char* old = std::getenv(kVar);
    if (old != nullptr) saved_ = old;
    wasSet_ = old != nullptr;
    if (strict) {
      setenv(kVar, "1", 1);
    } else {
      unsetenv(kVar);
    }
  }
  ~StrictMode() {
    if (wasSet_) {
      setenv(kVar, saved_.c_str(), 1);
    } else {
      unsetenv(kVar);
    }
  }

 private:
  static constexpr const char* kVar = "VELMO_STRICT_MATRIX_MARKET";
  bool wasSet_ = false;
  std::string saved_;
};

// ---- Handles, storage and copies -------------------------------------------------------

TEST(MatrixStorage, EmptyShapesAllocateNothing) {
  MatrixT<double> m;
  EXPECT_EQ(m.getRows(), 0);
  EXPECT_EQ(m.getDevice(), host);
  m.create(0, 5, host);
  EXPECT_EQ(m.getSize(), 0);
  EXPECT_EQ(m.getCols(), 5);
  EXPECT_EQ(m.getData(), nullptr);
  EXPECT_DEATH(m.create(-1, 0, host), "Check failed: rows>=0 && cols>=0 ");
  EXPECT_DEATH(m.create(0, -2, host), "Check failed: rows>=0 && cols>=0 ");
}

TEST(MatrixStorage, CreateDetachesCopiesWhileInPlaceResizeIsShared) {
  MatrixT<double> a(3, 4, host);
  double* storage = a.getData();
  MatrixT<double> before = a;

  a.resize(2, 5, host);  // fits: in place, every handle sees it
  EXPECT_EQ(a.getData(), storage);
  EXPECT_EQ(before.getRows(), 2);
  EXPECT_EQ(before.getCols(), 5);
  EXPECT_TRUE(before.sharesStorageWith(a));

  a.create(2, 5, host);  // always fresh; the copy keeps the old storage
  EXPECT_FALSE(before.sharesStorageWith(a));
  EXPECT_EQ(before.getData(), storage);
  EXPECT_NE(a.getData(), storage);
}

TEST(MatrixStorage, ResizeKeepsContentsOnlyWhileTheyFitOnTheSameDevice) {
  MatrixT<int> a = upload(sample<int>(6, 1), 2, 3, host);
  std::vector<int> original = contents(a);
  MatrixT<int> alias = a;

  a.resize(3, 1, host);
  EXPECT_EQ(contents(a), std::vector<int>(original.begin(), original.begin() + 3));
  a.resize(2, 3, host);  // back within capacity
  EXPECT_EQ(contents(a), original);

  a.resize(2, 4, host);  // past capacity
  EXPECT_FALSE(alias.sharesStorageWith(a));
  EXPECT_EQ(a.getCapacity(), 8);

  MatrixT<int> b = upload(original, 2, 3, host);
  int* storage = b.getData();
  b.resize(2, 3, otherHost);  // same shape, other device: fresh storage
  EXPECT_EQ(b.getDevice(), otherHost);
  EXPECT_NE(b.getData(), storage);
}

TEST(MatrixStorage, ToTheSameDeviceAliasesAndDeepCopyDuplicates) {
  MatrixT<double> src = upload(sample<double>(4, 0), 2, 2, host);
  MatrixT<double> alias = src.toDevice(host);
  EXPECT_TRUE(alias.sharesStorageWith(src));
  alias.getData()[3] = 42;
  EXPECT_EQ(src.getData()[3], 42);

  MatrixT<double> target(7, 7, otherHost);
  src.toDevice(host, target);
  EXPECT_TRUE(target.sharesStorageWith(src));

  MatrixT<double> moved = src.toDevice(otherHost);
  EXPECT_FALSE(moved.sharesStorageWith(src));
  EXPECT_EQ(moved.getDevice(), otherHost);
  EXPECT_EQ(contents(moved), contents(src));

  MatrixT<double> copy;
  src.deepCopy(copy);
  EXPECT_FALSE(copy.sharesStorageWith(src));
  copy.getData()[0] = -1;
  EXPECT_NE(src.getData()[0], -1);
  EXPECT_EQ(copy.getRows(), 2);
}

TEST(MatrixStorage, RangeIsAHostColumnAndIgnoresTheStep) {
  MatrixT<int> r = MatrixT<int>::range(3, 7, 2);
  EXPECT_EQ(r.getRows(), 4);
  EXPECT_EQ(r.getCols(), 1);
  EXPECT_EQ(r.getDevice(), host);
  EXPECT_EQ(contents(r), (std::vector<int>{3, 4, 5, 6}));
  EXPECT_EQ(MatrixT<int>::range(5, 5, 1).getSize(), 0);
}

// ---- Typed suite: element and row access, arithmetic, text round trips -----------------

template <class T>
class MatrixTyped : public ::testing::Test {};
using ScalarTypes = ::testing::Types<int, long, float, double, Complex<float>, Complex<double>>;
TYPED_TEST_SUITE(MatrixTyped, ScalarTypes);

template <class T>
void checkElementAccess(const Device& d) {
  std::vector<T> values = sample<T>(40 * 3, 4);
  MatrixT<T> m = upload(values, 40, 3, d);
  bool ok = false;
  EXPECT_EQ(m.getElementValue(37, 2, &ok), values[37 * 3 + 2]);
  EXPECT_TRUE(ok);
  EXPECT_EQ(m.getElementValue(0, 1), values[1]);
  for (auto [i, j] : std::vector<std::pair<int, int>>{{-1, 0}, {40, 0}, {0, 3}, {0, -1}}) {
    ok = true;
    EXPECT_EQ(m.getElementValue(i, j, &ok), T(0)) << i << "," << j;
    EXPECT_FALSE(ok);
  }

  EXPECT_TRUE(m.setElementValue(12, 1, make<T>(9, -9)));
  values[12 * 3 + 1] = make<T>(9, -9);
  EXPECT_FALSE(m.setElementValue(40, 0, make<T>(1)));
  EXPECT_FALSE(m.setElementValue(0, -1, make<T>(1)));
  expectContents(values, m);
}

template <class T>
void checkRowSelection(const Device& d) {
  const int rows = 50, cols = 3;
  std::vector<T> values = sample<T>(rows * cols, 2);
  MatrixT<T> m = upload(values, rows, cols, d);
  std::vector<int> picks;
  for (int k = rows - 1; k >= 0; k -= 2) picks.push_back(k);
  picks.push_back(rows - 1);  // a row may be taken twice

  MatrixT<T> sub(1, 1, d);
  m.selectRows(indexColumn(picks, d), sub);
  ASSERT_EQ(sub.getRows(), int(picks.size()));
  ASSERT_EQ(sub.getCols(), cols);
  std::vector<T> expected;
  for (int r : picks)
    expected.insert(expected.end(), values.begin() + r * cols, values.begin() + (r + 1) * cols);
  expectContents(expected, sub);

  // The inverse scatter writes the selected rows and only those.
  picks.pop_back();
  MatrixT<T> taken;
  m.selectRows(indexColumn(picks, d), taken);
  MatrixT<T> target = upload(std::vector<T>(rows * cols, make<T>(100)), rows, cols, d);
  target.unselectRows(indexColumn(picks, d), taken);
  std::vector<T> scattered(rows * cols, make<T>(100));
  for (int r : picks)
    std::copy(values.begin() + r * cols, values.begin() + (r + 1) * cols, scattered.begin() + r * cols);
  expectContents(scattered, target);
}

template <class T>
void checkArithmetic(const Device& d) {
  const int rows = 37, cols = 3, n = rows * cols;
  std::vector<T> X = sample<T>(n, 1), Y = sample<T>(n, 2), Z = sample<T>(n, 3);
  const T a = make<T>(2, 1), b = make<T>(-3), c = make<T>(1, -2);
  MatrixT<T> x = upload(X, rows, cols, d);
  auto expectEach = [&](const MatrixT<T>& m, auto formula) {
    std::vector<T> expected;
    for (int k = 0; k < n; ++k) expected.push_back(formula(k));
    expectContents(expected, m);
  };

  MatrixT<T> y = upload(Y, rows, cols, d);
  MatrixT<T>::axpy(a, x, y);
  expectEach(y, [&](int k) { return a * X[k] + Y[k]; });

  y = upload(Y, rows, cols, d);
  MatrixT<T>::axpby(a, x, b, y);
  expectEach(y, [&](int k) { return a * X[k] + b * Y[k]; });

  y = upload(Y, rows, cols, d);
  MatrixT<T> z = upload(Z, rows, cols, d);
  MatrixT<T>::axpbypz(a, x, b, y, z);
  expectEach(z, [&](int k) { return a * X[k] + b * Y[k] + Z[k]; });

  z = upload(Z, rows, cols, d);
  MatrixT<T>::axpbypcz(a, x, b, y, c, z);
  expectEach(z, [&](int k) { return a * X[k] + b * Y[k] + c * Z[k]; });

  z = upload(Z, rows, cols, d);
  MatrixT<T>::axypbz(a, x, y, b, z);
  expectEach(z, [&](int k) { return a * X[k] * Y[k] + b * Z[k]; });

  y += x;
  expectEach(y, [&](int k) { return Y[k] + X[k]; });

  T dot = T(0);
  for (int k = 0; k < n; ++k) dot += conj(X[k]) * Z[k];
  EXPECT_EQ(MatrixT<T>::dot(x, upload(Z, rows, cols, d)), dot);

  y.fill(c);
  expectEach(y, [&](int) { return c; });
}

TYPED_TEST(MatrixTyped, ElementAccessAndRangeChecks) { checkElementAccess<TypeParam>(host); }
TYPED_TEST(MatrixTyped, SelectRowsAndItsInverseScatter) { checkRowSelection<TypeParam>(host); }
TYPED_TEST(MatrixTyped, ArithmeticForwardsToTheVectorKernels) { checkArithmetic<TypeParam>(host); }

// The static operations compare flat sizes, not shapes.
TYPED_TEST(MatrixTyped, StaticOperationsCompareFlatSizesOnly) {
  using T = TypeParam;
  MatrixT<T> x = upload(sample<T>(6, 1), 2, 3, host);
  MatrixT<T> y = upload(sample<T>(6, 2), 3, 2, host);
  std::vector<T> X = contents(x), Y = contents(y);
  MatrixT<T>::axpy(make<T>(1), x, y);
  for (int k = 0; k < 6; ++k) EXPECT_EQ(y.getData()[k], X[k] + Y[k]);
  EXPECT_EQ(y.getRows(), 3);
}

TYPED_TEST(MatrixTyped, ColumnTextRoundTripsInBothModes) {
  using T = TypeParam;
  MatrixT<T> m = upload(sample<T>(9, 5), 9, 1, host);
  if constexpr (is_complex_v<T>) {
    // Non-negative imaginary parts: the non-strict form changes the sign of negative ones.
    for (int k = 0; k < 9; ++k) m.getData()[k].im = RealOf<T>(k % 3);
  }
  for (bool strict : {false, true}) {
    StrictMode mode(strict);
    std::stringstream text;
    m.saveToStream(text, 10);
    MatrixT<T> back;
    back.loadFromStream(text);
    EXPECT_EQ(back.getRows(), 9);
    EXPECT_EQ(back.getCols(), 1);
    EXPECT_EQ(contents(back), contents(m)) << (strict ? "strict" : "not strict");
  }
}

// ---- Check texts ---------------------------------------------------------------------

TEST(MatrixChecks, InPlaceAdditionComparesDeviceThenShape) {
  MatrixT<double> a(2, 3, host), transposed(3, 2, host), far(3, 2, otherHost);
  EXPECT_DEATH(a += far,
               "Check failed: getDevice\\(\\) == x.getDevice\\(\\) "
               "operator\\+=: x and y must be on the same device");
  EXPECT_DEATH(a += transposed,
               "Check failed: getRows\\(\\) == x.getRows\\(\\) && getCols\\(\\) == x.getCols\\(\\) "
               "operator\\+=: x and y must have same size");
}

TEST(MatrixChecks, StaticOperationsNameTheirPairs) {
  using M = MatrixT<double>;
  M x(2, 3, host), y(2, 3, host), z(2, 3, host), small(1, 1, host), far(2, 3, otherHost);
  const char* xySize = "Check failed: x.getSize\\(\\) == y.getSize\\(\\) ";
  const char* xyDevice = "Check failed: x.getDevice\\(\\) == y.getDevice\\(\\) ";
  const std::string xzSize =
      "Check failed: x.getSize\\(\\) == z.getSize\\(\\) axpbypz: x and z must have the same size";
  const std::string xzDevice =
      "Check failed: x.getDevice\\(\\) == z.getDevice\\(\\) axpbypz: x and z must be on the same device";

  EXPECT_DEATH(M::axpy(1, x, small), std::string(xySize) + "axpy: x and y must have the same size");
  EXPECT_DEATH(M::axpy(1, x, far), std::string(xyDevice) + "axpy: x and y must be on the same device");
  EXPECT_DEATH(M::axpby(1, x, 1, small), std::string(xySize) + "axpby: x and y must have the same size");
  EXPECT_DEATH(M::axpby(1, x, 1, far), std::string(xyDevice) + "axpby: x and y must be on the same device");

  // axpbypcz and axypbz keep the words of axpbypz.
  EXPECT_DEATH(M::axpbypz(1, x, 1, small, z),
               std::string(xySize) + "axpbypz: x and y must have the same size");
  EXPECT_DEATH(M::axpbypcz(1, x, 1, far, 1, z),
               std::string(xyDevice) + "axpbypz: x and y must be on the same device");
  EXPECT_DEATH(M::axypbz(1, x, small, 1, z),
               std::string(xySize) + "axpbypz: x and y must have the same size");
  EXPECT_DEATH(M::axpbypz(1, x, 1, y, small), xzSize);
  EXPECT_DEATH(M::axpbypcz(1, x, 1, y, 1, small), xzSize);
  EXPECT_DEATH(M::axypbz(1, x, y, 1, far), xzDevice);
  EXPECT_DEATH(M::axpbypz(1, x, 1, y, far), xzDevice);

  // dot checks the device before the size.
  M smallFar(1, 1, otherHost);
  EXPECT_DEATH(M::dot(x, smallFar), std::string(xyDevice) + "dot: x and y must be on the same device");
  EXPECT_DEATH(M::dot(x, small), std::string(xySize) + "dot: x and y must have the same size");
}

TEST(MatrixChecks, RowSelectionNeedsOneDevice) {
  MatrixT<float> m(4, 2, host), sub(2, 2, host), farSub(2, 2, otherHost);
  MatrixT<int> idx = MatrixT<int>::range(0, 2, 1), farIdx = idx.toDevice(otherHost);
  EXPECT_DEATH(m.selectRows(farIdx, sub),
               "Check failed: getDevice\\(\\) == indices.getDevice\\(\\) "
               "selectRows: indices should on the same device");
  const char* both =
      "Check failed: getDevice\\(\\) == indices.getDevice\\(\\) && getDevice\\(\\) == "
      "sub_array.getDevice\\(\\) "
      "selectRows: indices and sub_array should on the same device";
  EXPECT_DEATH(m.unselectRows(farIdx, sub), both);
  EXPECT_DEATH(m.unselectRows(idx, farSub), both);
  // A scatter never reads past the rows it is given.
  MatrixT<float> oneRow(1, 2, host), narrow(2, 1, host);
  EXPECT_DEATH(m.unselectRows(idx, oneRow), "sub_array.getRows\\(\\) == indices.getSize\\(\\) \\(1 vs. 2\\)");
  EXPECT_DEATH(m.unselectRows(idx, narrow), "sub_array.getCols\\(\\) == getCols\\(\\) \\(1 vs. 2\\)");
}

// ---- Text form -----------------------------------------------------------------------

TEST(MatrixText, RealLayoutsInBothModes) {
  MatrixT<double> m = upload(std::vector<double>{1, -2.5, 0.25, 3}, 2, 2, host);
  std::ostringstream loose;
  {
    StrictMode mode(false);
    m.saveToStream(loose, 3);
  }
  EXPECT_EQ(loose.str(),
            "%%MatrixMarket matrix array real general\n2 2\n"
            "1.000e+00 -2.500e+00\n2.500e-01 3.000e+00\n");

  std::ostringstream strict;
  {
    StrictMode mode(true);
    m.saveToStream(strict, 2);
  }
  // Row-major even in strict mode, one element per line.
  EXPECT_EQ(strict.str(),
            "%%MatrixMarket matrix array real general\n2 2\n"
            "1.00e+00\n-2.50e+00\n2.50e-01\n3.00e+00\n");

  std::ostringstream ints;
  StrictMode mode(false);
  upload(std::vector<long>{1, -20, 300}, 1, 3, host).saveToStream(ints, 4);
  EXPECT_EQ(ints.str(), "%%MatrixMarket matrix array real general\n1 3\n1 -20 300\n");
}

TEST(MatrixText, SavingLeavesTheStreamFormatAsItWas) {
  StrictMode mode(false);
  std::ostringstream os;
  os.precision(4);
  upload(std::vector<float>{1.5f}, 1, 1, host).saveToStream(os, 9);
  os << 0.5;
  EXPECT_EQ(os.str().substr(os.str().rfind('\n') + 1), "0.5");
  EXPECT_EQ(os.precision(), 4);
}

// The non-strict writer keeps the imaginary part's own sign after "-j" and the reader
// negates it again: a negative imaginary part comes back positive.
TEST(MatrixText, ComplexSignAsymmetryOfTheLooseForm) {
  using C = Complex<double>;
  MatrixT<C> m = upload(std::vector<C>{C(1, -2), C(0.5, 3)}, 1, 2, host);
  StrictMode loose(false);
  std::stringstream text;
  m.saveToStream(text, 2);
  EXPECT_EQ(text.str(),
            "%%MatrixMarket matrix array complex general\n1 2\n"
            "1.00e+00-j-2.00e+00 5.00e-01+j3.00e+00\n");
  MatrixT<C> back;
  back.loadFromStream(text);
  EXPECT_EQ(contents(back), (std::vector<C>{C(1, 2), C(0.5, 3)}));
}

TEST(MatrixText, ComplexStrictFormKeepsTheSign) {
  using C = Complex<float>;
  MatrixT<C> m = upload(std::vector<C>{C(1, -2), C(-0.5f, 3)}, 2, 1, host);
  StrictMode strict(true);
  std::stringstream text;
  m.saveToStream(text, 1);
  EXPECT_EQ(text.str(),
            "%%MatrixMarket matrix array complex general\n2 1\n1.0e+00 -2.0e+00\n-5.0e-01 3.0e+00\n");
  MatrixT<C> back;
  back.loadFromStream(text);
  EXPECT_EQ(contents(back), contents(m));
}

TEST(MatrixText, LooseComplexReaderTakesPlainRealsAsRealValues) {
  using C = Complex<double>;
  StrictMode loose(false);
  std::istringstream text("2 2\n1.5 -2\n3+j4 5-j-6\n");
  MatrixT<C> m;
  m.loadFromStream(text);
  EXPECT_EQ(contents(m), (std::vector<C>{C(1.5, 0), C(-2, 0), C(3, 4), C(5, 6)}));
}

TEST(MatrixText, SizeLineForms) {
  StrictMode loose(false);
  std::istringstream column("%%MatrixMarket matrix array real general\n% a comment\n\n3\n7\n8\n9\n");
  MatrixT<int> v(5, 5, otherHost);
  v.loadFromStream(column);
  EXPECT_EQ(v.getRows(), 3);
  EXPECT_EQ(v.getCols(), 1);
  EXPECT_EQ(v.getDevice(), host);  // always loaded onto the host
  EXPECT_EQ(contents(v), (std::vector<int>{7, 8, 9}));

  std::istringstream tabs("2\t 1\n-1\n4\n");
  MatrixT<long> w;
  w.loadFromStream(tabs);
  EXPECT_EQ(contents(w), (std::vector<long>{-1, 4}));

  MatrixT<double> m;
  std::istringstream three("%%MatrixMarket matrix coordinate real general\n3 3 4\n");
  EXPECT_DEATH(m.loadFromStream(three), "invalid matrix format");
  std::istringstream indented(" 2 2\n");
  EXPECT_DEATH(m.loadFromStream(indented), "invalid matrix format");
}

TEST(MatrixText, StreamsWithoutASizeLine) {
  MatrixT<double> m = upload(std::vector<double>{1, 2}, 2, 1, host);
  MatrixT<double> before = m;
  std::istringstream failed("2 1\n5\n6\n");
  failed.setstate(std::ios::failbit);
  m.loadFromStream(failed);
  EXPECT_TRUE(m.sharesStorageWith(before));
  EXPECT_EQ(m.getRows(), 2);

  std::istringstream onlyComments("%%MatrixMarket matrix array real general\n% nothing\n");
  m.loadFromStream(onlyComments);
  EXPECT_EQ(m.getRows(), 0);
  EXPECT_EQ(m.getCols(), 0);
  EXPECT_FALSE(m.sharesStorageWith(before));
}

// ---- mergeRows -----------------------------------------------------------------------

template <class T, class G>
void checkMergeRows(const Device& d) {
  PartitionerT<G, int> p;
  p.createForParts(G(37), 3);  // blocks of 13, 12, 12 rows
  const int cols = 2;
  std::vector<T> all = sample<T>(37 * cols, 6);
  std::vector<MatrixT<T>> blocks;
  for (int k = 0; k < 3; ++k) {
    auto first = all.begin() + p.getPartBegin(k) * cols;
    blocks.push_back(
        upload(std::vector<T>(first, first + p.getPartSize(k) * cols), p.getPartSize(k), cols, d));
  }
  MatrixT<T> merged = MatrixT<T>::mergeRows(p, blocks);
  EXPECT_EQ(merged.getRows(), 37);
  EXPECT_EQ(merged.getCols(), cols);
  EXPECT_EQ(merged.getDevice(), d);
  expectContents(all, merged);
}

TYPED_TEST(MatrixTyped, MergeRowsStacksThePartitionBlocks) {
  checkMergeRows<TypeParam, int>(host);
  checkMergeRows<TypeParam, long>(host);
}

TEST(MatrixMergeRows, EmptyBlocksAreSkipped) {
  PartitionerT<long, int> p;
  p.createForParts(2, 3);  // parts of 1, 1, 0 rows
  std::vector<MatrixT<double>> blocks{upload(std::vector<double>{1, 2}, 1, 2, otherHost),
                                      upload(std::vector<double>{3, 4}, 1, 2, otherHost),
                                      MatrixT<double>(0, 7, host)};
  MatrixT<double> merged = MatrixT<double>::mergeRows(p, blocks);
  EXPECT_EQ(merged.getDevice(), otherHost);  // the empty host block does not count
  EXPECT_EQ(contents(merged), (std::vector<double>{1, 2, 3, 4}));

  EXPECT_EQ(MatrixT<double>::mergeRows(p, {}).getSize(), 0);

  PartitionerT<int, int> none;
  none.createForParts(0, 2);
  MatrixT<double> empty =
      MatrixT<double>::mergeRows(none, {MatrixT<double>(), MatrixT<double>(0, 3, otherHost)});
  EXPECT_EQ(empty.getRows(), 0);
  EXPECT_EQ(empty.getDevice(), host);
}

TEST(MatrixMergeRows, Checks) {
  using M = MatrixT<double>;
  PartitionerT<int, int> p;
  p.createForParts(3, 2);  // parts of 2 and 1 rows
  EXPECT_DEATH(M::mergeRows(p, {M(3, 1, host)}),
               "Check failed: blk.size\\(\\) == partitioner.getNumParts\\(\\) ");
  EXPECT_DEATH(M::mergeRows(p, {M(2, 1, host), M(1, 2, host)}),
               "Check failed: cols == blk\\[i\\].getCols\\(\\) ");
  EXPECT_DEATH(M::mergeRows(p, {M(2, 1, host), M(1, 1, otherHost)}),
               "Check failed: device == blk\\[i\\].getDevice\\(\\) ");
  EXPECT_DEATH(M::mergeRows(p, {M(2, 1, host), M(2, 1, host)}),
               "Check failed: rows == partitioner.getGlobalSize\\(\\) ");
  // All blocks empty: the result would have 0 rows, but the global size is not 0.
  EXPECT_DEATH(M::mergeRows(p, {M(), M(0, 4, host)}),
               "Check failed: rows == partitioner.getGlobalSize\\(\\) ");
}

// ---- GPU: the same operations on the device, against host results ----------------------

Device firstGpu() { return Device::getAllDevices()[1]; }

TYPED_TEST(MatrixTyped, GpuMatchesTheHost) {
  VELMO_REQUIRE_GPU();
  const Device gpu = firstGpu();
  checkElementAccess<TypeParam>(gpu);
  checkRowSelection<TypeParam>(gpu);
  checkArithmetic<TypeParam>(gpu);
  checkMergeRows<TypeParam, int>(gpu);
}

TEST(MatrixGpu, CopiesAndTextGoThroughTheHost) {
  VELMO_REQUIRE_GPU();
  const Device gpu = firstGpu();
  MatrixT<double> h = upload(sample<double>(64, 3), 32, 2, host);
  MatrixT<double> g = h.toDevice(gpu);
  EXPECT_FALSE(g.sharesStorageWith(h));
  EXPECT_EQ(g.getDevice(), gpu);
  EXPECT_TRUE(g.toDevice(gpu).sharesStorageWith(g));
  MatrixT<double> copy;
  g.deepCopy(copy);
  EXPECT_EQ(copy.getDevice(), gpu);
  EXPECT_EQ(contents(copy), contents(h));

  StrictMode loose(false);
  std::ostringstream fromGpu, fromHost;
  g.saveToStream(fromGpu, 6);
  h.saveToStream(fromHost, 6);
  EXPECT_EQ(fromGpu.str(), fromHost.str());
}

}  // namespace
