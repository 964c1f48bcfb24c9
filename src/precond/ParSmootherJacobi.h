#pragma once

#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "operators/ParOperator.h"

namespace velmo {

// Damped point Jacobi as residual correction, x += relax W (b - A x), with W the inverse
// diagonal. One object serves as smoother ("SmootherJacobi"), preconditioner ("PrecondJacobi")
// and solver ("SolverJacobi").
//
// Keys: "relax" (1.0), "nsweeps" (1), "initial_zero" (true, a JSON boolean), "max_iters" (0).
// The solver keys "verbose", "rtol" and "max_its" are not read: a solve stops at 1e-8 or after
// 2000 sweeps.
template <class Value, class GlobalIndex, class LocalIndex>
class ParSmootherJacobi_T : public ParOpBaseT<Value, GlobalIndex, LocalIndex> {
 public:
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrixFree = ParMatrixFreeT<Value, GlobalIndex, LocalIndex>;
  using ParPreconditioner = ParPreconditionerT<Value, GlobalIndex, LocalIndex>;
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParSolverT<Value, GlobalIndex, LocalIndex>::solve;

  ~ParSmootherJacobi_T() override = default;

  void create(const json& params);
  // Keeps A, which must be a ParCSRMatrixT, and W = 1 / diag(A); no guard against a zero.
  void setup(const ParMatrixFree& A) override;
  // nsweeps sweeps from x as it comes.
  void smooth(const ParMatrix& b, ParMatrix& x) override;
  void smoothFromZero(const ParMatrix& b, ParMatrix& x) override;
  // nsweeps sweeps, from zero when initial_zero. Once max_iters sweeps (counted over all calls,
  // and overrun within a call) are done, x becomes a copy of b.
  void precondition(const ParMatrix& b, ParMatrix& x) override;
  // Sweeps on the matrix of setup until |b - A x| / |b| < rtol; M and A are not used. iters
  // counts the sweeps, and is the limit plus one when the limit ends the loop.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iters,
             double& relres) override;

  // The residual norm before the latest sweep.
  double getLastResidual() const { return lastResidual; }
  int getSweepCount() const { return sweepCount; }

 protected:
  // Keeps A as the matrix to relax on and finds whether a zero x makes its product exactly zero.
  void keepMatrix(const ParMatrixFree& A);

  double relax = 1.0;
  int nsweeps = 1;
  bool initial_zero = true;
  int sweepCount = 0;
  int max_iters = 0;
  ParCSRMatrix matrix;
  ParMatrix invDiag;
  double lastResidual = 0.0;

 private:
  void sweep(const ParMatrix& b, ParMatrix& x);
  // The first sweep from x = 0 skips the product when zeroProductIsExact.
  void sweeps(const ParMatrix& b, ParMatrix& x, const char* role, bool count, bool fromZero);

  // Whether b - A 0 has the bits of b: true for a real A with finite entries, whose products
  // with zero are signed zeros that sum to +0. Complex products with zero can flip the sign of
  // a zero part, so complex values always take the product.
  bool zeroProductIsExact = false;

  // Work vector of every sweep, kept so that sweeps allocate nothing.
  ParMatrix r;
};

}  // namespace velmo
