#pragma once

#include <memory>
#include <string>

#include "utils/FactoryFwd.h"

namespace velmo {

// The parameters an object works with, as its `create` found them: every key the class knows,
// with the value given or its default. A class reads each key through here once, and the
// record follows. Copies are independent; an object that records nothing costs one pointer.
class ParamRecord {
 public:
  ParamRecord();
  ~ParamRecord();
  ParamRecord(const ParamRecord& other);
  ParamRecord& operator=(const ParamRecord& other);
  ParamRecord(ParamRecord&& other) noexcept;
  ParamRecord& operator=(ParamRecord&& other) noexcept;

  // A JSON object, empty until something is recorded.
  const json& get() const;

  // Takes params[key] into `value` when params is an object holding the key, converted by the
  // JSON library, whose type errors propagate; records the value in effect either way. Returns
  // whether the key was given.
  bool read(const json& params, const char* key, int& value);
  bool read(const json& params, const char* key, long& value);
  bool read(const json& params, const char* key, double& value);
  bool read(const json& params, const char* key, bool& value);
  bool read(const json& params, const char* key, std::string& value);
  // A flag that may be given as a boolean or a number, set when not zero.
  bool readFlag(const json& params, const char* key, bool& value);

  // Records a value not read by the above, such as the configuration block of a part.
  void set(const std::string& key, const json& value);

 private:
  template <class Read, class T>
  bool readAs(const json& params, const char* key, T& value);

  std::unique_ptr<json> record;
};

}  // namespace velmo
