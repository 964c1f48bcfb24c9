#pragma once

namespace velmo {

// The stand-alone iteration of a relaxation: sweep(b, x), then report(k, res, res / r0,
// relres) with res = |b - A x| and relres = res / |b|, until relres < rtol or k passes maxIts.
// iters is k at the end: the limit plus one when the limit ends the loop, and 1 with no sweep
// when the limit is below 1. A not-a-number fails the test that continues, and ends the loop.
// `r` is the work vector of the residuals.
template <class ParMatrixFree, class ParMatrix, class Sweep, class Report>
void relaxUntilConverged(ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, ParMatrix& r, int maxIts, double rtol,
                         int& iters, double& relres, Sweep&& sweep, Report&& report) {
  const double bnorm = ParMatrix::normL2(b);
  const double r0 = ParMatrix::residual(A, x, b, r);
  if (maxIts < 1) {
    iters = 1;
    relres = r0 / bnorm;
    return;
  }
  int k = 1;
  do {
    sweep(b, x);
    const double res = ParMatrix::residual(A, x, b, r);
    relres = res / bnorm;
    report(k, res, res / r0, relres);
  } while (relres >= rtol && ++k <= maxIts);
  iters = k;
}

}  // namespace velmo
