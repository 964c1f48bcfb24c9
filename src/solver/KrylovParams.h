#pragma once

#include "utils/FactoryFwd.h"
#include "utils/ParamRecord.h"

namespace velmo {

// The stopping block each Krylov method keeps beside the fields of ParSolverT: create reads
// the same keys into both, so one key sets both copies, and the iteration obeys this block.
struct KrylovParams {
  int max_its = 1000;
  double rtol = 1e-8;
  double btol = 0;
  double atol = 0;
  int verbose = 0;

  // Each key only where present, recorded in `record` after the shared fields, so that the
  // record tells the values the iteration obeys; the verbosity is read from `verboseKey`.
  void read(const json& params, ParamRecord& record, const char* verboseKey = "verbose");
  // All three tolerances hold at once: the loosest wins.
  double threshold(double norm_b, double res0) const;

  // The verbose table on standard output: the banner line, the tolerances, the column heads
  // and row 0; then one row per iteration.
  void printTableHead(const char* banner, double res0, double norm_b) const;
  static void printTableRow(int iter, double res, double res0, double norm_b);
};

}  // namespace velmo
