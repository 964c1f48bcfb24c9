#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "SparseTestHelpers.h"
#include "mat/ParCSRMatrix.h"
#include "operators/ParOperator.h"
#include "utils/Factory.h"

// Systems and oracles for the solver suites: matrices are dense row-major vectors, solved in
// the test by elimination, and handed to the solvers as ParCSRMatrixT.
namespace velmo::test {

// The non-zero entries of a dense n x n matrix as a distributed sparse matrix on `device`.
template <class V, class G = long>
ParCSRMatrixT<V, G, int> parCsrOf(int n, const std::vector<V>& dense, const Device& device = kHost) {
  return parOf<V, G>(dense, n, n, 1).toDevice(device);
}

// The oracle: x = A^-1 b by Gaussian elimination with partial pivoting.
template <class V>
std::vector<V> denseSolve(int n, std::vector<V> a, std::vector<V> b) {
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i) {
      if (absValue(a[size_t(i) * n + k]) > absValue(a[size_t(p) * n + k])) p = i;
    }
    std::swap_ranges(a.begin() + long(k) * n, a.begin() + long(k + 1) * n, a.begin() + long(p) * n);
    std::swap(b[size_t(k)], b[size_t(p)]);
    for (int i = k + 1; i < n; ++i) {
      const V l = a[size_t(i) * n + k] / a[size_t(k) * n + k];
      for (int j = k; j < n; ++j) a[size_t(i) * n + j] -= l * a[size_t(k) * n + j];
      b[size_t(i)] -= l * b[size_t(k)];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    for (int j = i + 1; j < n; ++j) b[size_t(i)] -= a[size_t(i) * n + j] * b[size_t(j)];
    b[size_t(i)] /= a[size_t(i) * n + i];
  }
  return b;
}

// max |x - y| / max |y|.
template <class V>
double relativeError(const std::vector<V>& x, const std::vector<V>& y) {
  double diff = 0, size = 0;
  for (size_t k = 0; k < y.size(); ++k) {
    diff = std::max(diff, double(absValue(x[k] - y[k])));
    size = std::max(size, double(absValue(y[k])));
  }
  return diff / size;
}

struct SolveOutcome {
  int iter = -7;
  double res = -7;
  bool converged = false;
  std::string out;  // standard output during the solve
};

// One solve with `M`, or with the held preconditioner when M is null; `x` holds the start and
// receives the solution.
template <class V, class G>
SolveOutcome runSolve(ParSolverT<V, G, int>& solver, ParMatrixFreeT<V, G, int>& A, const std::vector<V>& b,
                      ParMatrixT<V, G, int>& x, ParPreconditionerT<V, G, int>* M = nullptr) {
  SolveOutcome o;
  const auto rhs = parVector<V, G>(b);
  testing::internal::CaptureStdout();
  M ? solver.solve(*M, A, rhs, x, o.iter, o.res) : solver.solve(A, rhs, x, o.iter, o.res);
  std::fflush(stdout);
  o.out = testing::internal::GetCapturedStdout();
  o.converged = solver.converged();
  return o;
}

// A solver made by the factory from its registered name and parameters.
template <class V, class G>
std::shared_ptr<ParSolverT<V, G, int>> makeSolver(const std::string& name, const json& params = json::object()) {
  auto solver = ParSolverT<V, G, int>::getFactory().createInstance(json{{"solver_type", name}, {name + "_params", params}});
  EXPECT_NE(solver, nullptr) << name;
  return solver;
}

}  // namespace velmo::test
