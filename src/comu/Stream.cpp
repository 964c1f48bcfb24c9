#include "comu/Stream.h"

#include <cstring>
#include <utility>

namespace velmo::comu {

Stream::~Stream() { release(); }

void Stream::release() {
  if (!external && buffer != nullptr) delete[] buffer;
}

Stream::Stream(Stream&& other) noexcept
    : buffer(std::exchange(other.buffer, nullptr)),
      capacity(std::exchange(other.capacity, 0)),
      readPos(std::exchange(other.readPos, 0)),
      writePos(std::exchange(other.writePos, 0)),
      external(std::exchange(other.external, false)) {}

Stream& Stream::operator=(Stream&& other) noexcept {
  if (this != &other) {
    release();
    buffer = std::exchange(other.buffer, nullptr);
    capacity = std::exchange(other.capacity, 0);
    readPos = std::exchange(other.readPos, 0);
    writePos = std::exchange(other.writePos, 0);
    external = std::exchange(other.external, false);
  }
  return *this;
}

void Stream::setCapacity(int n) {
  if (n == 0) return;
  capacity = n;
  buffer = new char[n];
  readPos = 0;
  writePos = 0;
  external = false;
}

void Stream::setAllocactedBuffer(int n, void* p) {
  buffer = static_cast<char*>(p);
  capacity = n;
  readPos = 0;
  writePos = 0;
  external = true;
}

void Stream::pushBack(const void* src, int n) {
  if (src != nullptr) std::memcpy(buffer + writePos, src, size_t(n));
  writePos += n;
}

void Stream::popFront(void* dst, int n) {
  if (dst != nullptr) std::memcpy(dst, buffer + readPos, size_t(n));
  readPos += n;
}

int getStreamSize(const TRDATA& data) { return 12 + 4 * int(data.adjacency.size()); }

void packStream(Stream& stream, const TRDATA& data) {
  stream.pushBack(&data.id, 4);
  stream.pushBack(&data.tag, 4);
  int n = int(data.adjacency.size());
  stream.pushBack(&n, 4);
  for (int member : data.adjacency) stream.pushBack(&member, 4);
}

void unpackStream(Stream& stream, TRDATA& data) {
  stream.popFront(&data.id, 4);
  stream.popFront(&data.tag, 4);
  int n = 0;
  stream.popFront(&n, 4);
  for (int k = 0; k < n; ++k) {
    int member = 0;
    stream.popFront(&member, 4);
    data.adjacency.insert(member);
  }
}

}  // namespace velmo::comu
