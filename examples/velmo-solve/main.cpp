// velmo-solve: solves one linear system described by a JSON object.
//
//   velmo-solve [CONFIG.json]
//
// Without an argument it solves the built-in default, the 3-D Poisson problem on a 64^3
// grid by PCG with smoothed-aggregation multigrid. Exit codes: 0 converged, 2 bad input, 3 the solve ended without reaching
// its tolerance, 4 the problem does not fit in this machine's memory.
#include <glog/logging.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include <velmo/Version.h>

#include "ConfigCheck.h"
#include "HierarchyReport.h"
#include "MatrixMarketMode.h"
#include "ProblemSize.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "operators/ParOperator.h"
#include "utils/Device.h"
#include "utils/TestCase.h"

namespace {

using namespace velmo;
using driver::InputError;

constexpr int kExitBadInput = 2;
constexpr int kExitNotConverged = 3;
constexpr int kExitOutOfMemory = 4;

const char* kDefaultConfig = R"({
  "testcase_type": "PoissonFDM",
  "PoissonFDM_params": { "dim": 3, "N": 64 },
  "solver_type": "SolverPCG",
  "SolverPCG_params": { "rtol": 1e-8, "max_its": 1000 },
  "preconditioner_type": "PrecondAMG",
  "PrecondAMG_params": {
    "min_coarse_size": 200,
    "pre_smoother": { "smoother_type": "SmootherJacobi", "SmootherJacobi_params": { "relax": 0.86, "nsweeps": 1 } },
    "post_smoother": { "smoother_type": "SmootherJacobi", "SmootherJacobi_params": { "relax": 0.86, "nsweeps": 1 } },
    "level_transfer": { "level_transfer_type": "LevelTransferSmoothAggregation",
                        "LevelTransferSmoothAggregation_params": { "eps_strong": 0.02, "relax": 1.2 } },
    "coarse_solver": { "solver_type": "SolverGauss" }
  }
})";

json readConfig(int argc, char** argv) {
  if (argc > 2) throw InputError("usage: velmo-solve [CONFIG.json]");
  if (argc < 2) return json::parse(kDefaultConfig);
  std::ifstream in(argv[1]);
  if (!in) throw InputError(std::string(argv[1]) + ": cannot open the configuration file");
  std::stringstream text;
  text << in.rdbuf();
  try {
    return json::parse(text.str());
  } catch (const json::parse_error& e) {
    throw InputError(std::string(argv[1]) + ": not valid JSON: " + e.what());
  }
}

// The configuration in effect: the given top level, with the block of each class chosen as its
// object reports it; blocks of classes not chosen are left out. The test case is described from
// a probe made from the given block, since the library may read copies of Matrix Market files
// under other names, and the names given are the ones to show.
template <class Value>
json effectiveConfig(const json& config, const ParSolverT<Value, long, int>& solver,
                     const ParPreconditionerT<Value, long, int>* preconditioner) {
  const std::string suffix = "_params";
  json effective = json::object();
  for (auto it = config.begin(); it != config.end(); ++it) {
    const std::string& key = it.key();
    if (key.size() <= suffix.size() || key.compare(key.size() - suffix.size(), suffix.size(), suffix) != 0)
      effective[key] = *it;
  }
  effective.update(TestCaseT<Value, long, int>::getFactory().describe(config));
  effective.update(solver.getFactory().describe(config, solver));
  if (preconditioner != nullptr) effective.update(preconditioner->getFactory().describe(config, *preconditioner));
  return effective;
}

double seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

