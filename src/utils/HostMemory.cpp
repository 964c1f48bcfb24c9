#include "utils/HostMemory.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace velmo {

void adviseHugePages(void* block, size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // A smaller block cannot hold an aligned huge page.
  constexpr size_t kMinBytes = size_t(2) << 20;
  constexpr uintptr_t kPage = 4096;
  if (block == nullptr || bytes < kMinBytes) return;
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + kPage - 1) & ~(kPage - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kPage - 1);
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  (void)block;
  (void)bytes;
#endif
}

}  // namespace velmo
