#include "utils/TestCase.h"

#include <nlohmann/json.hpp>
#include <string>

#include "utils/Complex.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
Factory<TestCaseT<Value, GlobalIndex, LocalIndex>>& TestCaseT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<TestCaseT> factory("testcase_type");
  return factory;
}

template <class Value, class GlobalIndex, class LocalIndex>
void TestCaseT<Value, GlobalIndex, LocalIndex>::readDevice(const json& params) {
  std::string text;
  if (record.read(params, "device", text)) device = Device(text);
  record.set("device", device.toString());
}

template class TestCaseT<double, int, int>;
template class TestCaseT<double, long, int>;
template class TestCaseT<Complex<double>, int, int>;
template class TestCaseT<Complex<double>, long, int>;

}  // namespace velmo
