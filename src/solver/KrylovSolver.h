#pragma once

#include "operators/ParOperator.h"
#include "solver/KrylovParams.h"

namespace velmo {

// What the Krylov methods share around their iterations: the stopping block with its keys,
// and the start of every solve.
template <class Value, class GlobalIndex, class LocalIndex>
class KrylovSolverT : public ParSolverT<Value, GlobalIndex, LocalIndex> {
  using Base = ParSolverT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrix;
  using typename Base::ParMatrixFree;
  using typename Base::ParPreconditioner;

  void setup(const ParMatrixFree&) override {}

 protected:
  // The shared "verbose", "rtol", "max_its", then the method's own stopping block, whose
  // verbosity is read from `verboseKey`. Returns the record for the method's further keys.
  ParamRecord& createKrylov(const json& params, const char* name, const char* verboseKey = "verbose") {
    Base::create(params);
    this->name = name;
    ParamRecord& record = this->paramRecord();
    m_params.read(params, record, verboseKey);
    return record;
  }
  // Takes A's communicator and the norm of b. A zero b has the solution zero, reached with
  // nothing logged: then x is zero and the solve is over, which the false return tells.
  bool startSolve(ParMatrixFree& A, const ParMatrix& b, ParMatrix& x, double& norm_b) {
    this->takeCommunicator(A);
    norm_b = ParMatrix::normL2(b);
    return !this->solveZeroRhs(norm_b, x);
  }
  // Whether this rank prints the verbose table.
  bool printsTable() const { return m_params.verbose > 0 && this->rank == 0; }

  KrylovParams m_params;
};

}  // namespace velmo
