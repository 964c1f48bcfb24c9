#include "ConfigCheck.h"

#include <algorithm>

#include "MatrixMarketCheck.h"
#include "operators/ParOperator.h"
#include "utils/Device.h"
#include "utils/TestCase.h"
#include "utils/Utils.h"

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

// Vectors must match the matrix; an empty name means the default vector.
void checkVectorFile(const json& params, const char* key, long rows, ValueKind kind, bool strict) {
  if (!params.contains(key)) return;
  const std::string path = stringKey(params, key, " in MatrixMarket_params");
  if (path.empty()) return;
  auto shape = checkArrayFile(path, kind, strict);
  if (shape.rows != rows || shape.cols != 1) {
    throw InputError(path + ": a vector of " + std::to_string(rows) + " rows is needed, the file holds " +
                     std::to_string(shape.rows) + " x " + std::to_string(shape.cols));
  }
}

void checkMatrixMarketFiles(const json& config, ValueKind kind) {
  const json params = config.value("MatrixMarket_params", json::object());
  const std::string where = " in MatrixMarket_params";
  if (!params.is_object()) throw InputError("\"MatrixMarket_params\" must be an object");
  const std::string fileA = stringKey(params, "filename_A", where);
  const bool strict = Utils::isStrictMatrixMarket();
  auto shape = checkCoordinateFile(fileA, kind, strict);
  if (shape.rows != shape.cols) {
    throw InputError(fileA + ": the matrix is " + std::to_string(shape.rows) + " x " + std::to_string(shape.cols) +
                     "; a square matrix is needed");
  }
  checkVectorFile(params, "filename_b", shape.rows, kind, strict);
  checkVectorFile(params, "filename_x", shape.rows, kind, strict);
  checkDevice(params, where);
}

// The grid needs at least one point an axis.
void checkPoissonParams(const json& config) {
  const json params = config.value("PoissonFDM_params", json::object());
  if (!params.is_object() || !params.contains("N")) return;
  if (!params["N"].is_number_integer() || params["N"].get<long>() < 1) {
    throw InputError("\"N\" in PoissonFDM_params must be a positive integer");
  }
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
void checkConfig(const json& config) {
  valueTypeOf(config);
  checkName(config, TestCaseT<Value, long, int>::getFactory());
  checkName(config, ParSolverT<Value, long, int>::getFactory());
  if (config.contains("preconditioner_type")) checkName(config, ParPreconditionerT<Value, long, int>::getFactory());
  if (config.contains("output_x")) stringKey(config, "output_x", "");

  const std::string testcase = config["testcase_type"].get<std::string>();
  const ValueKind kind = is_complex_v<Value> ? ValueKind::Complex : ValueKind::Real;
  if (testcase == "MatrixMarket") {
    checkMatrixMarketFiles(config, kind);
    return;
  }
  if (testcase == "PoissonFDM") checkPoissonParams(config);
  if (config.contains(testcase + "_params") && config[testcase + "_params"].is_object()) {
    checkDevice(config[testcase + "_params"], " in " + testcase + "_params");
  }
}

template void checkConfig<double>(const json& config);
template void checkConfig<Complex<double>>(const json& config);

}  // namespace velmo::driver
