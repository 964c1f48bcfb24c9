#pragma once

#include <cstdio>
#include <memory>

#include "mat/ParCSRMatrix.h"
#include "precond/ParPreconditionerAMG.h"

namespace velmo::driver {

// Bytes of this rank's rows of a compressed-row matrix: columns and values, and the row
// offsets of one block.
template <class Value>
double csrBytes(const ParCSRMatrixT<Value, long, int>& m) {
  long begin = 0, end = 0;
  if (m.getRows() > 0) m.getOwnerShipRange(&begin, &end);
  return double(m.getNnzs()) * double(sizeof(int) + sizeof(Value)) + double(end - begin + 1) * sizeof(int);
}

// One line per level (rows, nonzeros, nonzeros per row), the grid and operator complexities,
// the memory the hierarchy holds beyond the fine matrix, and where setup spent its time.
// Prints nothing when neither operator is multigrid.
template <class Value>
void reportHierarchy(const ParOperator* solver, const ParOperator* preconditioner) {
  using AMG = ParPreconditionerAMG_T<Value, long, int>;
  const AMG* amg = dynamic_cast<const AMG*>(preconditioner);
  if (amg == nullptr) amg = dynamic_cast<const AMG*>(solver);
  if (amg == nullptr || amg->getLevels().empty()) return;

  const auto& levels = amg->getLevels();
  const double fineRows = double(levels[0].A.getRows()), fineNnzs = double(levels[0].A.getNnzs());
  double rows = 0, nnzs = 0, bytes = 0;
  std::printf("multigrid hierarchy:\n  %5s %12s %12s %8s\n", "level", "rows", "nonzeros", "nnz/row");
  for (size_t i = 0; i < levels.size(); ++i) {
    const auto& level = levels[i];
    const double r = double(level.A.getRows()), n = double(level.A.getNnzs());
    std::printf("  %5zu %12.0f %12.0f %8.2f\n", i, r, n, r > 0 ? n / r : 0.0);
    rows += r;
    nnzs += n;
    if (i > 0) bytes += csrBytes(level.A);
    bytes += csrBytes(level.P) + csrBytes(level.R);
  }
  const auto times = amg->getSetupTimes();
  std::printf("grid complexity:     %.3f\n", rows / fineRows);
  std::printf("operator complexity: %.3f\n", nnzs / fineNnzs);
  std::printf("hierarchy memory:    %.1f MiB, %.2f x the fine matrix\n", bytes / (1 << 20),
              bytes / csrBytes(levels[0].A));
  std::printf("setup split:         transfers %.3f s, Galerkin products %.3f s\n", times.transfers, times.galerkin);
}

}  // namespace velmo::driver
