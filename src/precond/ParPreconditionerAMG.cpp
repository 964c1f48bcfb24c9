#include "precond/ParPreconditionerAMG.h"

#include <glog/logging.h>

#include <chrono>

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

namespace {
double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::create(const json& p) {
  params = p;
  ParamRecord& record = paramRecord();
  record.read(p, "max_levels", max_levels);
  record.read(p, "min_coarse_size", min_coarse_size);
  record.read(p, "verb", verb);
  recordPart<ParSmoother>("pre_smoother");
  recordPart<ParSmoother>("post_smoother");
  recordPart<ParLevelTransfer>("level_transfer");
  recordPart<ParSolver>("coarse_solver");
}

template <class Value, class GlobalIndex, class LocalIndex>
template <class T>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::recordPart(const char* key) {
  if (params.is_object() && params.contains(key)) paramRecord().set(key, T::getFactory().describe(params[key]));
}

template <class Value, class GlobalIndex, class LocalIndex>
template <class T>
std::shared_ptr<T> ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::createPart(const char* key) {
  // A missing key reads as null, which the factory refuses with its own message.
  std::shared_ptr<T> part = T::getFactory().createInstance(params[key]);
  CHECK(part != nullptr) << "PrecondAMG: unknown name in \"" << key << "\": " << params[key];
  return part;
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& fine) {
  const auto* csr = dynamic_cast<const ParCSRMatrix*>(&fine);
  CHECK(csr != nullptr) << "PrecondAMG setup should be a ParCSRMatrix!";
  A = *csr;
  const size_t first = levels.size();
  for (int i = 0; i < max_levels - 1; ++i) {
    Level level;
    if (i == 0) {
      level.A = A;
    } else {
      const auto start = std::chrono::steady_clock::now();
      const Level& previous = levels[size_t(i) - 1];
      previous.R.multiply(previous.A).multiply(previous.P, level.A);
      level.A.sortRows();
      setupTimes.galerkin += secondsSince(start);
    }
    LOG(INFO) << "--------------------level " << i << " " << level.A.getRows() << " " << level.A.getCols()
              << " min coarse size " << min_coarse_size << "\n";
    if (long(level.A.getCols()) <= long(min_coarse_size)) {
      if (params.is_object() && params.contains("coarse_solver")) {
        level.coarse_solver = createPart<ParSolver>("coarse_solver");
        level.coarse_solver->setup(level.A);
      } else {
        level.coarse_pre_smoother = createPart<ParSmoother>("pre_smoother");
        level.coarse_pre_smoother->setup(level.A);
        level.coarse_post_smoother = createPart<ParSmoother>("post_smoother");
        level.coarse_post_smoother->setup(level.A);
      }
      levels.push_back(level);
      break;
    }
    level.pre_smoother = createPart<ParSmoother>("pre_smoother");
    level.pre_smoother->setup(level.A);
    level.post_smoother = createPart<ParSmoother>("post_smoother");
    level.post_smoother->setup(level.A);
    level.level_transfer = createPart<ParLevelTransfer>("level_transfer");
    level.level_transfer->setLevelId(i);
    const auto start = std::chrono::steady_clock::now();
    level.level_transfer->transfer_operators(level.A, level.P, level.R);
    setupTimes.transfers += secondsSince(start);
    levels.push_back(level);
  }
  for (size_t i = first; i < levels.size(); ++i) {
    Level& level = levels[i];
    level.A.prepareMatVec(false);
    level.R.prepareMatVec(false);
    level.P.prepareMatVec(false);
    if (verb != 0)
      LOG(INFO) << "-------------level " << i - first << " " << level.A.getRows() << " " << level.A.getCols() << "\n";
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
double ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::residual(ParCSRMatrix& M, const ParMatrix& x,
                                                                       const ParMatrix& b) {
  M.aAxpbz(Value(-1), x, Value(1), b, residualWork);
  return ParMatrix::normL2(residualWork);
}

namespace {

template <class Smoother, class Vector>
void preSmooth(Smoother& smoother, const Vector& b, Vector& x, bool xIsZero) {
  if (xIsZero)
    smoother.smoothFromZero(b, x);
  else
    smoother.smooth(b, x);
}

}  // namespace

template <class Value, class GlobalIndex, class LocalIndex>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::vcycle_recursive(int level, const ParMatrix& b,
                                                                               ParMatrix& x, bool xIsZero) {
  const int n = int(levels.size());
  Level& L = levels[size_t(level)];
  const bool logs = verb > 3;
  if (x.getSize() == 0) {
    x.create(L.A.getCols(), b.getCols(), L.A.getDevice(), L.A.getComm());
    x.fill(Value(0));
    xIsZero = true;
  }
  if (logs) LOG(INFO) << "begin level " << level << "/" << n << " residual " << residual(L.A, x, b);
  if (level == n - 1) {
    if (L.coarse_solver) {
      int iter = 1000;
      double relres = 1e-10;
      L.coarse_solver->solve(L.A, b, x, iter, relres);
    } else {
      // Reached when max_levels ran out before min_coarse_size: the last level has no coarse
      // method of its own.
      CHECK(L.coarse_pre_smoother != nullptr)
          << "PrecondAMG: the hierarchy ended at max_levels (" << n << ") with " << L.A.getCols()
          << " columns, above min_coarse_size (" << min_coarse_size << "); raise either";
      preSmooth(*L.coarse_pre_smoother, b, x, xIsZero);
      L.coarse_post_smoother->smooth(b, x);
      if (!logs) return;
      LOG(INFO) << "after coarse smooth level " << level << " residual " << residual(L.A, x, b);
    }
  } else {
    preSmooth(*L.pre_smoother, b, x, xIsZero);
    L.A.aAxpbz(Value(-1), x, Value(1), b, L.residual_vec);
    // A norm the cycle does not use, kept as the method states it.
    ParMatrix::normL2(L.residual_vec);
    if (logs) LOG(INFO) << "after pre smooth level " << level << " residual " << residual(L.A, x, b);
    L.R.matVec(L.residual_vec, L.coarse_b, nullptr);
    L.coarse_x.fill(Value(0));
    vcycle_recursive(level + 1, L.coarse_b, L.coarse_x, true);
    L.P.matVec(L.coarse_x, L.fine_correction, nullptr);
    ParMatrix::axpy(Value(1), L.fine_correction, x);
    if (logs) LOG(INFO) << "after proglongate level " << level << " residual " << residual(L.A, x, b) << "\n";
    L.post_smoother->smooth(b, x);
    if (!logs) return;
    LOG(INFO) << "after post smooth level " << level << " residual " << residual(L.A, x, b) << "\n";
  }
  if (logs) LOG(INFO) << "end level " << level << "/" << n << " residual " << residual(L.A, x, b) << "\n";
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::precondition(const ParMatrix& b, ParMatrix& x) {
  CHECK(!levels.empty()) << "PrecondAMG: no hierarchy; call setup first, with max_levels above 1";
  x.fill(Value(0));
  vcycle_recursive(0, b, x, true);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner& /*M*/, ParMatrixFree& /*A*/,
                                                                   const ParMatrix& b, ParMatrix& x, int& iter,
                                                                   double& relres) {
  CHECK(!levels.empty()) << "SolverAMG: no hierarchy; call setup first, with max_levels above 1";
  ParCSRMatrix& M = levels[0].A;
  double res = residual(M, x, b);
  const double normb = ParMatrix::normL2(b);
  int i = 0;
  bool converged = false;
  while (i < solve_max_iters) {
    vcycle_recursive(0, b, x);
    res = residual(M, x, b);
    if (verb != 0) LOG(INFO) << "iter " << i << " residual " << res << " relres " << res / normb;
    if (normb * solve_tol > res) {
      converged = true;
      break;
    }
    ++i;
  }
  iter = i;
  relres = res / normb;
  this->finishSolve(iter, solve_max_iters, relres, converged);
}

#define VELMO_INSTANTIATE_AMG(Value, GlobalIndex, LocalIndex) \
  template class ParPreconditionerAMG_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_AMG)
#undef VELMO_INSTANTIATE_AMG

VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondAMG, ParPreconditionerAMG_T);
VELMO_REGISTER_FLOATING(ParSolverT, SolverAMG, ParPreconditionerAMG_T);

}  // namespace velmo
