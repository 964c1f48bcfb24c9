// Assembly of the 3-D Poisson problem against a plain loop that builds the same arrays.
//   velmo-bench-assembly [N] [repeats]
// PoissonFDM generates A, x and b through setValue and endAssemble; the plain loop writes the
// same compressed rows, x and b straight into fresh arrays on one thread. Printed: the best
// time of each and their ratio, and the peak resident memory of this process (getrusage)
// through the first generation, over the bytes of A's arrays and of x and b. The generation
// runs first, in a fresh process, as in the driver.
#include <glog/logging.h>
#include <omp.h>
#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <nlohmann/json.hpp>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"
#include "utils/TestCasePoissonFDM.h"

namespace {

using Matrix = velmo::ParCSRMatrixT<double, long, int>;
using Vector = velmo::ParMatrixT<double, long, int>;

// The generated system written directly: rows in ascending column order, the values and
// vectors computed as PoissonFDM computes them.
struct PlainSystem {
  long rows = 0;
  std::unique_ptr<int[]> rowPtr, colIdx;
  std::unique_ptr<double[]> values, x, b;

  explicit PlainSystem(long n) : rows(n * n * n) {
    const long plane = n * n;
    const double h = 1.0 / double(n - 1);
    const double i2 = 1.0 / (h * h);
    rowPtr.reset(new int[rows + 1]);
    colIdx.reset(new int[7 * rows]);
    values.reset(new double[7 * rows]);
    x.reset(new double[rows]);
    b.reset(new double[rows]);
    int nnz = 0;
    rowPtr[0] = 0;
    for (long i = 0; i < rows; ++i) {
      const long k = i / plane, j = (i - k * plane) / n, c = i - k * plane - j * n;
      auto put = [&](long col, double v) {
        colIdx[nnz] = int(col);
        values[nnz++] = v;
      };
      if (k > 0) put(i - plane, -i2);
      if (j > 0) put(i - n, -i2);
      if (c > 0) put(i - 1, -i2);
      put(i, 2 * i2 + 2 * i2 + 2 * i2);
      if (c < n - 1) put(i + 1, -i2);
      if (j < n - 1) put(i + n, -i2);
      if (k < n - 1) put(i + plane, -i2);
      rowPtr[i + 1] = nnz;
      const double s = std::sin(M_PI * double(c) * h) * std::sin(M_PI * double(j) * h) * std::sin(M_PI * double(k) * h);
      b[i] = s;
      x[i] = s * 0.05066059182116889;
    }
  }
};

template <class T>
bool sameBits(const T* a, const T* b, long n) {
  return std::memcmp(a, b, sizeof(T) * size_t(n)) == 0;
}

bool sameSystem(const PlainSystem& plain, const Matrix& A, const Vector& x, const Vector& b) {
  const Matrix::LocalMatrix local = A.getLocalMatrix();
  const long nnz = plain.rowPtr[plain.rows];
  return local.getRows() == plain.rows && local.getNnzs() == nnz &&
         sameBits(local.getRowPtr(), plain.rowPtr.get(), plain.rows + 1) &&
         sameBits(local.getColIdx(), plain.colIdx.get(), nnz) && sameBits(local.getValues(), plain.values.get(), nnz) &&
         sameBits(x.getLocalMatrix().getData(), plain.x.get(), plain.rows) &&
         sameBits(b.getLocalMatrix().getData(), plain.b.get(), plain.rows);
}

double peakResidentBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) * 1024.0;
}

}  // namespace

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const int n = int(session.arg(1, 100));
  const int repeats = int(session.arg(2, 3));
  {
    velmo::PoissonFDM_T<double, long, int> poisson;
    poisson.create({{"dim", 3}, {"N", n}});
    Matrix A;
    Vector x, b;
    double generation = velmo::bench::bestSeconds(1, [&] { poisson.generate(A, x, b); });
    const double peak = peakResidentBytes();
    A.releaseAssembly();
    b.releaseAssembly();
    const long rows = long(A.getRows());
    const double systemBytes = double(sizeof(int)) * double(rows + 1) +
                               double(sizeof(int) + sizeof(double)) * double(A.getNnzs()) +
                               2.0 * double(sizeof(double)) * double(rows);

    bool same = false;
    const double plain = velmo::bench::bestSeconds(repeats, [&] {
      PlainSystem system(n);
      same = sameSystem(system, A, x, b);
    });
    generation = std::min(generation, velmo::bench::bestSeconds(repeats - 1, [&] {
                            Matrix A2;
                            Vector x2, b2;
                            poisson.generate(A2, x2, b2);
                          }));

    std::printf("threads %d, rows %ld, nnz %ld, same arrays as the plain loop: %s\n", omp_get_max_threads(), rows,
                A.getNnzs(), same ? "yes" : "no");
    std::printf("%-28s %10s\n", "", "value");
    std::printf("%-28s %10.3f\n", "plain loop, s", plain);
    std::printf("%-28s %10.3f\n", "generation, s", generation);
    std::printf("%-28s %10.2f\n", "time ratio", generation / plain);
    std::printf("%-28s %10.1f\n", "A, x and b, MiB", systemBytes / 1048576.0);
    std::printf("%-28s %10.1f\n", "peak resident, MiB", peak / 1048576.0);
    std::printf("%-28s %10.2f\n", "memory ratio", peak / systemBytes);
  }
  return 0;
}
