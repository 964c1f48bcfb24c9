#pragma once

#include <memory>
#include <string>

#include "MatrixMarketInput.h"
#include "utils/Factory.h"

// Everything the driver can tell about a configuration before a library call could stop
// the process: required keys, registered names, devices, sizes, and Matrix Market input files.
namespace velmo::driver {

// "double" (the default) or "complex"; anything else is an InputError.
std::string valueTypeOf(const json& config);

struct CheckedProblem {
  // The configuration the test case is made from: the one given, with the names of any copies
  // of Matrix Market files.
  json config;
  // The files of a Matrix Market problem; null for a generated one.
  std::unique_ptr<MatrixMarketInput> files;
};

// Throws InputError with a one-line explanation of the first fault found, MemoryError where
// the problem would not fit in this machine's memory.
template <class Value>
CheckedProblem checkConfig(const json& config);

}  // namespace velmo::driver
