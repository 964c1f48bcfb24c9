#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

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

// The configuration block the driver prints before the problem line.
nlohmann::json printedConfiguration(const std::string& output) {
  const std::string head = "configuration:\n";
  const size_t begin = output.find(head) + head.size();
  return nlohmann::json::parse(output.substr(begin, output.find("\nproblem:") - begin));
}

// A Matrix Market problem solved by `solver`; `extra` adds keys to the top level.
std::string matrixMarketConfig(const std::string& name, const std::string& fileA, const std::string& fileB = "",
                               const std::string& extra = "", const std::string& solver = "SolverPCG") {
  return writeFile(name, R"({"testcase_type": "MatrixMarket", "solver_type": ")" + solver +
                             R"(", "SolverPCG_params": {"rtol": 1e-12},
      "MatrixMarket_params": {"filename_A": ")" + fileA + R"(", "filename_b": ")" + fileB + "\"}" + extra + "}");
}

// The numbers after the size line of a file the driver wrote: values, or real and imaginary parts.
std::vector<double> valuesOf(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line) && line[0] == '%') {
  }
  std::vector<double> values;
  for (double v; in >> v;) values.push_back(v);
  return values;
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

// The stored lower triangle of a symmetric file means the whole matrix: the solution equals
// that of the general file of the same matrix.
TEST(VelmoSolve, SymmetricFileSolvesTheExpandedSystem) {
  const std::string fileGeneral = std::string(VELMO_SOURCE_DIR) + "/examples/data/poisson2d_8.mtx";
  std::ifstream general(fileGeneral);
  std::string line, lower;
  long entries = 0;
  while (std::getline(general, line) && line[0] == '%') {
  }
  while (std::getline(general, line)) {
    long row = 0, col = 0;
    std::istringstream(line) >> row >> col;
    if (row < col) continue;
    lower += line + "\n";
    ++entries;
  }
  const std::string symmetric = writeFile(
      "sym.mtx", "%%MatrixMarket matrix coordinate real symmetric\n64 64 " + std::to_string(entries) + "\n" + lower);
  const std::string xGeneral = testing::TempDir() + "x_general.mtx", xSymmetric = testing::TempDir() + "x_sym.mtx";
  auto output = [](const std::string& path) { return ", \"output_x\": \"" + path + "\""; };
  SolveRun runGeneral = solve(matrixMarketConfig("general.json", fileGeneral, "", output(xGeneral)));
  SolveRun runSymmetric = solve(matrixMarketConfig("sym.json", symmetric, "", output(xSymmetric)));
  ASSERT_EQ(runGeneral.code, 0) << runGeneral.output;
  ASSERT_EQ(runSymmetric.code, 0) << runSymmetric.output;
  EXPECT_NE(runSymmetric.output.find("problem: 64 rows, 288 nonzeros, device cpu:0, symmetric file expanded"),
            std::string::npos)
      << runSymmetric.output;
  std::string banner;
  std::getline(std::ifstream(xSymmetric), banner);
  EXPECT_EQ(banner, "%%MatrixMarket matrix array real general");
  const auto a = valuesOf(xGeneral), b = valuesOf(xSymmetric);
  ASSERT_EQ(a.size(), 64u);
  ASSERT_EQ(b.size(), a.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-9) << i;
}

