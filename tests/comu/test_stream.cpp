#include <cstring>
#include <unordered_map>
#include <vector>

#include "SparseTestHelpers.h"
#include "TestHelpers.h"
#include "comu/MatrixStream.h"
#include "comu/Stream.h"

namespace {

using namespace velmo;
using comu::Stream;
using test::kHost;
using test::make;

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

TEST(Stream, CursorsAndNullPointers) {
  Stream s;
  EXPECT_EQ(s.getBuffer(), nullptr);
  EXPECT_EQ(s.getCapacity(), 0);
  EXPECT_FALSE(s.isExternal());

  std::vector<char> storage(16, 'x');
  s.setAllocactedBuffer(16, storage.data());
  const int v = 0x01020304;
  s.pushBack(&v, 4);
  s.pushBack(nullptr, 8);  // declares bytes already present
  EXPECT_EQ(s.getWritePos(), 12);
  EXPECT_EQ(std::memcmp(storage.data(), &v, 4), 0);
  EXPECT_EQ(storage[4], 'x');

  s.popFront(nullptr, 4);  // a skip
  char c = 0;
  s.popFront(&c, 1);
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(s.getReadPos(), 5);

  // A zero capacity is no request at all: neither buffer nor cursors change.
  s.setCapacity(0);
  EXPECT_EQ(s.getBuffer(), storage.data());
  EXPECT_EQ(s.getWritePos(), 12);
  EXPECT_EQ(s.getReadPos(), 5);
  EXPECT_TRUE(s.isExternal());

  s.setCapacity(8);
  EXPECT_NE(s.getBuffer(), storage.data());
  EXPECT_EQ(s.getWritePos(), 0);
  EXPECT_EQ(s.getReadPos(), 0);
  EXPECT_FALSE(s.isExternal());
}

TEST(Stream, AdoptedBufferOutlivesStream) {
  std::vector<int> storage{1, 2, 3};
  {
    Stream s;
    s.setAllocactedBuffer(12, storage.data());
    const int v = 9;
    s.pushBack(nullptr, 4);
    s.pushBack(&v, 4);
  }
  // Releasing memory the stream does not own would have aborted or corrupted this.
  EXPECT_EQ(storage, (std::vector<int>{1, 9, 3}));
}

TEST(Stream, MoveTransfersOwnership) {
  Stream a;
  a.setCapacity(8);
  const int v = 5;
  a.pushBack(&v, 4);
  char* buffer = a.getBuffer();
  Stream b(std::move(a));
  EXPECT_EQ(a.getBuffer(), nullptr);
  EXPECT_EQ(b.getBuffer(), buffer);
  EXPECT_EQ(b.getWritePos(), 4);
  std::vector<Stream> streams(3);  // built by count, as the exchange patterns do
  streams[1] = std::move(b);
  EXPECT_EQ(streams[1].getBuffer(), buffer);
}

TEST(Stream, TrdataLayout) {
  comu::TRDATA row{7, -1, {9, 2, 5}};
  Stream s = packExact(row);
  EXPECT_EQ(s.getCapacity(), 24);
  EXPECT_EQ(written(s), (Bytes() << 7 << -1 << 3 << 2 << 5 << 9).data);

  comu::TRDATA empty{4, 0, {}};
  EXPECT_EQ(comu::getStreamSize(empty), 12);
  EXPECT_EQ(written(packExact(empty)), (Bytes() << 4 << 0 << 0).data);

  // Unpacking adds to the members already there.
  comu::TRDATA target{0, 0, {1, 5}};
  comu::unpackStream(s, target);
  EXPECT_EQ(target.id, 7);
  EXPECT_EQ(target.tag, -1);
  EXPECT_EQ(target.adjacency, (std::set<int>{1, 2, 5, 9}));
  EXPECT_EQ(s.getReadPos(), 24);
}

TEST(Stream, TrdataListRoundTrip) {
  std::vector<comu::TRDATA> rows{{1, 0, {3}}, {2, 1, {}}, {3, 2, {0, 4}}};
  Stream s = packExact(rows);
  EXPECT_EQ(s.getCapacity(), 4 + 16 + 12 + 20);
  int count = 0;
  std::memcpy(&count, s.getBuffer(), 4);
  EXPECT_EQ(count, 3);

  std::vector<comu::TRDATA> back(7);
  comu::unpackStream(s, back);
  ASSERT_EQ(back.size(), 3u);
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(back[i].id, rows[i].id);
    EXPECT_EQ(back[i].tag, rows[i].tag);
    EXPECT_EQ(back[i].adjacency, rows[i].adjacency);
  }
}

