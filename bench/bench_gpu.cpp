// The kernels on the first GPU against that GPU's own copy bandwidth, measured in the same run.
//   velmo-bench-gpu [N] [repeats]
// The baseline is a device-to-device copy of a vector of N^3 doubles (Device::rawCopyTo),
// which reads and writes each element once. A kernel's ratio is the bandwidth it reaches on the
// bytes it must move over the baseline's (1.0 = copy speed). The product is the 3-D Poisson
// matrix on N points an axis (default 100); the PCG lines give one iteration in units of that
// product, where every launch's synchronisation shows.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "kernels/BlasOps.h"
#include "mat/ParCSRMatrix.h"
#include "operators/ParOperator.h"
#include "utils/Factory.h"

namespace {

using Matrix = velmo::ParCSRMatrixT<double, long, int>;
using Vector = velmo::ParMatrixT<double, long, int>;

// Seconds per PCG iteration to 1e-8 from zero with the named preconditioner, setup excluded.
double pcgIteration(Matrix& A, const Vector& b, const char* precond, int repeats, int& iterations) {
  auto solver = velmo::ParSolverT<double, long, int>::getFactory().createInstance(
      {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"rtol", 1e-8}, {"max_its", 2000}}}});
  auto M = velmo::ParPreconditionerT<double, long, int>::getFactory().createInstance(
      {{"preconditioner_type", precond}});
  M->setup(A);
  solver->setup(A);
  const double seconds = velmo::bench::bestSeconds(repeats, [&] {
    Vector x(A.getRows(), A.getDevice(), A.getComm());
    x.fill(0);
    double res = 0;
    solver->solve(*M, A, b, x, iterations, res);
  });
  return seconds / iterations;
}

}  // namespace

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const int n = int(session.arg(1, 100));
  const int repeats = int(session.arg(2, 10));
  if (velmo::Device::getAllDevices().size() < 2) {
    std::printf("no GPU here: nothing to measure\n");
    return 0;
  }
  velmo::Device gpu(1, 0);

  Matrix hostA;
  Vector hostX, hostB;
  velmo::bench::poisson(3, n, hostA, hostX, hostB);
  Matrix A = hostA.toDevice(gpu);
  const Vector b = hostB.toDevice(gpu);
  const long rows = A.getRows();
  Vector x(rows, gpu, A.getComm()), y(rows, gpu, A.getComm());
  x.fill(1);
  y.fill(2);
  double* px = x.getLocalMatrix().getData();
  double* py = y.getLocalMatrix().getData();
  const double bytes = double(rows) * sizeof(double);

  // A device-to-device copy returns before it ends; the copy of one value to the host after a
  // run of them waits for all, and costs little against the run.
  constexpr int kCopies = 20;
  velmo::Device host(0, 0);
  double last = 0;
  const double copy = velmo::bench::bestSeconds(repeats, [&] {
    for (int k = 0; k < kCopies; ++k) gpu.rawCopyTo(size_t(bytes), px, gpu, py);
    gpu.rawCopyTo(sizeof(double), py, host, &last);
  }) / kCopies;
  using Blas = velmo::BlasOps<double, long>;
  const double axpy = velmo::bench::bestSeconds(repeats, [&] { Blas::axpy(gpu, rows, 0.5, px, py); });
  double sum = 0;
  const double dot = velmo::bench::bestSeconds(repeats, [&] { sum += Blas::dot(gpu, rows, px, py); });
  const double spmv = velmo::bench::bestSeconds(repeats, [&] { A.matVec(x, y); });
  const double spmvBytes = double(A.getNnzs()) * (sizeof(int) + sizeof(double)) + double(rows + 1) * sizeof(int) +
                           2 * bytes;
  int plainIts = 0, jacobiIts = 0;
  const double plain = pcgIteration(A, b, "PrecondIdentity", repeats, plainIts);
  const double jacobi = pcgIteration(A, b, "PrecondJacobi", repeats, jacobiIts);

  const double base = 2 * bytes / copy;
  std::printf("GPU %s, rows %ld, nnz %ld, copy %.1f GB/s\n", gpu.toString().c_str(), rows, A.getNnzs(), 1e-9 * base);
  std::printf("%-10s %10s %8s\n", "kernel", "GB/s", "ratio");
  std::printf("%-10s %10.1f %8.2f\n", "axpy", 3e-9 * bytes / axpy, 3 * bytes / axpy / base);
  std::printf("%-10s %10.1f %8.2f\n", "dot", 2e-9 * bytes / dot, 2 * bytes / dot / base);
  std::printf("%-10s %10.1f %8.2f\n", "SpMV", 1e-9 * spmvBytes / spmv, spmvBytes / spmv / base);
  std::printf("PCG iteration / SpMV:  %.1f plain (%d iterations), %.1f with PrecondJacobi (%d)\n", plain / spmv,
              plainIts, jacobi / spmv, jacobiIts);
  return sum + last == -1.0;  // keeps the results alive
}
