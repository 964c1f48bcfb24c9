#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "TestHelpers.h"

namespace matrix_test {

using namespace velmo;
using namespace velmo::test;

// A second host device: distinct for every device check, and usable without a GPU.
const Device otherHost(0, 1);

ScopedEnv strictText(bool strict) { return {"VELMO_STRICT_MATRIX_MARKET", strict ? "1" : nullptr}; }

template <class T>
std::string saved(const MatrixT<T>& m, int precision, bool strict) {
  auto mode = strictText(strict);
  std::ostringstream os;
  m.saveToStream(os, precision);
  return os.str();
}

template <class T>
std::vector<T> loaded(const std::string& text, bool strict) {
  auto mode = strictText(strict);
  std::istringstream is(text);
  MatrixT<T> m;
  m.loadFromStream(is);
  return contents(m);
}

// ---- Handles, storage and copies -------------------------------------------------------

TEST(MatrixStorage, InPlaceResizeIsSharedWhileCreateAndOtherDevicesDetach) {
  MatrixT<double> empty;
  empty.create(0, 5, kHost);
  EXPECT_EQ(empty.getData(), nullptr);
  EXPECT_DEATH(empty.create(-1, 0, kHost), "Check failed: rows>=0 && cols>=0 ");

  MatrixT<int> a = denseOf(sample<int>(6, 1), 2, 3);
  const std::vector<int> original = contents(a);
  int* storage = a.getData();
  MatrixT<int> alias = a;
  a.resize(3, 1, kHost);  // fits: in place, every handle sees it
  EXPECT_EQ(alias.getRows(), 3);
  a.resize(2, 3, kHost);  // back within capacity, contents kept
  EXPECT_EQ(contents(alias), original);
  a.resize(2, 4, kHost);  // past capacity: fresh storage, the copy keeps the old one
  EXPECT_EQ(alias.getData(), storage);
  MatrixT<int> before = a;
  a.create(2, 4, kHost);  // always fresh, even for the same shape
  EXPECT_FALSE(before.sharesStorageWith(a));
  alias.resize(2, 3, otherHost);  // same shape, other device: fresh storage
  EXPECT_NE(alias.getData(), storage);

  // To the same device an alias, to another a copy; deepCopy always copies.
  MatrixT<double> src = denseOf(sample<double>(4, 0), 2, 2), target(7, 7, otherHost), copy;
  src.toDevice(kHost).getData()[3] = 42;
  EXPECT_EQ(src.getData()[3], 42);
  src.toDevice(kHost, target);
  EXPECT_TRUE(target.sharesStorageWith(src));
  MatrixT<double> moved = src.toDevice(otherHost);
  EXPECT_FALSE(moved.sharesStorageWith(src));
  EXPECT_EQ(contents(moved), contents(src));
  src.deepCopy(copy);
  EXPECT_FALSE(copy.sharesStorageWith(src));
  EXPECT_EQ(contents(copy), contents(src));
  // A host column whatever the step.
  EXPECT_EQ(contents(MatrixT<int>::range(3, 7, 2)), (std::vector<int>{3, 4, 5, 6}));
}

// ---- Typed suite: the operations on any device, and text round trips -------------------

template <class P>
class MatrixTyped : public ::testing::Test {};
TYPED_TEST_SUITE(MatrixTyped, AllTypes);

template <class T>
void checkOperations(const Device& d, int rows) {
  const int cols = 2, n = rows * cols, last = rows - 1;
  std::vector<T> X = sample<T>(n, 1), Y = sample<T>(n, 2), Z = sample<T>(n, 3);
  MatrixT<T> m = denseOf(X, rows, cols, d);
  bool ok = false;
  EXPECT_EQ(m.getElementValue(last, 1, &ok), X[n - 1]);
  EXPECT_TRUE(ok);
  for (auto [i, j] : std::vector<std::pair<int, int>>{{-1, 0}, {rows, 0}, {0, 2}, {0, -1}}) {
    EXPECT_EQ(m.getElementValue(i, j, &ok), T(0)) << i << "," << j;
    EXPECT_FALSE(ok);
    EXPECT_FALSE(m.setElementValue(i, j, make<T>(1)));
  }
  EXPECT_TRUE(m.setElementValue(12, 1, make<T>(9, -9)));
  EXPECT_EQ(m.getElementValue(12, 1), make<T>(9, -9));

  // Rows picked backwards, one twice; the inverse scatter writes the given rows and only those,
  // and reads no row of a longer sub-array past the indices.
  MatrixT<T> sub(1, 1, d);
  m.selectRows(denseOf<int>({last, 0, last}, 3, 1, d), sub);
  EXPECT_EQ(contents(sub), (std::vector<T>{X[2 * last], X[n - 1], X[0], X[1], X[2 * last], X[n - 1]}));
  MatrixT<T> target = denseOf(std::vector<T>(n, make<T>(100)), rows, cols, d);
  target.unselectRows(denseOf<int>({2, 0}, 2, 1, d), denseOf(std::vector<T>(X.begin(), X.begin() + 6), 3, cols, d));
  std::vector<T> expected(n, make<T>(100));
  expected[4] = X[0], expected[5] = X[1], expected[0] = X[2], expected[1] = X[3];
  EXPECT_EQ(contents(target), expected);

  // Each operation applied in turn, against the same steps on the host copies.
  const T a = make<T>(2, 1), b = make<T>(-3), c = make<T>(1, -2);
  MatrixT<T> x = denseOf(X, rows, cols, d), y = denseOf(Y, rows, cols, d), z = denseOf(Z, rows, cols, d);
  MatrixT<T>::axpy(a, x, y);
  MatrixT<T>::axpby(a, x, b, y);
  MatrixT<T>::axpbypz(a, x, b, y, z);
  MatrixT<T>::axpbypcz(a, x, b, y, c, z);
  MatrixT<T>::axypbz(a, x, y, b, z);
  y += x;
  T dot = T(0);
  for (int k = 0; k < n; ++k) {
    Y[k] = a * X[k] + b * (a * X[k] + Y[k]);
    Z[k] = a * X[k] + b * Y[k] + Z[k];
    Z[k] = a * X[k] + b * Y[k] + c * Z[k];
    Z[k] = a * X[k] * Y[k] + b * Z[k];
    Y[k] += X[k];
    dot += conj(X[k]) * Y[k];
  }
  EXPECT_EQ(contents(y), Y);
  EXPECT_EQ(contents(z), Z);
  EXPECT_EQ(MatrixT<T>::dot(x, y), dot);

  PartitionerT<long, int> p;
  p.createForParts(rows, 3);
  std::vector<MatrixT<T>> blocks;
  for (int k = 0; k < 3; ++k) {
    auto first = X.begin() + p.getPartBegin(k) * cols;
    blocks.push_back(denseOf(std::vector<T>(first, first + p.getPartSize(k) * cols), p.getPartSize(k), cols, d));
  }
  const MatrixT<T> merged = MatrixT<T>::mergeRows(p, blocks);
  EXPECT_EQ(merged.getDevice(), d);
  EXPECT_EQ(contents(merged), X);
}

TYPED_TEST(MatrixTyped, ElementRowAndArithmeticOperations) { checkOperations<typename TypeParam::Value>(kHost, 37); }

TYPED_TEST(MatrixTyped, GpuMatchesTheHost) {
  VELMO_REQUIRE_GPU();
  using T = typename TypeParam::Value;
  checkOperations<T>(kGpu, kGpuSize);
  const MatrixT<T> h = denseOf(sample<T>(64, 3), 32, 2), g = h.toDevice(kGpu);
  EXPECT_TRUE(g.toDevice(kGpu).sharesStorageWith(g));
  EXPECT_EQ(saved(g, 6, false), saved(h, 6, false));  // text goes through the host
}

// ---- Check texts ---------------------------------------------------------------------

TEST(MatrixChecks, DeviceAndShapeTexts) {
  using M = MatrixT<double>;
  M x(2, 3, kHost), y(2, 3, kHost), z(2, 3, kHost), small(1, 1, kHost), far(2, 3, otherHost);
  EXPECT_DEATH(x += far,
               "Check failed: getDevice\\(\\) == x.getDevice\\(\\) operator\\+=: x and y must be on the same device");
  EXPECT_DEATH(x += M(3, 2, kHost),
               "Check failed: getRows\\(\\) == x.getRows\\(\\) && getCols\\(\\) == x.getCols\\(\\) "
               "operator\\+=: x and y must have same size");
  // The static operations compare flat sizes: a 3 by 2 y passes for a 2 by 3 x.
  M tall = denseOf(std::vector<double>(6, 1.0), 3, 2);
  M::axpy(1.0, denseOf(std::vector<double>(6, 2.0), 2, 3), tall);
  EXPECT_EQ(contents(tall), std::vector<double>(6, 3.0));
  const std::string xySize = "Check failed: x.getSize\\(\\) == y.getSize\\(\\) ";
  const std::string xyDevice = "Check failed: x.getDevice\\(\\) == y.getDevice\\(\\) ";
  EXPECT_DEATH(M::axpy(1, x, small), xySize + "axpy: x and y must have the same size");
  EXPECT_DEATH(M::axpby(1, x, 1, far), xyDevice + "axpby: x and y must be on the same device");
  // axpbypcz and axypbz keep the words of axpbypz.
  EXPECT_DEATH(M::axpbypcz(1, x, 1, far, 1, z), xyDevice + "axpbypz: x and y must be on the same device");
  EXPECT_DEATH(M::axypbz(1, x, y, 1, small),
               "Check failed: x.getSize\\(\\) == z.getSize\\(\\) axpbypz: x and z must have the same size");
  // dot checks the device before the size.
  EXPECT_DEATH(M::dot(x, M(1, 1, otherHost)), xyDevice + "dot: x and y must be on the same device");

  MatrixT<float> m(4, 2, kHost), sub(2, 2, kHost), oneRow(1, 2, kHost);
  MatrixT<int> idx = MatrixT<int>::range(0, 2, 1), farIdx = idx.toDevice(otherHost);
  EXPECT_DEATH(
      m.selectRows(farIdx, sub),
      "Check failed: getDevice\\(\\) == indices.getDevice\\(\\) selectRows: indices should on the same device");
  EXPECT_DEATH(m.unselectRows(idx, MatrixT<float>(2, 2, otherHost)),
               "Check failed: getDevice\\(\\) == indices.getDevice\\(\\) && getDevice\\(\\) == "
               "sub_array.getDevice\\(\\) selectRows: indices and sub_array should on the same device");
  // A scatter never reads past the rows it is given.
  EXPECT_DEATH(m.unselectRows(idx, oneRow), "sub_array.getRows\\(\\) >= indices.getSize\\(\\) \\(1 vs. 2\\)");
}

// ---- Text form -----------------------------------------------------------------------

// The non-strict writer keeps the imaginary part's own sign after "-j" and the reader
// negates it again: a negative imaginary part comes back positive. The strict form keeps it.
TEST(MatrixText, LayoutsAndSignsInBothModes) {
  const MatrixT<double> real = denseOf(std::vector<double>{1, -2.5, 0.25, 3}, 2, 2);
  EXPECT_EQ(saved(real, 3, false),
            "%%MatrixMarket matrix array real general\n2 2\n1.000e+00 -2.500e+00\n2.500e-01 3.000e+00\n");
  // Row-major even in strict mode, one element per line.
  EXPECT_EQ(saved(real, 2, true),
            "%%MatrixMarket matrix array real general\n2 2\n1.00e+00\n-2.50e+00\n2.50e-01\n3.00e+00\n");
  EXPECT_EQ(saved(denseOf(std::vector<long>{1, -20, 300}, 1, 3), 4, false),
            "%%MatrixMarket matrix array real general\n1 3\n1 -20 300\n");

  using C = Complex<double>;
  const MatrixT<C> complex = denseOf(std::vector<C>{C(1, -2), C(0.5, 3)}, 1, 2);
  const std::string loose = saved(complex, 2, false), strict = saved(complex, 1, true);
  EXPECT_EQ(loose, "%%MatrixMarket matrix array complex general\n1 2\n1.00e+00-j-2.00e+00 5.00e-01+j3.00e+00\n");
  EXPECT_EQ(loaded<C>(loose, false), (std::vector<C>{C(1, 2), C(0.5, 3)}));
  EXPECT_EQ(strict, "%%MatrixMarket matrix array complex general\n1 2\n1.0e+00 -2.0e+00\n5.0e-01 3.0e+00\n");
  EXPECT_EQ(loaded<C>(strict, true), contents(complex));
  // Plain reals read as real values.
  EXPECT_EQ(loaded<C>("2 2\n1.5 -2\n3+j4 5-j-6\n", false), (std::vector<C>{C(1.5, 0), C(-2, 0), C(3, 4), C(5, 6)}));

  // The caller's stream format is left as it was.
  std::ostringstream os;
  real.saveToStream(os, 9);
  os << 0.5;
  EXPECT_EQ(os.str().substr(os.str().rfind('\n') + 1), "0.5");
}

TEST(MatrixText, SizeLineForms) {
  auto mode = strictText(false);
  std::istringstream column("%%MatrixMarket matrix array real general\n% a comment\n\n3\n7\n8\n9\n");
  MatrixT<int> v(5, 5, otherHost);
  v.loadFromStream(column);
  EXPECT_EQ(v.getCols(), 1);
  EXPECT_EQ(v.getDevice(), kHost);  // always loaded onto the host
  EXPECT_EQ(contents(v), (std::vector<int>{7, 8, 9}));

  EXPECT_EQ(loaded<long>("2\t 1\n-1\n4\n", false), (std::vector<long>{-1, 4}));
  EXPECT_TRUE(loaded<double>("%%MatrixMarket matrix array real general\n% nothing\n", false).empty());
  // A failed stream is not read at all.
  const MatrixT<int> before = v;
  std::istringstream failed("2 1\n5\n6\n");
  failed.setstate(std::ios::failbit);
  v.loadFromStream(failed);
  EXPECT_TRUE(v.sharesStorageWith(before));

  MatrixT<double> m;
  std::istringstream three("%%MatrixMarket matrix coordinate real general\n3 3 4\n");
  EXPECT_DEATH(m.loadFromStream(three), "invalid matrix format");
}

// ---- mergeRows -----------------------------------------------------------------------

TEST(MatrixMergeRows, EmptyBlocksAreSkippedAndTheRestChecked) {
  using M = MatrixT<double>;
  PartitionerT<long, int> p;
  p.createForParts(2, 3);  // parts of 1, 1, 0 rows
  const M merged = M::mergeRows(p, {denseOf(std::vector<double>{1, 2}, 1, 2, otherHost),
                                    denseOf(std::vector<double>{3, 4}, 1, 2, otherHost), M(0, 7, kHost)});
  EXPECT_EQ(merged.getDevice(), otherHost);  // the empty host block does not count
  EXPECT_EQ(contents(merged), (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(M::mergeRows(p, {}).getSize(), 0);

  p.createForParts(3, 2);  // parts of 2 and 1 rows
  EXPECT_DEATH(M::mergeRows(p, {M(3, 1, kHost)}), "Check failed: blk.size\\(\\) == partitioner.getNumParts\\(\\) ");
  EXPECT_DEATH(M::mergeRows(p, {M(2, 1, kHost), M(1, 2, kHost)}), "Check failed: cols == blk\\[i\\].getCols\\(\\) ");
  EXPECT_DEATH(M::mergeRows(p, {M(2, 1, kHost), M(1, 1, otherHost)}),
               "Check failed: device == blk\\[i\\].getDevice\\(\\) ");
  // All blocks empty: the result would have 0 rows, but the global size is not 0.
  EXPECT_DEATH(M::mergeRows(p, {M(), M(0, 4, kHost)}), "Check failed: rows == partitioner.getGlobalSize\\(\\) ");
}

}  // namespace matrix_test
