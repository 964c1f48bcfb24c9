#pragma once

#include "mat/CSRMatrix.h"
#include "mat/Matrix.h"
#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"

namespace velmo {

// The steps of smoothed aggregation, each in a local form on one rank's CSRMatrixT and a
// distributed form on ParCSRMatrixT: strength of connection, aggregation, the tentative
// prolongation and its smoothing by one damped Jacobi step on a filtered operator.
//
// Row marks of aggregation: -2 isolated (no strong connection; the local form), -1 undecided
// or isolated (the distributed form), 0 and up the aggregate number.
template <class Value, class GlobalIndex, class LocalIndex>
struct LevelTransferOps_SA {
  using CSRMatrix = CSRMatrixT<Value, LocalIndex>;
  using IntCSRMatrix = CSRMatrixT<int, LocalIndex>;
  using Vector = MatrixT<Value, LocalIndex, MatrixLayoutRowMajor>;
  using IntVector = MatrixT<int, LocalIndex, MatrixLayoutRowMajor>;
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParIntCSRMatrix = ParCSRMatrixT<int, GlobalIndex, LocalIndex>;
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParIntMatrix = ParMatrixT<int, GlobalIndex, LocalIndex>;

  // S gets A's structure, with 1 for a strong entry (a^2 > eps^2 d_i d_c) and 0 otherwise;
  // the diagonal is never strong. `diag` is this rank's part of A's diagonal.
  static void strength(const CSRMatrix& A, const Vector& diag, IntCSRMatrix& S, double eps);
  static void strength(const ParCSRMatrix& A, const ParMatrix& diag, ParIntCSRMatrix& S, double eps);

  // Partitions the rows along strong connections; aggregates are numbered by first appearance.
  static void aggregate(const IntCSRMatrix& S, IntVector& aggr, int& naggr);
  // The same over all ranks, with global aggregate numbers and their global count.
  static void aggregate(const ParIntCSRMatrix& S, ParIntMatrix& aggr, long& naggr);
  // Gives aggregates, identified by (owner, number), their final global numbers; both
  // vectors on the host.
  static void renumber(ParIntMatrix& aggr, ParIntMatrix& owner, long& naggr);

  // rows by naggr, one entry of value 1 in the column of each aggregated row.
  static void tentative_prolongation(int rows, int naggr, const IntVector& aggr, CSRMatrix& P);
  static void tentative_prolongation(int rows, int naggr, const ParIntMatrix& aggr, ParCSRMatrix& P);
  // A with its weak entries zeroed and lumped onto the diagonal: row sums are kept.
  static void tentative_filter(const ParCSRMatrix& A, const ParIntCSRMatrix& S, ParCSRMatrix& Af);
  // P = (I - omega D^-1 Af) Ptent, with Af the filtered A and D its diagonal. The local form
  // fuses the product into one kernel and prints "the P nnzs is " n to standard output.
  static void tentative_smooth(const CSRMatrix& A, int naggr, const CSRMatrix& Ptent, const IntCSRMatrix& S,
                               CSRMatrix& P, double omega);
  static void tentative_smooth(const ParCSRMatrix& A, int naggr, const ParCSRMatrix& Ptent,
                               const ParIntCSRMatrix& S, ParCSRMatrix& P, double omega);
};

}  // namespace velmo
