#include "solver/ParSolverList.h"

#include "operators/OperatorList.h"
#include "operators/OperatorTypes.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverList_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  Base::create(params);
  this->name = "SolverList";
  solvers = createMembers<ParSolver>(params, "solvers", "SolverList");
  json blocks = describeMembers(params, "solvers", solvers);
  // Each solver's own preconditioner, named beside its solver_type.
  for (size_t k = 0; k < solvers.size(); ++k) {
    const json& entry = params["solvers"][k];
    if (!entry.contains("preconditioner_type")) continue;
    solvers[k]->setPreconditioner(createMember<ParPreconditioner>(entry, "SolverList"));
    blocks[k].update(ParPreconditioner::getFactory().describe(entry, *solvers[k]->getPreconditioner()));
  }
  this->paramRecord().set("solvers", blocks);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverList_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  for (const auto& solver : solvers) {
    solver->setup(A);
    if (const auto M = solver->getPreconditioner()) M->setup(A);
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSolverList_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& M, ParMatrixFree& A,
                                                            const ParMatrix& b, ParMatrix& x, int& iter,
                                                            double& res) {
  int total = 0;
  bool converged = false;
  for (const auto& solver : solvers) {
    int its = 0;
    const auto own = solver->getPreconditioner();
    solver->solve(own ? *own : M, A, b, x, its, res);
    total += its;
    converged = solver->converged();
    if (converged) break;
  }
  iter = total;
  this->finishSolve(total, this->max_its, res, converged);
}

#define VELMO_INSTANTIATE_SOLVER_LIST(Value, GlobalIndex, LocalIndex) \
  template class ParSolverList_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_SOLVER_LIST)
#undef VELMO_INSTANTIATE_SOLVER_LIST

VELMO_REGISTER_FLOATING(ParSolverT, SolverList, ParSolverList_T);

}  // namespace velmo
