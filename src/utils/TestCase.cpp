#include "utils/TestCase.h"

#include "utils/Complex.h"
#include "utils/Factory.h"

namespace velmo {

template <class Value, class GlobalIndex, class LocalIndex>
Factory<TestCaseT<Value, GlobalIndex, LocalIndex>>& TestCaseT<Value, GlobalIndex, LocalIndex>::getFactory() {
  static Factory<TestCaseT> factory("testcase_type");
  return factory;
}

template class TestCaseT<double, int, int>;
template class TestCaseT<double, long, int>;
template class TestCaseT<Complex<double>, int, int>;
template class TestCaseT<Complex<double>, long, int>;

}  // namespace velmo
