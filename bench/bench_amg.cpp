// PCG with algebraic multigrid, in units of the fine-level product, so that the figures mean
// the same on any machine.
//   velmo-bench-amg [N] [repeats] [N2]
// First smoothed aggregation on the 3-D Poisson matrix on N points an axis (N^3 rows): setup
// (hierarchy, transfers, Galerkin products) and one PCG iteration (cycle included) in
// fine-level SpMV times, the iteration count to 1e-8, and the hierarchy's memory (all levels
// but the fine matrix) over the fine matrix's. Then the 2-D Poisson matrix on N2 points an
// axis (default 1000; 0 skips it), with Ruge-Stuben coarsening beside smoothed aggregation:
// setup in SpMV times and PCG iterations of each.
#include <omp.h>

#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "BenchSession.h"
#include "BenchTiming.h"
#include "mat/ParCSRMatrix.h"
#include "precond/ParPreconditionerAMG.h"
#include "utils/Factory.h"

namespace {

using Matrix = velmo::ParCSRMatrixT<double, long, int>;
using Vector = velmo::ParMatrixT<double, long, int>;
using AMG = velmo::ParPreconditionerAMG_T<double, long, int>;

double bytes(const Matrix& m) { return double(m.getNnzs()) * 12.0 + double(m.getRows() + 1) * 4.0; }

velmo::json amgConfig(const std::string& transfer, const velmo::json& transferParams) {
  const velmo::json jacobi = {{"smoother_type", "SmootherJacobi"},
                              {"SmootherJacobi_params", {{"relax", 0.86}, {"nsweeps", 1}}}};
  return {{"min_coarse_size", 200},
          {"pre_smoother", jacobi},
          {"post_smoother", jacobi},
          {"level_transfer", {{"level_transfer_type", transfer}, {transfer + "_params", transferParams}}},
          {"coarse_solver", {{"solver_type", "SolverGauss"}}}};
}

struct Problem {
  Matrix A;
  Vector b;
  double spmv = 0;  // seconds of one fine-level product
};

Problem poisson(int dim, int n, int repeats) {
  Problem p;
  Vector x0;
  velmo::bench::poisson(dim, n, p.A, x0, p.b);
  Vector y(p.A.getRows(), p.A.getDevice(), p.A.getComm());
  p.spmv = velmo::bench::bestSeconds(repeats * 10, [&] { p.A.matVec(p.b, y); });
  return p;
}

struct Measure {
  double setup = 0;      // in fine-level SpMV times
  double iteration = 0;  // the same, per PCG iteration
  int iterations = 0;
  size_t levels = 0;
  double memory = 0;  // hierarchy over fine matrix
  bool converged = false;
};

Measure measure(const Problem& p, const velmo::json& config, int repeats) {
  Matrix A = p.A;
  std::shared_ptr<AMG> amg;
  const double setup = velmo::bench::bestSeconds(repeats, [&] {
    amg = std::make_shared<AMG>();
    amg->create(config);
    amg->setup(A);
  });

  auto solver = velmo::ParSolverT<double, long, int>::getFactory().createInstance(
      {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"rtol", 1e-8}, {"max_its", 200}}}});
  solver->setup(A);
  Measure m;
  const double solve = velmo::bench::bestSeconds(repeats, [&] {
    Vector x(A.getRows(), A.getDevice(), A.getComm());
    x.fill(0);
    double res = 0;
    solver->solve(*amg, A, p.b, x, m.iterations, res);
  });

  double hierarchy = 0;
  const auto& levels = amg->getLevels();
  for (size_t i = 0; i < levels.size(); ++i)
    hierarchy += (i > 0 ? bytes(levels[i].A) : 0.0) + bytes(levels[i].P) + bytes(levels[i].R);
  m.setup = setup / p.spmv;
  m.iteration = solve / m.iterations / p.spmv;
  m.levels = levels.size();
  m.memory = hierarchy / bytes(A);
  m.converged = solver->converged();
  return m;
}

}  // namespace

int main(int argc, char** argv) {
  const velmo::bench::Session session(argc, argv);
  const int n = int(session.arg(1, 100));
  const int repeats = int(session.arg(2, 3));
  const int n2 = int(session.arg(3, 1000));
  {
    const Problem p = poisson(3, n, repeats);
    const Measure sa =
        measure(p, amgConfig("LevelTransferSmoothAggregation", {{"eps_strong", 0.02}, {"relax", 1.2}}), repeats);
    std::printf("threads %d, 3-D rows %ld, nnz %ld, levels %zu, converged %s\n", omp_get_max_threads(),
                long(p.A.getRows()), p.A.getNnzs(), sa.levels, sa.converged ? "yes" : "no");
    std::printf("fine-level SpMV:             %.5f s\n", p.spmv);
    std::printf("setup / SpMV:                %.1f   (goal <= 150)\n", sa.setup);
    std::printf("PCG iteration / SpMV:        %.2f   (goal <= 10)\n", sa.iteration);
    std::printf("iterations:                  %d     (goal <= 20)\n", sa.iterations);
    std::printf("hierarchy / fine matrix:     %.2f   (goal <= 1.5)\n", sa.memory);
  }
  if (n2 > 0) {
    const Problem p = poisson(2, n2, repeats);
    const Measure rs = measure(p, amgConfig("LevelTransferRugeStubenSeq", velmo::json::object()), repeats);
    const Measure sa =
        measure(p, amgConfig("LevelTransferSmoothAggregation", {{"eps_strong", 0.02}, {"relax", 1.2}}), repeats);
    std::printf("2-D rows %ld, nnz %ld, fine-level SpMV %.5f s\n", long(p.A.getRows()), p.A.getNnzs(), p.spmv);
    std::printf("                             Ruge-Stuben   smoothed aggregation\n");
    std::printf("setup / SpMV:                %-13.1f %.1f\n", rs.setup, sa.setup);
    std::printf("iterations:                  %-13d %d\n", rs.iterations, sa.iterations);
    std::printf("levels:                      %-13zu %zu\n", rs.levels, sa.levels);
    std::printf("converged:                   %-13s %s\n", rs.converged ? "yes" : "no", sa.converged ? "yes" : "no");
  }
  return 0;
}
