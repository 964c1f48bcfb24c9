#pragma once

#include <vector>

#include "solver/KrylovSolver.h"

namespace velmo {

// Flexible restarted GMRES with augmentation, registered as "SolverFLGMRES_R". Preconditioned
// directions are kept, so the preconditioner may change between steps, and each cycle after
// the first is lengthened by up to "augk" corrections saved from earlier cycles.
//
// Keys: "max_its", "rtol", "btol", "atol" as for PCG, "restart" (20; below 1, one cycle as
// long as the iteration limit), "augk" (2; below 1 taken as 2), and "verb" for its own table,
// while "verbose" drives the log lines.
template <class Value, class GlobalIndex, class LocalIndex>
class SolverFLGMRES_R_T : public KrylovSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = KrylovSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;
  using Base::solve;

  void create(const json& params);
  // Improves x in place; iter counts inner steps and res is the last residual estimate over
  // the norm of b. The cycle length grows by the corrections of the last cycle and is kept
  // for the next solve.
  void solve(ParPreconditioner& M, ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, int& iter,
             double& res) override;

 private:
  using Base::m_params;
  // Storage for cycles of up to m steps, reused while m stays the same.
  void shapeWork(const ParMatrixFree& A, int m);
  Value& hessenberg(int i, int j) { return m_h[size_t(i) * m_stride + j]; }

  int m_restart = 20;
  int m_augk = 2;

  // Work storage, kept between solves; all index from 1 but the saved corrections.
  std::vector<ParMatrix> m_V;  // orthonormal basis
  std::vector<ParMatrix> m_Z;  // the directions: preconditioned basis vectors or corrections
  std::vector<ParMatrix> m_aug;
  ParMatrix m_r, m_t;
  size_t m_stride = 0;
  std::vector<Value> m_h;  // the Hessenberg matrix, rotated to triangular as it grows
  std::vector<Value> m_rs, m_c, m_s, m_y;
};

}  // namespace velmo
