#include "precond/ParSmootherJacobiLp.h"

#include "operators/OperatorTypes.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobiLp_T<Value, GlobalIndex, LocalIndex>::create(const json& params) {
  Base::create(params);
  this->paramRecord().read(params, "order", order);
}

template <class Value, class GlobalIndex, class LocalIndex>
void ParSmootherJacobiLp_T<Value, GlobalIndex, LocalIndex>::setup(const ParMatrixFree& A) {
  using ParMatrix = typename Base::ParMatrix;
  this->keepMatrix(A);
  const ParMatrix d = this->matrix.getDiag(0);
  // The real row norms carried into Value; pow leaves complex values as they are.
  ParMatrix w = ParMatrix::createComplex(this->matrix.rowNorm(order), {});
  ParMatrix::pow(Value(2.0), w);
  ParMatrix::reciprocal(Value(1.0), w);
  this->invDiag.create(d.getRowPartitioner(), d.getDevice(), d.getComm());
  this->invDiag.fill(Value(0));
  ParMatrix::axypbz(Value(1.0), d, w, Value(0.0), this->invDiag);
}

#define VELMO_INSTANTIATE_JACOBI_LP(Value, GlobalIndex, LocalIndex) \
  template class ParSmootherJacobiLp_T<Value, GlobalIndex, LocalIndex>;
VELMO_FOR_EACH_OPERATOR_TYPE(VELMO_INSTANTIATE_JACOBI_LP)
#undef VELMO_INSTANTIATE_JACOBI_LP

VELMO_REGISTER_FLOATING(ParSmootherT, SmootherJacobiLp, ParSmootherJacobiLp_T);
VELMO_REGISTER_FLOATING(ParPreconditionerT, PrecondJacobiLp, ParSmootherJacobiLp_T);
// Irregular on purpose: for float the solver name stands among the smoothers.
#define VELMO_REGISTER_JACOBI_LP_SOLVER(G, GWord)                                                                \
  VELMO_REGISTER(ParSmootherT, SolverJacobiLp, ParSmootherJacobiLp_T, float, float32, G, GWord, int, int);       \
  VELMO_REGISTER(ParSolverT, SolverJacobiLp, ParSmootherJacobiLp_T, double, float64, G, GWord, int, int);        \
  VELMO_REGISTER(ParSolverT, SolverJacobiLp, ParSmootherJacobiLp_T, Complex<float>, complex32, G, GWord, int, int); \
  VELMO_REGISTER(ParSolverT, SolverJacobiLp, ParSmootherJacobiLp_T, Complex<double>, complex64, G, GWord, int, int)
VELMO_REGISTER_JACOBI_LP_SOLVER(long, int64_t);
VELMO_REGISTER_JACOBI_LP_SOLVER(int, int32_t);
#undef VELMO_REGISTER_JACOBI_LP_SOLVER

}  // namespace velmo
