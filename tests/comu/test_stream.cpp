#include <cstring>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "SparseTestHelpers.h"
#include "comu/MatrixStream.h"
#include "comu/Stream.h"

namespace stream_test {

using namespace velmo;
using comu::Stream;
using test::kHost;

// The expected bytes of a message, built field by field.
class Bytes {
 public:
  template <class T>
  Bytes& operator<<(const T& v) {
    const char* p = reinterpret_cast<const char*>(&v);
    data.insert(data.end(), p, p + sizeof(T));
    return *this;
  }
  std::vector<char> data;
};

std::vector<char> written(const Stream& s) { return {s.getBuffer(), s.getBuffer() + s.getWritePos()}; }

// Packs into a stream of exactly the announced size, so a size formula that disagrees with the
// packer shows as a mismatch of the write cursor.
template <class T>
Stream packExact(const T& object) {
  Stream s;
  s.setCapacity(comu::getStreamSize(object));
  comu::packStream(s, object);
  EXPECT_EQ(s.getWritePos(), s.getCapacity());
  return s;
}

TEST(Stream, CursorsBuffersAndMoves) {
  std::vector<char> storage(16, 'x');
  Stream s;
  s.setAllocactedBuffer(16, storage.data());  // never freed by the stream
  const int v = 0x01020304;
  s.pushBack(&v, 4);
  s.pushBack(nullptr, 8);  // declares bytes already present
  s.popFront(nullptr, 4);  // a skip
  char c = 0;
  s.popFront(&c, 1);
  EXPECT_EQ(std::memcmp(storage.data(), &v, 4), 0);
  EXPECT_EQ(std::make_tuple(c, s.getReadPos(), s.getWritePos()), std::make_tuple('x', 5, 12));
  // A zero capacity is no request at all; any other takes an own buffer and resets the cursors.
  s.setCapacity(0);
  EXPECT_EQ(std::make_tuple(s.getBuffer(), s.getReadPos(), s.getWritePos()), std::make_tuple(storage.data(), 5, 12));
  s.setCapacity(8);
  EXPECT_EQ(std::make_tuple(s.isExternal(), s.getReadPos(), s.getWritePos()), std::make_tuple(false, 0, 0));

  // A move hands the buffer over; streams are built by count, as the exchange patterns do.
  char* buffer = s.getBuffer();
  std::vector<Stream> streams(3);
  streams[1] = Stream(std::move(s));
  EXPECT_EQ(s.getBuffer(), nullptr);
  EXPECT_EQ(streams[1].getBuffer(), buffer);
}

TEST(Stream, TrdataLayouts) {
  comu::TRDATA row{7, -1, {9, 2, 5}};
  Stream s = packExact(row);
  EXPECT_EQ(written(s), (Bytes() << 7 << -1 << 3 << 2 << 5 << 9).data);
  EXPECT_EQ(written(packExact(comu::TRDATA{4, 0, {}})), (Bytes() << 4 << 0 << 0).data);

  // Unpacking adds to the members already there.
  comu::TRDATA target{0, 0, {1, 5}};
  comu::unpackStream(s, target);
  EXPECT_EQ(std::tie(target.id, target.tag, target.adjacency), std::make_tuple(7, -1, std::set<int>{1, 2, 5, 9}));

  // A list is its count, then each row; unpacking resizes the target to it.
  std::vector<comu::TRDATA> rows{{1, 0, {3}}, {2, 1, {}}};
  Stream list = packExact(rows);
  EXPECT_EQ(written(list), (Bytes() << 2 << 1 << 0 << 1 << 3 << 2 << 1 << 0).data);
  std::vector<comu::TRDATA> back(7);
  comu::unpackStream(list, back);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[0].adjacency, std::set<int>{3});
  EXPECT_EQ(back[1].tag, 1);
}

TEST(Stream, HashMapLayoutKeepsPresentKeys) {
  std::unordered_map<long, double> map{{3, 1.5}};
  EXPECT_EQ(written(packExact(map)), (Bytes() << 1 << 3L << 1.5).data);

  std::unordered_map<int, float> two{{1, 2.f}, {4, -1.f}};
  Stream t = packExact(two);
  std::unordered_map<int, float> target{{4, 7.f}};
  comu::unpackStream(t, target);
  EXPECT_EQ(target, (std::unordered_map<int, float>{{1, 2.f}, {4, 7.f}}));
}

TEST(Stream, DenseMatrixLayout) {
  MatrixT<double> m(2, 3, kHost);
  Bytes expected;
  expected << 2 << 3;
  for (int k = 0; k < 6; ++k) expected << (m.getData()[k] = 0.5 * k);
  Stream s = packExact(m);
  EXPECT_EQ(written(s), expected.data);
  EXPECT_EQ(written(packExact(MatrixT<Complex<float>>(0, 4, kHost))), (Bytes() << 0 << 4).data);

  // Unpacking takes fresh storage: another handle keeps the old contents.
  MatrixT<double> target = test::denseOf<double>({-1}, 1), other = target;
  comu::unpackStream(s, target);
  EXPECT_EQ(target.getCols(), 3);
  EXPECT_EQ(test::contents(target), (std::vector<double>{0, 0.5, 1, 1.5, 2, 2.5}));
  EXPECT_EQ(other.getData()[0], -1);
}

TEST(Stream, SparseMatrixLayoutAndRoundTrip) {
  // [[1, 0, 2], [0, 0, 0], [0, 3, 0]]
  auto m = test::makeCsr<float>({3, 3, {0, 2, 2, 3}, {0, 2, 1}, {1, 2, 3}});
  EXPECT_EQ(written(packExact(m)),
            (Bytes() << 3 << 3 << 3 << 0 << 2 << 2 << 3 << 0 << 2 << 1 << 1.f << 2.f << 3.f).data);
  // A matrix without rows still sends its one offset; without entries, no arrays.
  EXPECT_EQ(written(packExact(CSRMatrixT<double, int>())), (Bytes() << 0 << 0 << 0 << 0).data);
  EXPECT_EQ(written(packExact(test::makeCsr<double>({2, 5, {0, 0, 0}, {}, {}}))), (Bytes() << 2 << 5 << 0 << 0 << 0 << 0).data);

  using V = Complex<double>;
  auto c = test::makeCsr(test::randomCsr<V>(4, 5, 0.4, 1));
  Stream s = packExact(c);
  CSRMatrixT<V, int> back;
  back.unpackStream(s);
  EXPECT_EQ(s.getReadPos(), s.getWritePos());
  EXPECT_EQ(test::hostOf(back).arrays(), test::hostOf(c).arrays());
  Stream empty = packExact(CSRMatrixT<V, int>());
  comu::unpackStream(empty, back);
  EXPECT_EQ(back.getRowPtr(), nullptr);
}

}  // namespace stream_test
