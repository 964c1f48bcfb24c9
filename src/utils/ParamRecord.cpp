#include "utils/ParamRecord.h"

#include <nlohmann/json.hpp>

namespace velmo {

ParamRecord::ParamRecord() = default;
ParamRecord::~ParamRecord() = default;
ParamRecord::ParamRecord(ParamRecord&& other) noexcept = default;
ParamRecord& ParamRecord::operator=(ParamRecord&& other) noexcept = default;

ParamRecord::ParamRecord(const ParamRecord& other)
    : record(other.record ? std::make_unique<json>(*other.record) : nullptr) {}

ParamRecord& ParamRecord::operator=(const ParamRecord& other) {
  if (this != &other) record = other.record ? std::make_unique<json>(*other.record) : nullptr;
  return *this;
}

const json& ParamRecord::get() const {
  static const json empty = json::object();
  return record ? *record : empty;
}

void ParamRecord::set(const std::string& key, const json& value) {
  if (!record) record = std::make_unique<json>(json::object());
  (*record)[key] = value;
}

template <class Read, class T>
bool ParamRecord::readAs(const json& params, const char* key, T& value) {
  const bool given = params.is_object() && params.contains(key);
  if (given) value = static_cast<T>(params[key].get<Read>());
  set(key, value);
  return given;
}

bool ParamRecord::read(const json& params, const char* key, int& value) { return readAs<int>(params, key, value); }
bool ParamRecord::read(const json& params, const char* key, long& value) { return readAs<long>(params, key, value); }
bool ParamRecord::read(const json& params, const char* key, double& value) {
  return readAs<double>(params, key, value);
}
bool ParamRecord::read(const json& params, const char* key, bool& value) { return readAs<bool>(params, key, value); }
bool ParamRecord::read(const json& params, const char* key, std::string& value) {
  return readAs<std::string>(params, key, value);
}
bool ParamRecord::readFlag(const json& params, const char* key, bool& value) {
  return readAs<int>(params, key, value);
}

}  // namespace velmo
