#pragma once

#include <cstddef>

namespace velmo {

// Asks the kernel to back a large host block with transparent huge pages. First-touch page
// faults dominate the cost of fresh multi-megabyte arrays (setup products, assembly), and a
// huge page takes one fault where small pages take 512. Only a hint: without kernel support,
// or for blocks below a few huge pages, it does nothing, and the contents are never affected.
void adviseHugePages(void* block, size_t bytes);

}  // namespace velmo