TEST(Stream, HashMapLayoutKeepsPresentKeys) {
  std::unordered_map<long, double> map{{3, 1.5}};
  Stream s = packExact(map);
  EXPECT_EQ(written(s), (Bytes() << 1 << 3L << 1.5).data);

  std::unordered_map<int, float> two{{1, 2.f}, {4, -1.f}};
  Stream t = packExact(two);
  EXPECT_EQ(t.getCapacity(), 4 + 2 * 8);
  std::unordered_map<int, float> target{{4, 7.f}};
  comu::unpackStream(t, target);
  EXPECT_EQ(target, (std::unordered_map<int, float>{{1, 2.f}, {4, 7.f}}));
}

TEST(Stream, DenseMatrixLayout) {
  MatrixT<double> m(2, 3, kHost);
  for (int k = 0; k < 6; ++k) m.getData()[k] = 0.5 * k;
  Stream s = packExact(m);
  Bytes expected;
  expected << 2 << 3;
  for (int k = 0; k < 6; ++k) expected << 0.5 * k;
  EXPECT_EQ(written(s), expected.data);

  // Unpacking takes fresh storage: another handle keeps the old contents.
  MatrixT<double> target(1, 1, kHost);
  target.getData()[0] = -1;
  MatrixT<double> other = target;
  comu::unpackStream(s, target);
  EXPECT_EQ(target.getRows(), 2);
  EXPECT_EQ(target.getCols(), 3);
  EXPECT_EQ(target.getData()[5], 2.5);
  EXPECT_EQ(other.getData()[0], -1);

  MatrixT<Complex<float>> empty(0, 4, kHost);
  EXPECT_EQ(written(packExact(empty)), (Bytes() << 0 << 4).data);
}

TEST(Stream, SparseMatrixLayout) {
  // [[1, 0, 2], [0, 0, 0], [0, 3, 0]]
  auto m = test::makeCsr<float>(3, 3, {0, 2, 2, 3}, {0, 2, 1}, {1.f, 2.f, 3.f});
  Stream s = packExact(m);
  EXPECT_EQ(s.getCapacity(), 16 + 4 * 3 + 3 * (4 + 4));
  EXPECT_EQ(written(s), (Bytes() << 3 << 3 << 3 << 0 << 2 << 2 << 3 << 0 << 2 << 1 << 1.f << 2.f << 3.f).data);

  // A matrix without rows still sends its one offset; without entries, no arrays.
  EXPECT_EQ(written(packExact(CSRMatrixT<double, int>())), (Bytes() << 0 << 0 << 0 << 0).data);
  CSRMatrixT<double, int> structure;
  structure.create(2, 5, 0, kHost);
  structure.getRowPtr()[0] = structure.getRowPtr()[1] = structure.getRowPtr()[2] = 0;
  EXPECT_EQ(written(packExact(structure)), (Bytes() << 2 << 5 << 0 << 0 << 0 << 0).data);
}

template <class V>
class SparseStreamTyped : public ::testing::Test {};
TYPED_TEST_SUITE(SparseStreamTyped, test::ScalarTypes);

TYPED_TEST(SparseStreamTyped, RoundTrip) {
  using V = TypeParam;
  auto m = test::fromDense(4, 5, test::sampleDense<V>(4, 5, 1));
  Stream s = packExact(m);
  EXPECT_EQ(s.getCapacity(), 16 + 4 * 4 + m.getNnzs() * int(4 + sizeof(V)));

  CSRMatrixT<V, int> back;
  back.unpackStream(s);
  EXPECT_EQ(s.getReadPos(), s.getWritePos());
  EXPECT_EQ(back.getRows(), 4);
  EXPECT_EQ(back.getCols(), 5);
  EXPECT_EQ(back.getNnzs(), m.getNnzs());
  EXPECT_EQ(test::toDense(back), test::toDense(m));

  Stream empty = packExact(CSRMatrixT<V, int>());
  comu::unpackStream(empty, back);
  EXPECT_EQ(back.getRows(), 0);
  EXPECT_EQ(back.getRowPtr(), nullptr);
  EXPECT_EQ(empty.getReadPos(), 16);
}

}  // namespace
