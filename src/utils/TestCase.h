#pragma once

#include "utils/Device.h"
#include "utils/FactoryFwd.h"
#include "utils/ParamRecord.h"

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

  // Beyond the base design: the parameters in effect once `create` has run, as for operators.
  const json& getParams() const { return record.get(); }

  static Factory<TestCaseT>& getFactory();

 protected:
  // Reads "device", a device text such as "cpu" or "cuda:0", and records the device in effect.
  void readDevice(const json& params);

  ParamRecord record;
  // Where the system is built, and the calling rank.
  Device device;
  int rank = 0;
};

}  // namespace velmo
