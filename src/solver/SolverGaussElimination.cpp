#include "solver/SolverGaussElimination.h"

#include <glog/logging.h>

#include <cmath>
#include <cstdio>

#include "comu/Transport.h"
#include "kernels/MatOps.h"
#include "kernels/SpBlasOps.h"
#include "mat/ParCSRMatrix.h"
#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void SolverGaussElimination_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  Base::create(params);
  this->name = "Gauss";
  this->paramRecord().read(params, "max_rows", m_maxRows);
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverGaussElimination_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  const auto* csr = dynamic_cast<const ParCSRMatrixT<Value, GlobalIndex, LocalIndex>*>(&A);
  CHECK(csr != nullptr) << "SolverGauss::setup: the operator must be a ParCSRMatrixT, to be gathered and factored";
  const long rows = long(A.getRows());
  CHECK(rows == long(A.getCols())) << "SolverGauss::setup: the matrix is " << rows << " x " << long(A.getCols())
                                   << "; a square one is needed";
  CHECK(rows <= m_maxRows) << "SolverGauss::setup: the matrix has " << rows << " rows, more than max_rows "
                           << m_maxRows << " allows for a dense factorisation";
  CHECK(comu::commSize(A.getComm()) == 1) << "SolverGauss::setup: the factors live on one rank, and the matrix is "
                                          << "spread over " << comu::commSize(A.getComm()) << " ranks";

  const Device device = A.getDevice();
  const auto whole = csr->gather(0);
  m_rows = LocalIndex(rows);
  m_lu.resize(m_rows, m_rows, device);
  m_pivots.resize(m_rows, 1, device);
  if (m_rows == 0) {
    m_singular = false;
    return;
  }
  SpBlasOps<Value, LocalIndex>::csr2dense(device, m_rows, m_rows, whole.getRowPtr(), whole.getColIdx(),
                                          whole.getValues(), m_lu.getData());
  const LocalIndex factored = MatOps<Value, LocalIndex>::lu_factor(device, m_rows, m_lu.getData(), m_pivots.getData());
  m_singular = factored < m_rows;
  if (m_singular && this->rank == 0) {
    std::printf("SolverGauss::setup: Warning! zero pivot in column %ld of %ld; the matrix is singular.\n",
                long(factored), long(m_rows));
  }
}

template <class Value, class GlobalIndex, class LocalIndex>
void SolverGaussElimination_T<Value, GlobalIndex, LocalIndex>::solve(ParPreconditioner&, ParMatrixFree& A,
                                                                     const ParMatrix& b, ParMatrix& x, int& iter,
                                                                     double& res) {
  CHECK(long(m_rows) == long(A.getRows())) << "SolverGauss::solve: set up for " << long(m_rows)
                                           << " rows (-1: not set up), the operator has " << long(A.getRows());
  this->takeCommunicator(A);
  const double norm_b = ParMatrix::normL2(b);
  if (this->solveZeroRhs(norm_b, x)) return;

  this->beginSolve();
  Base::shapeLike(A, {&m_r});
  if (!m_singular) {
    b.deepCopy(x);
    MatOps<Value, LocalIndex>::lu_solve(A.getDevice(), m_rows, m_lu.getData(), m_pivots.getData(),
                                        x.getLocalMatrix().getData());
  }
  iter = m_singular ? 0 : 1;
  res = ParMatrix::residual(A, x, b, m_r) / norm_b;
  this->finishSolve(iter, 1, res, !m_singular && std::isfinite(res));
}

#define VELMO_INSTANTIATE(V, G, L) template class SolverGaussElimination_T<V, G, L>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE)
#undef VELMO_INSTANTIATE

VELMO_REGISTER_FLOATING(ParSolverT, SolverGauss, SolverGaussElimination_T);

}  // namespace velmo
