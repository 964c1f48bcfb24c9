#pragma once

#include <string>
#include <vector>

#include "utils/Utils.h"

namespace velmo::detail {

// The base of the partitioned file names: `name` up to ".mtx", the whole name without one.
// ".mtx" is a pattern, as every separator of stringSplit.
inline std::string partFileBase(const std::string& name) {
  const std::vector<std::string> pieces = stringSplit(name, ".mtx");
  return pieces.empty() ? std::string() : pieces.front();
}

}  // namespace velmo::detail
