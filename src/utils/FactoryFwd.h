#pragma once

#include <nlohmann/json_fwd.hpp>

namespace velmo {

using json = nlohmann::json;

// The operator tree only names its factories; the definition, and with it the JSON library,
// stays out of every header that merely declares getFactory().
template <class T>
class Factory;

}  // namespace velmo