template <class Value>
int run(const json& config) {
  using ParCSRMatrix = ParCSRMatrixT<Value, long, int>;
  using ParMatrix = ParMatrixT<Value, long, int>;
  using Solver = ParSolverT<Value, long, int>;
  using Preconditioner = ParPreconditionerT<Value, long, int>;
  using TestCase = TestCaseT<Value, long, int>;

  driver::CheckedProblem problem = driver::checkConfig<Value>(config);

  // Opened before the solve, so that a name that cannot be written fails early.
  const std::string outputPath = config.value("output_x", std::string());
  std::ofstream output;
  if (!outputPath.empty()) {
    output.open(outputPath);
    if (!output) throw InputError(outputPath + ": cannot write the solution: " + std::strerror(errno));
  }

  auto solver = Solver::getFactory().createInstance(config);
  std::shared_ptr<Preconditioner> M;
  if (config.contains("preconditioner_type")) M = Preconditioner::getFactory().createInstance(config);
  std::printf("configuration:\n%s\n", effectiveConfig<Value>(config, *solver, M.get()).dump(2).c_str());

  ParCSRMatrix A;
  ParMatrix x, b;
  {
    driver::MatrixMarketMode mode(problem.files && problem.files->strict());
    TestCase::getFactory().createInstance(problem.config)->generate(A, x, b);
  }
  // Nothing here walks or extends the assembled entries: their buffers would only hold memory.
  A.releaseAssembly();
  b.releaseAssembly();
  if (problem.files) problem.files->checkLoaded(long(A.getRows()), A.getNnzs(), long(b.getRows()), long(x.getRows()));
  std::printf("problem: %ld rows, %ld nonzeros, device %s%s\n", long(A.getRows()), A.getNnzs(),
              A.getDevice().toString().c_str(), problem.files ? problem.files->note().c_str() : "");
  std::fflush(stdout);

  auto setupStart = std::chrono::steady_clock::now();
  if (M) {
    M->setup(A);
    solver->setPreconditioner(M);
  }
  solver->setup(A);
  double setupTime = seconds(setupStart);
  driver::reportHierarchy<Value>(solver.get(), M.get());

  int iterations = 0;
  double reported = 0;
  auto solveStart = std::chrono::steady_clock::now();
  solver->solve(A, b, x, iterations, reported);
  double solveTime = seconds(solveStart);
  std::fflush(stdout);

  double normB = ParMatrix::normL2(b);
  double trueResidual = normB > 0 ? ParMatrix::residual(A, x, b) / normB : 0.0;
  bool converged = solver->converged();
  std::printf("setup time:          %.3f s\n", setupTime);
  std::printf("solve time:          %.3f s\n", solveTime);
  std::printf("iterations:          %d\n", iterations);
  std::printf("reported residual:   %.6e\n", reported);
  std::printf("true residual:       %.6e  (||b - A x|| / ||b||)\n", trueResidual);
  std::printf("converged:           %s\n", converged ? "yes" : "no");

  if (output.is_open()) {
    {
      driver::MatrixMarketMode mode(config.value("output_format", std::string("standard")) == "standard");
      x.getLocalMatrix().toDevice(Device(0, 0)).saveToStream(output, 17);
    }
    errno = 0;
    output.close();
    if (output.fail()) {
      throw InputError(outputPath + ": writing the solution failed: " + std::strerror(errno ? errno : EIO));
    }
    std::printf("solution written to %s\n", outputPath.c_str());
  }
  return converged ? 0 : kExitNotConverged;
}

}  // namespace

int main(int argc, char** argv) {
  // Line-buffered, so that progress and errors interleave in order when piped.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  // The library's progress log stays quiet unless GLOG_minloglevel asks for it.
  FLAGS_logtostderr = true;
  if (std::getenv("GLOG_minloglevel") == nullptr) FLAGS_minloglevel = google::GLOG_WARNING;
  google::InitGoogleLogging("velmo");
  std::printf("velmo-solve %s, backends: %s\n", VELMO_VERSION_STRING, VELMO_BACKENDS_STRING);
  int rc = kExitBadInput;
  Device::initialize();
  try {
    json config = readConfig(argc, argv);
    rc = driver::valueTypeOf(config) == "complex" ? run<Complex<double>>(config) : run<double>(config);
  } catch (const driver::MemoryError& e) {
    std::fprintf(stderr, "velmo-solve: out of memory: %s\n", e.what());
    rc = kExitOutOfMemory;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "velmo-solve: out of memory\n");
    rc = kExitOutOfMemory;
  } catch (const InputError& e) {
    std::fprintf(stderr, "velmo-solve: %s\n", e.what());
  } catch (const json::exception& e) {
    std::fprintf(stderr, "velmo-solve: bad configuration: %s\n", e.what());
  }
  Device::finalize();
  return rc;
}
