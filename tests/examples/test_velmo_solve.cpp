#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "TestHelpers.h"

namespace velmo_solve_test {

using velmo::test::writeFile;

struct SolveRun {
  int code;
  std::string output;  // stdout and stderr together
};

SolveRun solve(const std::string& args) {
  std::string command = std::string(VELMO_SOLVE_PATH) + " " + args + " 2>&1";
  SolveRun run{-1, {}};
  FILE* pipe = popen(command.c_str(), "r");
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.output.append(buffer, n);
  int status = pclose(pipe);
  run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

double numberAfter(const std::string& text, const std::string& label) {
  std::smatch m;
  std::regex pattern(label + R"(\s+([-+0-9.eE]+))");
  if (!std::regex_search(text, m, pattern)) return -1;
  return std::stod(m[1]);
}

TEST(VelmoSolve, PoissonSolveReportsItsTrueResidual) {
  SolveRun run = solve(writeFile("p3.json", R"({"testcase_type": "PoissonFDM",
      "PoissonFDM_params": {"dim": 3, "N": 12}, "solver_type": "SolverPCG",
      "SolverPCG_params": {"rtol": 1e-8, "verbose": 1}})"));
  ASSERT_EQ(run.code, 0) << run.output;
  EXPECT_EQ(run.output.rfind("velmo-solve ", 0), 0u) << "version first";
  EXPECT_NE(run.output.find("problem: 1728 rows, 11232 nonzeros, device cpu:0"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("converged:           yes"), std::string::npos);
  double reported = numberAfter(run.output, "reported residual:");
  double trueResidual = numberAfter(run.output, "true residual:");
  // The tolerance is relative to the initial residual, which here exceeds ||b||.
  EXPECT_GT(reported, 0.0);
  EXPECT_LE(reported, 1e-7);
  EXPECT_NEAR(trueResidual, reported, 1e-9);
}

TEST(VelmoSolve, MatrixMarketInputAndSolutionOutput) {
  std::string xPath = testing::TempDir() + "x.mtx";
  SolveRun run = solve(writeFile("mm.json", std::string(R"({"testcase_type": "MatrixMarket",
      "MatrixMarket_params": {"filename_A": ")") + VELMO_SOURCE_DIR +
      R"(/examples/data/poisson2d_8.mtx"}, "solver_type": "SolverPCG",
      "SolverPCG_params": {"rtol": 1e-10}, "preconditioner_type": "PrecondIdentity",
      "output_x": ")" + xPath + "\"}"));
  ASSERT_EQ(run.code, 0) << run.output;
  EXPECT_NE(run.output.find("problem: 64 rows, 288 nonzeros"), std::string::npos) << run.output;
  std::string banner;
  std::getline(std::ifstream(xPath), banner);
  EXPECT_EQ(banner, "%%MatrixMarket matrix array real general");
}

TEST(VelmoSolve, ComplexArithmetic) {
  SolveRun run = solve(writeFile("c.json", R"({"value_type": "complex", "testcase_type": "PoissonFDM",
      "PoissonFDM_params": {"dim": 2, "N": 10}, "solver_type": "SolverPCG"})"));
  EXPECT_EQ(run.code, 0) << run.output;
  EXPECT_NE(run.output.find("converged:           yes"), std::string::npos);
}

TEST(VelmoSolve, BadInputGetsOneLineAndExitCodeTwo) {
  struct Case {
    std::string args;
    std::string message;
  };
  const std::string mm = std::string(R"({"testcase_type": "MatrixMarket", "solver_type": "SolverPCG",
      "MatrixMarket_params": {"filename_A": ")");
  const std::string badMatrix =
      writeFile("bad.mtx", "%%MatrixMarket matrix coordinate real general\n3 3 2\n1 1 1\n4 2 1\n");
  const Case cases[] = {
      {testing::TempDir() + "absent.json", "absent.json: cannot open the configuration file"},
      {writeFile("broken.json", "{\"solver_type\": "), "broken.json: not valid JSON"},
      {writeFile("array.json", "[1, 2]"), "the configuration must be a JSON object"},
      {writeFile("nosolver.json", R"({"testcase_type": "PoissonFDM"})"), "missing \"solver_type\""},
      {writeFile("nocase.json", R"({"solver_type": "SolverPCG"})"), "missing \"testcase_type\""},
      {writeFile("unknown.json", R"({"testcase_type": "PoissonFDM", "solver_type": "SolverXYZ"})"),
       "unknown solver_type \"SolverXYZ\"; registered: "},
      {writeFile("value.json", R"({"value_type": "quad", "testcase_type": "PoissonFDM", "solver_type": "SolverPCG"})"),
       "unknown value_type \"quad\""},
      {writeFile("device.json", R"({"testcase_type": "PoissonFDM", "solver_type": "SolverPCG",
          "PoissonFDM_params": {"device": "cuda:7"}})"), "device \"cuda:7\" is not available"},
      {writeFile("badmm.json", mm + badMatrix + "\"}}"), "bad.mtx:4: row 4 out of range 1..3"},
      {writeFile("type.json", R"({"testcase_type": "PoissonFDM", "solver_type": "SolverPCG",
          "PoissonFDM_params": {"dim": "three"}})"), "bad configuration: "},
      {writeFile("grid.json", R"({"testcase_type": "PoissonFDM", "solver_type": "SolverPCG",
          "PoissonFDM_params": {"N": 0}})"), "\"N\" in PoissonFDM_params must be a positive integer"},
      {"a.json b.json", "usage: velmo-solve [CONFIG.json]"},
  };
  for (const Case& c : cases) {
    SolveRun run = solve(c.args);
    EXPECT_EQ(run.code, 2) << c.args << "\n" << run.output;
    EXPECT_NE(run.output.find("velmo-solve: "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
  }
  SolveRun unknown = solve(cases[5].args);
  EXPECT_NE(unknown.output.find("SolverPCG"), std::string::npos) << "lists the registered names";
}

// The shipped examples with their problem swapped for a small 2-D Poisson one: what each adds
// is its method, and every method must converge on that.
TEST(VelmoSolve, EveryShippedConfigurationConverges) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(VELMO_SOURCE_DIR) + "/examples/configs")) {
    nlohmann::json config = nlohmann::json::parse(std::ifstream(entry.path()));
    config["testcase_type"] = "PoissonFDM";
    config["PoissonFDM_params"] = {{"dim", 2}, {"N", 12}};
    config.erase("output_x");
    const SolveRun run = solve(writeFile("shipped_" + entry.path().filename().string(), config.dump()));
    EXPECT_EQ(run.code, 0) << entry.path() << "\n" << run.output;
    EXPECT_NE(run.output.find("converged:           yes"), std::string::npos) << entry.path();
    ++count;
  }
  EXPECT_GT(count, 0);
}

TEST(VelmoSolve, UnconvergedSolveHasItsOwnExitCode) {
  SolveRun run = solve(writeFile("short.json", R"({"testcase_type": "PoissonFDM",
      "PoissonFDM_params": {"dim": 2, "N": 20}, "solver_type": "SolverPCG",
      "SolverPCG_params": {"max_its": 3}})"));
  EXPECT_EQ(run.code, 3) << run.output;
  EXPECT_NE(run.output.find("iterations:          3"), std::string::npos);
  EXPECT_NE(run.output.find("converged:           no"), std::string::npos);
}

}  // namespace velmo_solve_test
