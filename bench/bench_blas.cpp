// Vector kernels against the machine's memory bandwidth, measured in the same run.
//   velmo-bench-blas [elements] [repeats]
// The baseline is a plain OpenMP copy-add over the same arrays with the same team; the
// ratio printed is kernel bandwidth over baseline bandwidth (1.0 = memory speed).
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "kernels/BlasOps.h"

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const long n = session.arg(1, 20'000'000);
  const int repeats = int(session.arg(2, 10));
  velmo::Device host(0, 0);
  std::vector<double> x(n, 1.0), y(n, 2.0);
  double* px = x.data();
  double* py = y.data();

  // Baseline: y = x + y streams 3 arrays' worth of bytes, like axpy.
  double base3 = velmo::bench::bestSeconds(repeats, [&] {
#pragma omp parallel for schedule(static)
    for (long i = 0; i < n; ++i) py[i] = px[i] + py[i];
  });
  double baseSum = 0;
  double base2 = velmo::bench::bestSeconds(repeats, [&] {
    double s = 0;
#pragma omp parallel for schedule(static) reduction(+ : s)
    for (long i = 0; i < n; ++i) s += px[i] * py[i];
    baseSum += s;
  });
  double axpy = velmo::bench::bestSeconds(repeats, [&] { velmo::BlasOps<double, long>::axpy(host, n, 0.5, px, py); });
  double dotSum = 0;
  double dot = velmo::bench::bestSeconds(repeats, [&] { dotSum += velmo::BlasOps<double, long>::dot(host, n, px, py); });

  const double gb = 1e-9 * double(n) * sizeof(double);
  std::printf("threads %d, elements %ld\n", omp_get_max_threads(), n);
  std::printf("%-10s %10s %10s %8s\n", "kernel", "GB/s", "base GB/s", "ratio");
  std::printf("%-10s %10.2f %10.2f %8.2f\n", "axpy", 3 * gb / axpy, 3 * gb / base3, base3 / axpy);
  std::printf("%-10s %10.2f %10.2f %8.2f\n", "dot", 2 * gb / dot, 2 * gb / base2, base2 / dot);
  return (baseSum + dotSum) == -1.0;  // keeps the sums alive
}