// A Hermitian file and a right-hand side in the standard two columns, as other tools write
// them, solve to the known answer, written back in that form unless velmo's own is asked for.
TEST(VelmoSolve, ComplexFilesInTheStandardForm) {
  // A = [4, 1+i, 0; 1-i, 5, 2i; 0, -2i, 6], x = (1, i, 1-i).
  const std::string fileA = writeFile("herm.mtx",
                                      "%%MatrixMarket matrix coordinate complex hermitian\n3 3 5\n"
                                      "1 1 4 0\n2 1 1 -1\n2 2 5 0\n3 2 0 -2\n3 3 6 0\n");
  const std::string fileB =
      writeFile("herm_b.mtx", "%%MatrixMarket matrix array complex general\n3 1\n3 1\n3 6\n8 -6\n");
  const std::string xPath = testing::TempDir() + "herm_x.mtx";
  const std::string output = ", \"value_type\": \"complex\", \"output_x\": \"" + xPath + "\"";
  SolveRun run = solve(matrixMarketConfig("herm.json", fileA, fileB, output, "SolverGauss"));
  ASSERT_EQ(run.code, 0) << run.output;
  EXPECT_NE(run.output.find("problem: 3 rows, 7 nonzeros"), std::string::npos) << run.output;
  const std::vector<double> expected = {1, 0, 0, 1, 1, -1};
  const auto x = valuesOf(xPath);
  ASSERT_EQ(x.size(), expected.size());
  for (size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(x[i], expected[i], 1e-12) << i;

  run = solve(matrixMarketConfig("herm_velmo.json", fileA, fileB, output + ", \"output_format\": \"velmo\"",
                                 "SolverGauss"));
  ASSERT_EQ(run.code, 0) << run.output;
  std::stringstream text;
  text << std::ifstream(xPath).rdbuf();
  EXPECT_NE(text.str().find("+j1.0"), std::string::npos) << text.str();
}

// Each bad input gets one line naming what is wrong, and the exit code of its kind: 2 for bad
// input, 4 for a problem larger than the machine's memory; nothing is read part-way.
TEST(VelmoSolve, BadInputGetsOneLineAndItsExitCode) {
  struct Case {
    std::string args;
    std::string message;
    int code;
  };
  const std::string poisson = R"({"testcase_type": "PoissonFDM", "solver_type": "SolverPCG", )";
  // Names of their own: other tests run beside this one and share the folder.
  auto config = [&](const std::string& name, const std::string& keys) {
    return writeFile("bad_" + name, poisson + keys + "}");
  };
  auto matrix = [&](const std::string& name, const std::string& text, const std::string& b = "") {
    return matrixMarketConfig("bad_" + name + ".json", writeFile("bad_" + name + ".mtx", text), b);
  };
  const std::string banner = "%%MatrixMarket matrix coordinate real general\n";
  const std::string ok = banner + "3 3 3\n1 1 1\n2 2 1\n3 3 1\n";
  const Case cases[] = {
      {testing::TempDir() + "absent.json", "absent.json: cannot open the configuration file", 2},
      {writeFile("bad_broken.json", "{\"solver_type\": "), "broken.json: not valid JSON", 2},
      {writeFile("bad_array.json", "[1, 2]"), "the configuration must be a JSON object", 2},
      {writeFile("bad_nosolver.json", R"({"testcase_type": "PoissonFDM"})"), "missing \"solver_type\"", 2},
      {writeFile("bad_nocase.json", R"({"solver_type": "SolverPCG"})"), "missing \"testcase_type\"", 2},
      {config("unknown.json", R"("solver_type": "SolverXYZ")"), "unknown solver_type \"SolverXYZ\"; registered: ", 2},
      {config("value.json", R"("value_type": "quad")"), "unknown value_type \"quad\"", 2},
      {config("device.json", R"("PoissonFDM_params": {"device": "cuda:7"})"), "device \"cuda:7\" is not available", 2},
      {config("dim.json", R"("PoissonFDM_params": {"dim": 4, "N": 8})"), "\"dim\" in PoissonFDM_params must be 2 or 3",
       2},
      {config("grid.json", R"("PoissonFDM_params": {"dim": 2, "N": 0})"), "must be a positive integer", 2},
      {config("int.json", R"("PoissonFDM_params": {"dim": 2, "N": 2147483653})"), "of at most 2147483647", 2},
      {config("rows.json", R"("PoissonFDM_params": {"dim": 3, "N": 100000})"), "than the 32-bit local index holds", 2},
      {config("memory.json", R"("PoissonFDM_params": {"dim": 2, "N": 20000})"), "out of memory: PoissonFDM_params", 4},
      {config("text.json", R"("PoissonFDM_params": "dim=3 N=8")"), "\"PoissonFDM_params\" must be an object", 2},
      {config("nested.json", R"("PoissonFDM_params": {"dim": 2}, "preconditioner_type": "PrecondAMG",
          "PrecondAMG_params": {"pre_smoother": {"smoother_type": "SmootherJacobi", "SmootherJacobi_params": [1]}})"),
       "\"SmootherJacobi_params\" must be an object", 2},
      {config("full.json", R"("PoissonFDM_params": {"dim": 2, "N": 4}, "output_x": "/dev/full")"),
       "/dev/full: writing the solution failed", 2},
      {config("format.json", R"("PoissonFDM_params": {"dim": 2}, "output_format": "csv")"), "unknown output_format", 2},
      {"a.json b.json", "usage: velmo-solve [CONFIG.json]", 2},
      {matrix("row", banner + "3 3 2\n1 1 1\n4 2 1\n"), "row.mtx:4: row 4 out of range 1..3", 2},
      {matrix("few", banner + "3 3 3\n1 1 1\n"), "few.mtx:3: the size line announces 3 entries, found 1", 2},
      {matrix("nan", ok, writeFile("bad_nan_b.mtx", "3 1\n1\nnan\n1\n")), "nan_b.mtx:3: bad value 'nan'", 2},
      {matrix("huge", banner + "3 3 1\n1 1 1e400\n"), "huge.mtx:3: bad value '1e400'", 2},
      {matrix("hex", banner + "3 3 1\n1 1 0x1p2\n"), "hex.mtx:3: bad value '0x1p2'", 2},
      {matrix("comment", banner + "3 3 2\n1 1 1\n% note\n2 2 1\n"), "comment.mtx:4: a comment after the size line", 2},
      {matrix("twice", banner + "3 3 2\n2 1 1\n2 1 5\n"), "twice.mtx:4: entry (2, 1) is also given at line 3", 2},
      {matrix("mirror", "%%MatrixMarket matrix coordinate real symmetric\n3 3 2\n2 1 1\n1 2 1\n"),
       "mirror.mtx:4: entry (1, 2) is also given at line 3, counting the mirrored triangle", 2},
      {matrix("index", banner + "3000000000 3000000000 1\n1 1 1\n"), "index.mtx:2: sizes beyond 2147483647", 2},
      {matrix("big", banner + "2000000000 2000000000 1\n1 1 1\n"), "out of memory: ", 4},
      {matrix("pattern", "%%MatrixMarket matrix coordinate pattern general\n3 3 1\n1 1\n"),
       "pattern.mtx:1: a pattern file holds no values", 2},
      {matrix("cplx", "%%MatrixMarket matrix coordinate complex general\n1 1 1\n1 1 1 2\n"),
       "set \"value_type\": \"complex\"", 2},
      {matrix("short", ok, writeFile("bad_short_b.mtx", "2 1\n1\n2\n")), "a vector of 3 rows is needed", 2},
  };
  for (const Case& c : cases) {
    SolveRun run = solve(c.args);
    EXPECT_EQ(run.code, c.code) << c.args << "\n" << run.output;
    EXPECT_NE(run.output.find("velmo-solve: "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("solution written"), std::string::npos) << run.output;
  }
  SolveRun unknown = solve(cases[5].args);
  EXPECT_NE(unknown.output.find("SolverPCG"), std::string::npos) << "lists the registered names";
}

// The shipped examples with their problem swapped for a small 2-D Poisson one: what each adds
// is its method, and every method must converge on that. The configuration printed is the one
// in effect, defaults included.
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
    if (entry.path().filename() != "poisson3d_pcg_amg.json") continue;
    const nlohmann::json printed = printedConfiguration(run.output);
    EXPECT_EQ(printed["PoissonFDM_params"], nlohmann::json({{"dim", 2}, {"N", 12}, {"device", "cpu:0"}}));
    EXPECT_EQ(printed["SolverPCG_params"],
              nlohmann::json({{"verbose", 1}, {"rtol", 1e-8}, {"max_its", 100}, {"btol", 0}, {"atol", 0}}));
    EXPECT_EQ(printed["PrecondAMG_params"]["coarse_solver"]["SolverGauss_params"]["max_rows"], 20000);
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
