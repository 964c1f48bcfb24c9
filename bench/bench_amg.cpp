// PCG with smoothed-aggregation multigrid, in units of the fine-level product, so that the
// figures mean the same on any machine.
//   velmo-bench-amg [N] [repeats]
// A is the 3-D Poisson matrix on N points an axis (N^3 rows). Printed: setup (hierarchy,
// transfers, Galerkin products) and one PCG iteration (cycle included) in fine-level SpMV
// times, the iteration count to 1e-8, and the hierarchy's memory (all levels but the fine
// matrix) over the fine matrix's.
#include <glog/logging.h>
#include <omp.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"
#include "precond/ParPreconditionerAMG.h"
#include "utils/Factory.h"
#include "utils/TestCasePoissonFDM.h"

namespace {

using Matrix = velmo::ParCSRMatrixT<double, long, int>;
using Vector = velmo::ParMatrixT<double, long, int>;
using AMG = velmo::ParPreconditionerAMG_T<double, long, int>;

double bytes(const Matrix& m) { return double(m.getNnzs()) * 12.0 + double(m.getRows() + 1) * 4.0; }

const velmo::json kAmg = {
    {"min_coarse_size", 200},
    {"pre_smoother", {{"smoother_type", "SmootherJacobi"}, {"SmootherJacobi_params", {{"relax", 0.67}, {"nsweeps", 2}}}}},
    {"post_smoother", {{"smoother_type", "SmootherJacobi"}, {"SmootherJacobi_params", {{"relax", 0.67}, {"nsweeps", 2}}}}},
    {"level_transfer",
     {{"level_transfer_type", "LevelTransferSmoothAggregation"},
      {"LevelTransferSmoothAggregation_params", {{"eps_strong", 0.02}}}}},
    {"coarse_solver", {{"solver_type", "SolverGauss"}}}};

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 100;
  const int repeats = argc > 2 ? std::atoi(argv[2]) : 3;
  FLAGS_minloglevel = google::GLOG_WARNING;
  google::InitGoogleLogging(argv[0]);
  velmo::Device::initialize();
  {
    velmo::PoissonFDM_T<double, long, int> poisson;
    poisson.create({{"dim", 3}, {"N", n}});
    Matrix A;
    Vector x0, b;
    poisson.generate(A, x0, b);

    Vector y(A.getRows(), A.getDevice(), A.getComm());
    const double spmv = velmo::bench::bestSeconds(repeats * 10, [&] { A.matVec(b, y); });

    std::shared_ptr<AMG> amg;
    const double setup = velmo::bench::bestSeconds(repeats, [&] {
      amg = std::make_shared<AMG>();
      amg->create(kAmg);
      amg->setup(A);
    });

    auto solver = velmo::ParSolverT<double, long, int>::getFactory().createInstance(
        {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"rtol", 1e-8}, {"max_its", 200}}}});
    solver->setup(A);
    int iterations = 0;
    const double solve = velmo::bench::bestSeconds(repeats, [&] {
      Vector x(A.getRows(), A.getDevice(), A.getComm());
      x.fill(0);
      double res = 0;
      solver->solve(*amg, A, b, x, iterations, res);
    });

    double hierarchy = 0;
    const auto& levels = amg->getLevels();
    for (size_t i = 0; i < levels.size(); ++i)
      hierarchy += (i > 0 ? bytes(levels[i].A) : 0.0) + bytes(levels[i].P) + bytes(levels[i].R);

    std::printf("threads %d, rows %ld, nnz %ld, levels %zu, converged %s\n", omp_get_max_threads(),
                long(A.getRows()), A.getNnzs(), levels.size(), solver->converged() ? "yes" : "no");
    std::printf("fine-level SpMV:             %.5f s\n", spmv);
    std::printf("setup / SpMV:                %.1f   (goal <= 150)\n", setup / spmv);
    std::printf("PCG iteration / SpMV:        %.2f   (goal <= 10)\n", solve / iterations / spmv);
    std::printf("iterations:                  %d     (goal <= 20)\n", iterations);
    std::printf("hierarchy / fine matrix:     %.2f   (goal <= 1.5)\n", hierarchy / bytes(A));
  }
  velmo::Device::finalize();
  return 0;
}
