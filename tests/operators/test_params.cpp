#include <nlohmann/json.hpp>
#include <string>

#include "TestHelpers.h"
#include "operators/ParOperator.h"
#include "utils/Factory.h"
#include "utils/TestCase.h"

namespace params_test {

using namespace velmo;
using Solver = ParSolverT<double, long, int>;
using Precond = ParPreconditionerT<double, long, int>;
using Smoother = ParSmootherT<double, long, int>;

template <class Role>
json paramsOf(const std::string& name, const json& params = json::object()) {
  const auto& factory = Role::getFactory();
  return factory.createInstance({{factory.getKey(), name}, {name + "_params", params}})->getParams();
}

const json kJacobi = {{"relax", 1.0}, {"nsweeps", 1}, {"initial_zero", true}, {"max_iters", 0}};
const json kPCG = {{"verbose", 0}, {"rtol", 1e-8}, {"max_its", 1000}, {"btol", 0.0}, {"atol", 0.0}};

// The stated defaults, whichever role made the object: a class in several roles keeps one
// record. Parts and members report every key of their own though only their names were given.
TEST(Params, StatedDefaults) {
  EXPECT_EQ(paramsOf<Solver>("SolverPCG"), kPCG) << "the method's own max_its overrides the shared one";
  EXPECT_EQ(paramsOf<Smoother>("SmootherJacobi"), kJacobi);
  EXPECT_EQ(paramsOf<Precond>("PrecondJacobi"), kJacobi);

  const json jacobi = {{"smoother_type", "SmootherJacobi"}};
  const json sa = {{"level_transfer_type", "LevelTransferSmoothAggregation"}};
  EXPECT_EQ(paramsOf<Precond>("PrecondAMG", {{"pre_smoother", jacobi}, {"level_transfer", sa}}),
            json({{"max_levels", 20},
                  {"min_coarse_size", 10},
                  {"verb", 0},
                  {"pre_smoother", {{"smoother_type", "SmootherJacobi"}, {"SmootherJacobi_params", kJacobi}}},
                  {"level_transfer",
                   {{"level_transfer_type", "LevelTransferSmoothAggregation"},
                    {"LevelTransferSmoothAggregation_params",
                     {{"eps_strong", 0.08}, {"relax", 1.0}, {"block_size", 1}, {"aggr_type", "parallel"}}}}}}));

  const json member = {{"solver_type", "SolverPCG"}, {"preconditioner_type", "PrecondJacobi"}};
  EXPECT_EQ(paramsOf<Solver>("SolverList", {{"solvers", {member}}})["solvers"],
            json::array({{{"solver_type", "SolverPCG"},
                          {"SolverPCG_params", kPCG},
                          {"preconditioner_type", "PrecondJacobi"},
                          {"PrecondJacobi_params", kJacobi}}}));
}

// A given value replaces the default as the class reads it, under its irregular names; unknown
// keys stay out, type errors still reach the caller, and a part naming no class or refusing its
// parameters is left as given for setup to refuse.
TEST(Params, GivenValuesAsRead) {
  json pcg = kPCG;
  pcg.update({{"max_its", 50}, {"btol", 0.5}});
  EXPECT_EQ(paramsOf<Solver>("SolverPCG", {{"max_its", 50}, {"btol", 0.5}, {"colour", "red"}}), pcg);
  EXPECT_EQ(paramsOf<Smoother>("SmootherSOR", {{"initial_zero", 0}})["initial_zero"], false);
  EXPECT_EQ(paramsOf<Solver>("SolverFLGMRES_R", {{"verb", 2}})["verb"], 2);
  EXPECT_THROW(paramsOf<Smoother>("SmootherJacobi", {{"relax", "half"}}), json::type_error);

  const json jacobi = {{"smoother_type", "SmootherJacobi"}, {"SmootherJacobi_params", {{"nsweeps", 3}}}};
  const json unknown = {{"smoother_type", "SmootherNone"}};
  const json refused = {{"solver_type", "SolverPCG"}, {"SolverPCG_params", {{"rtol", "tight"}}}};
  const json amg = paramsOf<Precond>("PrecondAMG",
                                     {{"pre_smoother", jacobi}, {"post_smoother", unknown}, {"coarse_solver", refused}});
  EXPECT_EQ(amg["pre_smoother"]["SmootherJacobi_params"]["nsweeps"], 3);
  EXPECT_EQ(amg["post_smoother"], unknown);
  EXPECT_EQ(amg["coarse_solver"], refused);

  auto poisson = TestCaseT<double, long, int>::getFactory().createInstance(
      {{"testcase_type", "PoissonFDM"}, {"PoissonFDM_params", {{"dim", 3}, {"device", "cpu"}}}});
  EXPECT_EQ(poisson->getParams(), json({{"dim", 3}, {"N", 100}, {"device", "cpu:0"}}));
}

}  // namespace params_test
