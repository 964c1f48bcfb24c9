#pragma once

#include "mat/CSRMatrix.h"
#include "mat/Matrix.h"

namespace velmo {

// The steps of classical (Ruge-Stuben) coarsening on one rank's CSRMatrixT: strong
// connections, the coarse/fine split, and direct interpolation from the strong coarse
// neighbours. Point marks in cf are the character codes 'U', 'C' and 'F'.
template <class Value, class GlobalIndex, class LocalIndex>
struct LevelTransferOps_RS {
  using CSRMatrix = CSRMatrixT<Value, LocalIndex>;
  using IntCSRMatrix = CSRMatrixT<int, LocalIndex>;
  using Vector = MatrixT<Value, LocalIndex, MatrixLayoutRowMajor>;
  using IntVector = MatrixT<int, LocalIndex, MatrixLayoutRowMajor>;

  // S gets A's pattern with 1 where -a_ij exceeds eps_strong times the row's largest
  // negative off-diagonal magnitude; cf starts 'U', and rows with no negative off-diagonal 'F'.
  static void connect(const CSRMatrix& A, double eps_strong, IntCSRMatrix& S, IntVector& cf);
  static void cfsplit(const CSRMatrix& A, const IntCSRMatrix& S, IntVector& cf);
  // P: rows(A) by naggr, naggr being the number of 'C' points. Logs its size.
  static void interpolation(const CSRMatrix& A, const IntCSRMatrix& S, const IntVector& cf, bool do_trunc,
                            double eps_trunc, int& naggr, CSRMatrix& P);
};

}  // namespace velmo
