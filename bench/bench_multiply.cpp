// Distributed sparse product against the product of its local block alone.
//   velmo-bench-multiply [N] [repeats]
// A is the 3-D Poisson matrix on N points an axis (N^3 rows). The ratio printed is the
// distributed time over the local time: 1.0 means the distributed layer adds bookkeeping
// only, no pass over the data.
#include <glog/logging.h>
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"
#include "utils/TestCasePoissonFDM.h"

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 100;
  const int repeats = argc > 2 ? std::atoi(argv[2]) : 3;
  FLAGS_minloglevel = google::GLOG_WARNING;
  google::InitGoogleLogging(argv[0]);
  velmo::Device::initialize();
  {
    using Matrix = velmo::ParCSRMatrixT<double, long, int>;
    velmo::PoissonFDM_T<double, long, int> poisson;
    poisson.create({{"dim", 3}, {"N", n}});
    Matrix A;
    velmo::ParMatrixT<double, long, int> x, b;
    poisson.generate(A, x, b);
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
  velmo::Device::finalize();
  return 0;
}
