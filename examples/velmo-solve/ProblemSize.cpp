#include "ProblemSize.h"

#include <unistd.h>

#include <cstdio>

namespace velmo::driver {

namespace {

// Measured peaks of generating or loading a system and solving it with multigrid: the
// assembly buffer's per-entry hash nodes dominate, then the per-row maps and the vectors.
constexpr double kBytesPerEntry = 140;
constexpr double kBytesPerRow = 200;

std::string gib(double bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f GiB", bytes / double(1L << 30));
  return text;
}

}  // namespace

void checkMemory(long rows, long entries, long valueBytes, const std::string& what) {
  const double perEntry = kBytesPerEntry + 2.0 * double(valueBytes);
  const double needed = double(entries) * perEntry + double(rows) * (kBytesPerRow + 4.0 * double(valueBytes));
  const double physical = double(sysconf(_SC_PHYS_PAGES)) * double(sysconf(_SC_PAGESIZE));
  if (needed > physical) {
    throw MemoryError(what + ": " + std::to_string(rows) + " rows and " + std::to_string(entries) +
                      " entries need about " + gib(needed) + ", more than the " + gib(physical) +
                      " of memory here");
  }
}

}  // namespace velmo::driver
