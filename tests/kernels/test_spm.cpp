#include <omp.h>

#include <cmath>
#include <limits>
#include <vector>

#include "TestHelpers.h"
#include "kernels/spm/spm.h"

namespace {

using spm::chunkBounds;

TEST(ChunkRule, LongerChunksComeFirstAndTileTheRange) {
  long start, count;
  std::vector<std::pair<long, long>> chunks;
  for (long k = 0; k < 3; ++k) {
    chunkBounds(7, 3, k, start, count);
    chunks.emplace_back(start, count);
  }
  EXPECT_EQ(chunks, (std::vector<std::pair<long, long>>{{0, 3}, {3, 2}, {5, 2}}));

  // The GPU reduction cuts 1000 elements into 256 chunks: 232 of four, 24 of three.
  long fours = 0, threes = 0, next = 0;
  for (long k = 0; k < 256; ++k) {
    chunkBounds(1000, 256, k, start, count);
    EXPECT_EQ(start, next);
    next += count;
    (count == 4 ? fours : threes) += 1;
  }
  EXPECT_EQ(next, 1000);
  EXPECT_EQ(fours, 232);
  EXPECT_EQ(threes, 24);
}

TEST(ParallelFor, ChunkKRunsOnThreadKInAscendingOrder) {
  const int threads = 4;
  const long n = 10007;
  spm::OpenMP space(threads);
  std::vector<int> owner(n, -1);
  std::vector<long> order;
  spm::parallel_for(spm::RangePolicy<spm::OpenMP>(space, 0, n), [&](long i) {
    owner[i] = omp_get_thread_num();
  });
  for (int k = 0; k < threads; ++k) {
    long start, count;
    chunkBounds(n, threads, k, start, count);
    for (long i = start; i < start + count; ++i) ASSERT_EQ(owner[i], k) << "index " << i;
  }
  // Fewer elements than threads: one element a chunk, run in order on the caller.
  spm::parallel_for(spm::RangePolicy<spm::OpenMP>(space, 5, 8), [&](long i) { order.push_back(i); });
  EXPECT_EQ(order, (std::vector<long>{5, 6, 7}));
  spm::parallel_for(spm::RangePolicy<spm::OpenMP>(space, 3, 3), [&](long) { FAIL(); });
}

double chunkedSum(const std::vector<double>& x, int chunks) {
  double result = 0;
  for (int k = 0; k < chunks; ++k) {
    long start, count;
    chunkBounds(long(x.size()), chunks, k, start, count);
    double partial = 0;
    for (long i = start; i < start + count; ++i) partial += x[i];
    result = k == 0 ? partial : result + partial;
  }
  return result;
}

double teamSum(const std::vector<double>& x, int threads) {
  spm::OpenMP space(threads);
  double result = -1;
  spm::Sum<double, spm::OpenMP> sum(&result);
  const double* p = x.data();
  spm::parallel_reduce(spm::RangePolicy<spm::OpenMP>(space, 0, long(x.size())),
                       [=](long i, double& acc) { acc += p[i]; }, sum);
  return result;
}

TEST(ParallelReduce, SumIsBitIdenticalToTheChunksRunInSequence) {
  std::vector<double> x(10'000'000);
  for (size_t i = 0; i < x.size(); ++i) x[i] = std::sin(double(i)) * 1e-3 + 1.0 / double(i + 1);
  for (int threads : {1, 2, 3, 8}) {
    double team = teamSum(x, threads);
    EXPECT_EQ(team, chunkedSum(x, threads)) << threads << " threads";
    EXPECT_EQ(team, teamSum(x, threads)) << "repeat with " << threads << " threads";
  }
}

TEST(ParallelReduce, EmptyRangeGivesTheInitialValue) {
  spm::OpenMP space(2);
  double sum = 42, max = 42;
  spm::Sum<double, spm::OpenMP> s(&sum);
  spm::Max<double, spm::OpenMP> m(&max);
  auto body = [](long, double& acc) { acc += 1; };
  spm::parallel_reduce(spm::RangePolicy<spm::OpenMP>(space, 0, 0), body, s);
  spm::parallel_reduce(spm::RangePolicy<spm::OpenMP>(space, 4, 2), body, m);
  EXPECT_EQ(sum, 0.0);
  EXPECT_EQ(max, std::numeric_limits<double>::lowest());
}

TEST(Reducers, MaxJoinTakesTheNewerValueWhenUnordered) {
  using M = spm::Max<double, spm::OpenMP>;
  double nan = std::nan("");
  double a = 3;
  M::join(a, nan);
  EXPECT_TRUE(std::isnan(a));
  a = nan;
  M::join(a, 2.0);
  EXPECT_EQ(a, 2.0);
  a = 5;
  M::join(a, 2.0);
  EXPECT_EQ(a, 5.0);
}

TEST(SpmLifecycle, InitializeAndFinalizeToggleTheFlag) {
  bool before = spm::is_initialized();
  spm::finalize();
  EXPECT_FALSE(spm::is_initialized());
  spm::initialize(0, nullptr);
  EXPECT_TRUE(spm::is_initialized());
  if (!before) spm::finalize();
}

}  // namespace
