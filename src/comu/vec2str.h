#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace velmo::comu {

// "[a, b, c]": per-rank counts and offsets in log lines.
template <class T>
std::string vec2str(const std::vector<T>& v) {
  std::ostringstream os;
  os << '[';
  for (size_t k = 0; k < v.size(); ++k) os << (k > 0 ? ", " : "") << v[k];
  os << ']';
  return os.str();
}

}  // namespace velmo::comu
