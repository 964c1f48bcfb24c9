#pragma once

#include <string>

#include "utils/Factory.h"

// Everything the driver can tell about a configuration before a library call could stop
// the process: required keys, registered names, devices, and Matrix Market input files.
namespace velmo::driver {

// "double" (the default) or "complex"; anything else is an InputError.
std::string valueTypeOf(const json& config);

// Throws InputError with a one-line explanation of the first fault found.
template <class Value>
void checkConfig(const json& config);

}  // namespace velmo::driver
