#pragma once

#include "mat/ParCSRMatrix.h"
#include "mat/ParMatrix.h"
#include "utils/TestCase.h"

namespace velmo {

// Finite-difference Laplacian on N points an axis of the unit square ("dim" 2) or cube
// ("dim" 3), registered as "PoissonFDM". Edge points simply lack a neighbour: no boundary
// rows are eliminated. b holds a product of sines and x the matching scaled start.
template <class Value, class GlobalIndex, class LocalIndex>
class PoissonFDM_T : public TestCaseT<Value, GlobalIndex, LocalIndex> {
  using Base = TestCaseT<Value, GlobalIndex, LocalIndex>;

 public:
  using typename Base::ParCSRMatrix;
  using typename Base::ParMatrix;

  // Reads "dim", "N" and "device" (a device text such as "cpu" or "cuda:0").
  void create(const json& params);
  void generate(ParCSRMatrix& A, ParMatrix& x, ParMatrix& b) override;

 private:
  int m_dim = 0;
  int m_N = 100;
};

}  // namespace velmo
