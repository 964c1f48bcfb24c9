#pragma once

#include "kernels/RawMat.h"
#include "mat/Matrix.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "operators/ParOperator.h"

namespace velmo {

// Successive over-relaxation in one direction, across all column blocks at once: a row's
// update sees the newest values of the own block and the exchanged values of the others.
// Smoother ("SmootherSOR"), preconditioner ("PrecondSOR") and solver ("SolverSOR").
//
// Keys: "verbose", "rtol", "max_its" as every solver, then "relax" (1.0), "forward" (true, a
// JSON boolean), "nsweeps" (4) and "initial_zero" (true; a boolean or an integer).
template <class Value, class GlobalIndex, class LocalIndex>
class ParSmootherSOR_T : public ParOpBaseT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParSolverT<Value, GlobalIndex, LocalIndex>::solve;

  ~ParSmootherSOR_T() override = default;

  void create(const json& params);
  // Keeps A, which must be a ParCSRMatrixT, and its diagonal.
  void setup(const ParMatrixFree& A) override;
  void smooth(const ParMatrix& b, ParMatrix& x) override;
  void precondition(const ParMatrix& b, ParMatrix& x) override;
  // Sweeps on the matrix of setup until |b - A x| / |b| < rtol; M and A are not used. iters
  // counts the sweeps, and is the limit plus one when the limit ends the loop.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iters,
             double& relres) override;

  // One sweep. The views are taken afresh each time, so a sweep never works from stale
  // pointers; `colors` is reserved for a colouring and is null.
  void sor_step(const ParMatrix& b, ParMatrix& x, double omega, bool forward, const int* colors);

 private:
  using RawMatList = typename ParCSRMatrix::RawMatList;

  void sweeps(const ParMatrix& b, ParMatrix& x, const char* role);

  double relax = 1.0;
  bool forward = true;
  int nsweeps = 4;
  bool initial_zero = true;
  ParCSRMatrix matrix;
  ParMatrix diag;
  int rank = 0;
  RawMatList deviceViews;
  RawMatList hostViews;
  // Work vector of the residuals, kept so that sweeps allocate nothing.
  ParMatrix r;
};

}  // namespace velmo
