#pragma once

#include "utils/Device.h"
#include "utils/FactoryFwd.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
class ParCSRMatrixT;
template <class Value, class GlobalIndex, class LocalIndex>
class ParMatrixT;

// A complete linear system for driving the solvers, chosen by "testcase_type".
template <class Value, class GlobalIndex, class LocalIndex>
class TestCaseT {
 public:
  using ParCSRMatrix = ParCSRMatrixT<Value, GlobalIndex, LocalIndex>;
  using ParMatrix = ParMatrixT<Value, GlobalIndex, LocalIndex>;

  virtual ~TestCaseT() = default;

  // Fills the matrix, the start vector and the right-hand side.
  virtual void generate(ParCSRMatrix& A, ParMatrix& x, ParMatrix& b) = 0;

  static Factory<TestCaseT>& getFactory();

 protected:
  // Where the system is built, and the calling rank.
  Device device;
  int rank = 0;
};

}  // namespace velmo
