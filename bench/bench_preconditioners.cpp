// Cost of one PCG iteration with a preconditioner, over the cost with none.
//   velmo-bench-preconditioners [N] [repeats]
// A is the 3-D Poisson matrix on N points an axis (N^3 rows). Each line prints the seconds per
// iteration and its ratio to PCG with "PrecondIdentity", measured in the same run.
#include <omp.h>

#include <cstdio>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"
#include "operators/ParOperator.h"
#include "utils/Factory.h"

namespace {

using Matrix = velmo::ParCSRMatrixT<double, long, int>;
using Vector = velmo::ParMatrixT<double, long, int>;
using Solver = velmo::ParSolverT<double, long, int>;
using Preconditioner = velmo::ParPreconditionerT<double, long, int>;

struct PerIteration {
  double seconds;
  int iterations;
};

// PCG to 1e-8 from zero, setup excluded; the best of `repeats` solves.
PerIteration timeSolve(Matrix& A, const Vector& b, const velmo::json& precond, int repeats) {
  auto solver = Solver::getFactory().createInstance(
      {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"rtol", 1e-8}, {"max_its", 2000}}}});
  std::shared_ptr<Preconditioner> M = Preconditioner::getFactory().createInstance(precond);
  M->setup(A);
  solver->setup(A);
  int iterations = 0;
  const double seconds = velmo::bench::bestSeconds(repeats, [&] {
    Vector x(A.getRows(), A.getDevice(), A.getComm());
    x.fill(0);
    double res = 0;
    solver->solve(*M, A, b, x, iterations, res);
  });
  return {seconds / iterations, iterations};
}

}  // namespace

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const int n = int(session.arg(1, 100));
  const int repeats = int(session.arg(2, 3));
  {
    Matrix A;
    Vector x, b;
    velmo::bench::poisson(3, n, A, x, b);

    const PerIteration identity = timeSolve(A, b, {{"preconditioner_type", "PrecondIdentity"}}, repeats);
    const PerIteration jacobi = timeSolve(A, b, {{"preconditioner_type", "PrecondJacobi"}}, repeats);
    const PerIteration sor = timeSolve(
        A, b, {{"preconditioner_type", "PrecondSOR"}, {"PrecondSOR_params", {{"nsweeps", 1}}}}, repeats);

    std::printf("threads %d, rows %ld, nnz %ld\n", omp_get_max_threads(), long(A.getRows()), A.getNnzs());
    std::printf("%-24s %10s %12s %8s\n", "preconditioner", "iterations", "s/iteration", "ratio");
    const auto line = [&](const char* name, const PerIteration& p) {
      std::printf("%-24s %10d %12.5f %8.3f\n", name, p.iterations, p.seconds, p.seconds / identity.seconds);
    };
    line("PrecondIdentity", identity);
    line("PrecondJacobi", jacobi);
    line("PrecondSOR, 1 sweep", sor);
  }
  return 0;
}
