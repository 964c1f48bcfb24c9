#pragma once

#include <cstddef>
#include <set>
#include <unordered_map>
#include <vector>

// Byte streams that messages are packed into. Layouts are host byte order, unpadded, with
// 32-bit signed counts: sender and receiver are this library on one machine type, so there
// are no tags, no versions and no bounds checks. Callers size a stream exactly from
// getStreamSize before packing.
namespace velmo::comu {

// Unchecked byte buffer with a read and a write cursor.
class Stream {
 public:
  Stream() = default;
  ~Stream();

  // Copies would release the buffer twice; a moved-from stream owns nothing.
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  Stream(Stream&& other) noexcept;
  Stream& operator=(Stream&& other) noexcept;

  // Allocates n bytes and rewinds both cursors. n == 0 does nothing at all. An earlier
  // owned buffer is not released: call this once per stream.
  void setCapacity(int n);
  // Wraps n bytes at p without taking ownership.
  void setAllocactedBuffer(int n, void* p);

  // A null src only advances the write cursor: how a receive declares bytes already in the
  // buffer. A null dst only advances the read cursor: a skip.
  void pushBack(const void* src, int n);
  void popFront(void* dst, int n);

  char* getBuffer() const { return buffer; }
  int getCapacity() const { return capacity; }
  int getReadPos() const { return readPos; }
  int getWritePos() const { return writePos; }
  bool isExternal() const { return external; }

 private:
  void release();

  char* buffer = nullptr;
  int capacity = 0;
  int readPos = 0;
  int writePos = 0;
  bool external = false;
};

// One element of an owner query, sent as a raw array element.
struct DATA {
  int id;
  int rank;
};

// One row of a graph in transit.
struct TRDATA {
  int id = 0;
  int tag = 0;
  std::set<int> adjacency;
};

// id, tag, member count, then the members in ascending order.
int getStreamSize(const TRDATA& data);
void packStream(Stream& stream, const TRDATA& data);
// Adds the members to those already in `data`.
void unpackStream(Stream& stream, TRDATA& data);

// A count, then each element.
template <class T>
int getStreamSize(const std::vector<T>& list) {
  int size = 4;
  for (const T& item : list) size += getStreamSize(item);
  return size;
}

template <class T>
void packStream(Stream& stream, const std::vector<T>& list) {
  int n = int(list.size());
  stream.pushBack(&n, 4);
  for (const T& item : list) packStream(stream, item);
}

// Resizes `list` to the count and reads every element into place.
template <class T>
void unpackStream(Stream& stream, std::vector<T>& list) {
  int n = 0;
  stream.popFront(&n, 4);
  list.resize(std::size_t(n));
  for (T& item : list) unpackStream(stream, item);
}

// A count, then key and value of each pair in the map's iteration order: the row layout of
// assembly messages.
template <class K, class V>
int getStreamSize(const std::unordered_map<K, V>& map) {
  return 4 + int(map.size()) * int(sizeof(K) + sizeof(V));
}

template <class K, class V>
void packStream(Stream& stream, const std::unordered_map<K, V>& map) {
  int n = int(map.size());
  stream.pushBack(&n, 4);
  for (const auto& [key, value] : map) {
    stream.pushBack(&key, int(sizeof(K)));
    stream.pushBack(&value, int(sizeof(V)));
  }
}

// Inserts each pair; a key already present keeps its value.
template <class K, class V>
void unpackStream(Stream& stream, std::unordered_map<K, V>& map) {
  int n = 0;
  stream.popFront(&n, 4);
  for (int k = 0; k < n; ++k) {
    K key{};
    V value{};
    stream.popFront(&key, int(sizeof(K)));
    stream.popFront(&value, int(sizeof(V)));
    map.emplace(key, value);
  }
}

}  // namespace velmo::comu
