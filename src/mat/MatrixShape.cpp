#include "mat/Matrix.h"

#include <glog/logging.h>

namespace velmo::detail {

void checkMatrixShape(long rows, long cols) { CHECK(rows>=0 && cols>=0); }

}  // namespace velmo::detail
