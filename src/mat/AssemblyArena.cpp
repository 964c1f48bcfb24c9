#include "mat/AssemblyArena.h"

#include <glog/logging.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace velmo {

namespace {

constexpr std::size_t kGrain = 8;
// Blocks up to kClasses * kGrain bytes are recycled by size; bucket arrays of rows with a few
// dozen entries stay below.
constexpr std::size_t kClasses = 64;
constexpr std::size_t kLargeBlock = 4096;
// A thread's chunks grow from small, so that a buffer of a few rows costs little, to the size
// of a huge page: a large buffer then takes one page fault per 2 MiB instead of one per 4 KiB,
// and first touches of fresh memory are most of the cost of filling it.
constexpr std::size_t kFirstChunk = 1024;
constexpr std::size_t kLastChunk = 2 * 1024 * 1024;
// Arenas a thread fills at the same time without losing its place in any of them, as when a
// matrix and a vector are assembled in one loop.
constexpr int kSlots = 4;

std::size_t roundUp(std::size_t bytes) { return (bytes + kGrain - 1) / kGrain * kGrain; }

char* alignUp(char* p, std::size_t align) {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<char*>((address + align - 1) / align * align);
}

bool recycled(std::size_t bytes, std::size_t align) { return align <= kGrain && bytes <= kClasses * kGrain; }

}  // namespace

std::uint64_t nextAssemblySerial() {
  // 0 is never returned: it marks a thread slot that no arena holds.
  static std::atomic<std::uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

struct AssemblyArena::ThreadSlot {
  std::uint64_t serial = 0;
  char* next = nullptr;
  char* end = nullptr;
  std::size_t chunkBytes = 0;
  void* freeBlocks[kClasses] = {};
};

AssemblyArena::~AssemblyArena() {
  for (void* chunk : m_chunks) std::free(chunk);
}

// The slots outlive arenas: a slot whose arena is gone is never matched again, since serials
// are not reused.
auto AssemblyArena::threadSlots() -> ThreadSlot* {
  static thread_local ThreadSlot slots[kSlots];
  return slots;
}

auto AssemblyArena::slotOfThisThread() -> ThreadSlot& {
  ThreadSlot* slots = threadSlots();
  for (int s = 0; s < kSlots; ++s) {
    if (slots[s].serial == m_serial) return slots[s];
  }
  static thread_local unsigned victim = 0;
  ThreadSlot& slot = slots[victim++ % kSlots];
  slot = ThreadSlot();
  slot.serial = m_serial;
  return slot;
}

void AssemblyArena::refill(ThreadSlot& slot, std::size_t bytes) {
  slot.chunkBytes = std::max(bytes, slot.chunkBytes == 0 ? kFirstChunk : std::min(2 * slot.chunkBytes, kLastChunk));
  const bool huge = slot.chunkBytes == kLastChunk;
  void* chunk = huge ? std::aligned_alloc(kLastChunk, kLastChunk) : std::malloc(slot.chunkBytes);
  if (chunk == nullptr) throw std::bad_alloc();
  // Only a hint: where huge pages are off this changes nothing.
  if (huge) madvise(chunk, kLastChunk, MADV_HUGEPAGE);
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_chunks.push_back(chunk);
  }
  slot.next = static_cast<char*>(chunk);
  slot.end = slot.next + slot.chunkBytes;
}

void* AssemblyArena::allocate(std::size_t bytes, std::size_t align) {
  CHECK(align <= alignof(std::max_align_t)) << "AssemblyArena: alignment " << align << " is not supported";
  bytes = roundUp(bytes);
  if (bytes > kLargeBlock) return ::operator new(bytes);
  ThreadSlot& slot = slotOfThisThread();
  if (recycled(bytes, align)) {
    void*& head = slot.freeBlocks[bytes / kGrain - 1];
    if (head != nullptr) {
      void* p = head;
      head = *static_cast<void**>(p);
      return p;
    }
  }
  char* p = slot.next == nullptr ? nullptr : alignUp(slot.next, align);
  if (p == nullptr || p + bytes > slot.end) {
    refill(slot, bytes + align);
    p = alignUp(slot.next, align);
  }
  slot.next = p + bytes;
  return p;
}

void AssemblyArena::deallocate(void* p, std::size_t bytes, std::size_t align) {
  bytes = roundUp(bytes);
  if (bytes > kLargeBlock) {
    ::operator delete(p);
    return;
  }
  if (!recycled(bytes, align)) return;
  // Only a thread that is filling this arena keeps its blocks; others leave them to the arena.
  ThreadSlot* slots = threadSlots();
  for (int s = 0; s < kSlots; ++s) {
    if (slots[s].serial != m_serial) continue;
    void*& head = slots[s].freeBlocks[bytes / kGrain - 1];
    *static_cast<void**>(p) = head;
    head = p;
    return;
  }
}

}  // namespace velmo
