// Distributed sparse product against the product of its local block alone.
//   velmo-bench-multiply [N] [repeats]
// A is the 3-D Poisson matrix on N points an axis (N^3 rows). The ratio printed is the
// distributed time over the local time: 1.0 means the distributed layer adds bookkeeping
// only, no pass over the data.
#include <omp.h>

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const int n = int(session.arg(1, 100));
  const int repeats = int(session.arg(2, 3));
  {
    using Matrix = velmo::ParCSRMatrixT<double, long, int>;
    Matrix A;
    velmo::ParMatrixT<double, long, int> x, b;
    velmo::bench::poisson(3, n, A, x, b);
    const Matrix::LocalMatrix local = A.getLocalMatrix();

    long distributedNnzs = 0, localNnzs = 0;
    const double distributed = velmo::bench::bestSeconds(repeats, [&] { distributedNnzs = A.multiply(A).getNnzs(); });
    const double alone = velmo::bench::bestSeconds(repeats, [&] {
      Matrix::LocalMatrix product;
      local.multiply(local, product);
      localNnzs = product.getNnzs();
    });

    std::printf("threads %d, rows %ld, nnz A %ld, nnz A*A %ld%s\n", omp_get_max_threads(), long(A.getRows()),
                A.getNnzs(), distributedNnzs, distributedNnzs == localNnzs ? "" : " (local product differs)");
    std::printf("%-14s %10s\n", "product", "seconds");
    std::printf("%-14s %10.3f\n", "distributed", distributed);
    std::printf("%-14s %10.3f\n", "local block", alone);
    std::printf("%-14s %10.3f\n", "ratio", distributed / alone);
  }
  return 0;
}
