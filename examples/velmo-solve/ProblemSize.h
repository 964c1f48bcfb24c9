#pragma once

#include <climits>
#include <string>

#include "MatrixMarketCheck.h"

// Sizes the library cannot hold: it counts rows and entries of a rank in 32-bit integers, and
// it allocates as it goes, so a problem too large for the machine would fail half-way.
namespace velmo::driver {

// A problem that would not fit in this machine's memory.
struct MemoryError : InputError {
  using InputError::InputError;
};

constexpr long kMaxLocalIndex = INT_MAX;

// Throws MemoryError, its message starting with `what`, when the estimated peak of loading and
// solving a system of `rows` rows and `entries` entries exceeds the physical memory.
void checkMemory(long rows, long entries, long valueBytes, const std::string& what);

}  // namespace velmo::driver
