#pragma once

#include "precond/ParSmootherJacobi.h"

namespace velmo {

// The Jacobi iteration with the weight of row i set to a_ii / ||row i||_p^2 (for complex
// values the norm is not squared). Registered as "SmootherJacobiLp", "PrecondJacobiLp" and,
// except for float, "SolverJacobiLp"; for float that name stands among the smoothers instead.
// Adds the key "order", p (2.0), to those of the Jacobi smoother.
template <class Value, class GlobalIndex, class LocalIndex>
class ParSmootherJacobiLp_T : public ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex> {
  using Base = ParSmootherJacobi_T<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParMatrixFree;

  ~ParSmootherJacobiLp_T() override = default;

  void create(const json& params);
  void setup(const ParMatrixFree& A) override;

 private:
  double order = 2.0;
};

}  // namespace velmo
