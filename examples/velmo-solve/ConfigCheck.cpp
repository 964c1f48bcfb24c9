#include "ConfigCheck.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ProblemSize.h"
#include "operators/ParOperator.h"
#include "utils/Device.h"
#include "utils/TestCase.h"

namespace velmo::driver {

namespace {

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& n : names) text += (text.empty() ? "" : ", ") + n;
  return text;
}

std::string stringKey(const json& object, const std::string& key, const std::string& where) {
  if (!object.contains(key)) throw InputError("missing \"" + key + "\"" + where);
  if (!object[key].is_string()) throw InputError("\"" + key + "\"" + where + " must be a string");
  return object[key].get<std::string>();
}

// The name under `key` must be registered in `factory`.
template <class Base>
void checkName(const json& config, const Factory<Base>& factory) {
  const std::string& key = factory.getKey();
  const std::string name = stringKey(config, key, "");
  auto names = factory.getNames();
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    throw InputError("unknown " + key + " \"" + name + "\"; registered: " + joined(names));
  }
}

void checkDevice(const json& params, const std::string& where) {
  if (!params.contains("device")) return;
  const std::string text = stringKey(params, "device", where);
  Device device;
  try {
    device = Device(text);
  } catch (const std::exception&) {
    throw InputError("bad device \"" + text + "\"" + where);
  }
  auto all = Device::getAllDevices();
  if (std::find(all.begin(), all.end(), device) == all.end() || device.name != text.substr(0, text.find(':'))) {
    std::vector<std::string> names;
    for (const auto& d : all) names.push_back(d.toString());
    throw InputError("device \"" + text + "\" is not available; devices here: " + joined(names));
  }
}

// Every "<Name>_params" block, at any depth, is an object: the library would ignore any
// other value and use its defaults.
void checkParamBlocks(const json& value) {
  if (!value.is_object() && !value.is_array()) return;
  for (auto it = value.begin(); it != value.end(); ++it) {
    const std::string key = value.is_object() ? it.key() : std::string();
    const std::string suffix = "_params";
    if (key.size() > suffix.size() && key.compare(key.size() - suffix.size(), suffix.size(), suffix) == 0 &&
        !it->is_object()) {
      throw InputError("\"" + key + "\" must be an object");
    }
    checkParamBlocks(*it);
  }
}

std::unique_ptr<MatrixMarketInput> checkMatrixMarketFiles(const json& config, ValueKind kind) {
  const json params = config.value("MatrixMarket_params", json::object());
  const std::string where = " in MatrixMarket_params";
  stringKey(params, "filename_A", where);
  for (const char* key : {"filename_b", "filename_x"}) {
    if (params.contains(key)) stringKey(params, key, where);
  }
  checkDevice(params, where);
  return std::make_unique<MatrixMarketInput>(params, kind);
}

// The test problem reads "dim" and "N" as int, takes any "dim" but 3 for a plane and gives a
// zero right-hand side for any but 2, and has N^dim rows.
void checkPoissonParams(const json& config, long valueBytes) {
  const json params = config.value("PoissonFDM_params", json::object());
  if (!params.contains("dim") || !params["dim"].is_number_integer() ||
      (params["dim"].get<long>() != 2 && params["dim"].get<long>() != 3)) {
    throw InputError("\"dim\" in PoissonFDM_params must be 2 or 3");
  }
  const long dim = params["dim"].get<long>();
  long n = 100;
  if (params.contains("N")) {
    if (!params["N"].is_number_integer() || params["N"].get<double>() < 1 ||
        params["N"].get<double>() > double(kMaxLocalIndex)) {
      throw InputError("\"N\" in PoissonFDM_params must be a positive integer of at most " +
                       std::to_string(kMaxLocalIndex));
    }
    n = params["N"].get<long>();
  }
  // Each of the dim axes has N^(dim-1) (N-1) edges, an entry on either side of the diagonal.
  const double rows = std::pow(double(n), double(dim));
  const double entries = rows + 2.0 * double(dim) * (rows / double(n)) * double(n - 1);
  if (entries > double(kMaxLocalIndex)) {
    char counts[96];
    std::snprintf(counts, sizeof counts, "%.0f rows and %.0f entries", rows, entries);
    throw InputError("\"N\": " + std::to_string(n) + " with \"dim\": " + std::to_string(dim) + " gives " + counts +
                     ", more than the 32-bit local index holds (" + std::to_string(kMaxLocalIndex) + ")");
  }
  checkMemory(long(rows), long(entries), valueBytes, "PoissonFDM_params");
}

}  // namespace

std::string valueTypeOf(const json& config) {
  if (!config.is_object()) throw InputError("the configuration must be a JSON object");
  if (!config.contains("value_type")) return "double";
  const std::string type = stringKey(config, "value_type", "");
  if (type != "double" && type != "complex") {
    throw InputError("unknown value_type \"" + type + "\"; choose \"double\" or \"complex\"");
  }
  return type;
}

template <class Value>
CheckedProblem checkConfig(const json& config) {
  valueTypeOf(config);
  checkParamBlocks(config);
  checkName(config, TestCaseT<Value, long, int>::getFactory());
  checkName(config, ParSolverT<Value, long, int>::getFactory());
  if (config.contains("preconditioner_type")) checkName(config, ParPreconditionerT<Value, long, int>::getFactory());
  if (config.contains("output_x")) stringKey(config, "output_x", "");
  if (config.contains("output_format")) {
    const std::string format = stringKey(config, "output_format", "");
    if (format != "standard" && format != "velmo") {
      throw InputError("unknown output_format \"" + format + "\"; choose \"standard\" or \"velmo\"");
    }
  }

  CheckedProblem problem{config, nullptr};
  const std::string testcase = config["testcase_type"].get<std::string>();
  const std::string paramsKey = testcase + "_params";
  if (testcase == "MatrixMarket") {
    problem.files = checkMatrixMarketFiles(config, is_complex_v<Value> ? ValueKind::Complex : ValueKind::Real);
    problem.config[paramsKey] = problem.files->libraryParams();
    return problem;
  }
  if (config.contains(paramsKey)) checkDevice(config[paramsKey], " in " + paramsKey);
  if (testcase == "PoissonFDM") checkPoissonParams(config, long(sizeof(Value)));
  return problem;
}

template CheckedProblem checkConfig<double>(const json& config);
template CheckedProblem checkConfig<Complex<double>>(const json& config);

}  // namespace velmo::driver
