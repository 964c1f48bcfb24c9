#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace velmo {

// A number that no earlier call returned, from any thread: tells assembly tables and arenas
// from those that lived before at the same address.
std::uint64_t nextAssemblySerial();

// Memory for the rows of one assembly buffer. A buffer makes millions of small blocks (hash
// nodes, bucket arrays, rows) from many threads and drops them all together, which a general
// allocator serves with a lock or an atomic and a header per block. Here each thread carves
// blocks from a chunk of its own, blocks given back (the bucket arrays a growing row leaves
// behind) serve the next request of that size on the same thread, and the chunks go back to
// the system with the arena. Large blocks go straight to the system.
class AssemblyArena {
 public:
  AssemblyArena() = default;
  ~AssemblyArena();
  AssemblyArena(const AssemblyArena&) = delete;
  AssemblyArena& operator=(const AssemblyArena&) = delete;

  void* allocate(std::size_t bytes, std::size_t align);
  void deallocate(void* p, std::size_t bytes, std::size_t align);

 private:
  struct ThreadSlot;
  // The calling thread's slots, one per arena it fills.
  static ThreadSlot* threadSlots();
  // This arena's slot of the calling thread; without one it takes over the slots in turn.
  ThreadSlot& slotOfThisThread();
  // A fresh chunk for `slot` that holds at least `bytes`.
  void refill(ThreadSlot& slot, std::size_t bytes);

  const std::uint64_t m_serial = nextAssemblySerial();
  std::mutex m_lock;  // guards m_chunks
  std::vector<void*> m_chunks;
};

// Allocator over an arena, held through `Ref`: a plain pointer for the entries of a row, whose
// owner keeps the arena alive, or a shared pointer for std::allocate_shared of the row itself,
// so that the row's control block holds a share of the arena and the row stays valid wherever
// it is moved, also after the buffer that made it is gone.
template <class T, class Ref>
class ArenaAllocator {
 public:
  using value_type = T;

  explicit ArenaAllocator(Ref arena) : m_arena(std::move(arena)) {}
  template <class U>
  ArenaAllocator(const ArenaAllocator<U, Ref>& other) : m_arena(other.arena()) {}

  T* allocate(std::size_t n) { return static_cast<T*>(m_arena->allocate(n * sizeof(T), alignof(T))); }
  void deallocate(T* p, std::size_t n) { m_arena->deallocate(p, n * sizeof(T), alignof(T)); }
  const Ref& arena() const { return m_arena; }

  template <class U>
  bool operator==(const ArenaAllocator<U, Ref>& other) const { return m_arena == other.arena(); }
  template <class U>
  bool operator!=(const ArenaAllocator<U, Ref>& other) const { return m_arena != other.arena(); }

 private:
  Ref m_arena;
};

}  // namespace velmo
