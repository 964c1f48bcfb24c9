#include <cmath>
#include <limits>
#include <vector>

#include "TestHelpers.h"
#include "kernels/spm/spm.h"

namespace spm_test {

using Policy = spm::RangePolicy<spm::OpenMP>;

std::pair<long, long> chunk(long n, long c, long k) {
  long start, count;
  spm::chunkBounds(n, c, k, start, count);
  return {start, count};
}

TEST(ChunkRule, LongerChunksComeFirst) {
  EXPECT_EQ(chunk(7, 3, 0), std::make_pair(0L, 3L));
  EXPECT_EQ(chunk(7, 3, 1), std::make_pair(3L, 2L));
  EXPECT_EQ(chunk(7, 3, 2), std::make_pair(5L, 2L));
  // The GPU reduction's 256 partials over 1000 elements: 232 of four, then three each.
  EXPECT_EQ(chunk(1000, 256, 231), std::make_pair(924L, 4L));
  EXPECT_EQ(chunk(1000, 256, 232), std::make_pair(928L, 3L));
}

TEST(ParallelFor, EveryIndexOnceAndChunksInOrder) {
  spm::OpenMP space(3);
  // Large enough for a thread team.
  std::vector<int> visits(10007, 0);
  spm::parallel_for(Policy(space, 0, long(visits.size())), [&](long i) { ++visits[i]; });
  EXPECT_EQ(visits, std::vector<int>(visits.size(), 1));
  // Fewer elements than threads: one element a chunk, run in order.
  std::vector<long> order;
  spm::parallel_for(Policy(space, 5, 7), [&](long i) { order.push_back(i); });
  EXPECT_EQ(order, (std::vector<long>{5, 6}));
  spm::parallel_for(Policy(space, 3, 3), [&](long) { FAIL(); });
}

double chunkedSum(const std::vector<double>& x, int chunks) {
  double result = 0;
  for (int k = 0; k < chunks; ++k) {
    auto [start, count] = chunk(long(x.size()), chunks, k);
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
  spm::parallel_reduce(Policy(space, 0, long(x.size())), [=](long i, double& acc) { acc += p[i]; }, sum);
  return result;
}

// Partials per chunk, joined in chunk order: the bits depend on the thread count alone.
TEST(ParallelReduce, SumIsBitIdenticalToTheChunksRunInSequence) {
  std::vector<double> x(1'000'000);
  for (size_t i = 0; i < x.size(); ++i) x[i] = std::sin(double(i)) * 1e-3 + 1.0 / double(i + 1);
  for (int threads : {1, 3, 100}) {
    const double team = teamSum(x, threads);
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
  spm::parallel_reduce(Policy(space, 0, 0), body, s);
  spm::parallel_reduce(Policy(space, 4, 2), body, m);
  EXPECT_EQ(sum, 0.0);
  EXPECT_EQ(max, std::numeric_limits<double>::lowest());
}

TEST(Reducers, MaxJoinTakesTheNewerValueWhenUnordered) {
  using M = spm::Max<double, spm::OpenMP>;
  double a = 3;
  M::join(a, std::nan(""));
  EXPECT_TRUE(std::isnan(a));
  M::join(a, 2.0);
  EXPECT_EQ(a, 2.0);
  M::join(a, 1.0);
  EXPECT_EQ(a, 2.0);
}

}  // namespace spm_test
