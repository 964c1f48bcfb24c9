#pragma once

#include <algorithm>
#include <chrono>

namespace velmo::bench {

// The best of `repeats` runs, in seconds: the least disturbed measure of a short call. It runs
// once at least, since callers read what the call leaves behind.
template <class Fn>
double bestSeconds(int repeats, Fn&& fn) {
  double best = 1e30;
  for (int r = 0; r < std::max(1, repeats); ++r) {
    const auto t0 = std::chrono::steady_clock::now();
    fn();
    const auto t1 = std::chrono::steady_clock::now();
    best = std::min(best, std::chrono::duration<double>(t1 - t0).count());
  }
  return best;
}

}  // namespace velmo::bench
