#pragma once

#include <glog/logging.h>

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "utils/FactoryFwd.h"
#include "utils/Utils.h"

namespace velmo {

// Name-to-creator registry of one abstract class. A configuration object names the class
// under `key` and may pass its parameters under "<name>_params".
template <class T>
class Factory {
 public:
  using Creator = std::function<std::shared_ptr<T>(const json&)>;

  struct AppInfo {
    std::string base_word;
    std::string name;
    Creator creator;
    json parameters;
    std::shared_ptr<T> instance;
  };

  explicit Factory(std::string key) : key(std::move(key)) {}

  // The first registration of a name wins; later ones are dropped silently, so a plug-in
  // cannot replace a built-in class.
  void insertToMap(const std::string& name, const std::string& base_word, Creator creator) {
    map.emplace(name, AppInfo{base_word, name, std::move(creator), json(), nullptr});
  }

  // Null, with two INFO lines, when the name is unknown; fatal when the key is missing.
  std::shared_ptr<T> createInstance(const json& config) const {
    {
      // Named so that the check prints its documented condition.
      const auto& json = config;
      CHECK(json.contains(key)) << "json " << json << " not contains key " << key;
    }
    const std::string name = config[key].get<std::string>();
    auto it = map.find(name);
    if (it == map.end()) {
      LOG(INFO) << string_printf("getCreator %s failed\n", name.c_str());
      LOG(INFO) << string_printf("createInstance %s failed\n", name.c_str());
      return nullptr;
    }
    const std::string paramsKey = name + "_params";
    json params;
    if (config.contains(paramsKey)) params = config[paramsKey];
    LOG(INFO) << it->second.base_word << "::createInstance: name " << name << ", params " << params << "\n";
    return it->second.creator(params);
  }

  // The block a user writes for `instance`, made from `config`: the name under the key and,
  // under "<name>_params", the parameters the instance reports.
  json describe(const json& config, const T& instance) const {
    const std::string name = config[key].template get<std::string>();
    return {{key, name}, {name + "_params", instance.getParams()}};
  }
  // The same from a probe instance made now. A configuration that names no registered class,
  // or whose parameters the class refuses, comes back as given: its fault is raised where the
  // real instance is made.
  json describe(const json& config) const {
    if (!config.is_object() || !config.contains(key) || !config[key].is_string() ||
        map.count(config[key].template get<std::string>()) == 0) {
      return config;
    }
    try {
      return describe(config, *createInstance(config));
    } catch (const json::exception&) {
      return config;
    }
  }

  const std::string& getKey() const { return key; }

  // The registered names in order, e.g. to tell a user what a configuration may choose.
  std::vector<std::string> getNames() const {
    std::vector<std::string> names;
    names.reserve(map.size());
    for (const auto& entry : map) names.push_back(entry.first);
    return names;
  }

 private:
  std::map<std::string, AppInfo> map;
  std::string key;
};

// Registers Derived under a name in Base's factory during static initialisation. Derived
// needs a constructor without arguments and create(const json& params).
template <class Base, class Derived>
struct FactoryRegisterer {
  FactoryRegisterer(const std::string& name, const std::string& base_word) {
    Base::getFactory().insertToMap(name, base_word, [](const json& params) -> std::shared_ptr<Base> {
      auto object = std::make_shared<Derived>();
      object->create(params);
      return object;
    });
  }
};

}  // namespace velmo

// One registration object, named after its base, name, class and type words, e.g.
// __register__ParSolverT__SolverPCG__SolverPCG_T__float64__int64_t__int.
#define VELMO_REGISTER(Base, Name, Class, V, VWord, G, GWord, L, LWord)       \
  ::velmo::FactoryRegisterer<Base<V, G, L>, Class<V, G, L>>                    \
      __register__##Base##__##Name##__##Class##__##VWord##__##GWord##__##LWord( \
          #Name, #Base)

// The same for the four floating value types with a long global index, and with long and
// int global indices.
#define VELMO_REGISTER_FLOATING_LONG(Base, Name, Class)                                      \
  VELMO_REGISTER(Base, Name, Class, float, float32, long, int64_t, int, int);                 \
  VELMO_REGISTER(Base, Name, Class, double, float64, long, int64_t, int, int);               \
  VELMO_REGISTER(Base, Name, Class, Complex<float>, complex32, long, int64_t, int, int);     \
  VELMO_REGISTER(Base, Name, Class, Complex<double>, complex64, long, int64_t, int, int)
#define VELMO_REGISTER_FLOATING(Base, Name, Class)                                           \
  VELMO_REGISTER_FLOATING_LONG(Base, Name, Class);                                           \
  VELMO_REGISTER(Base, Name, Class, float, float32, int, int32_t, int, int);                 \
  VELMO_REGISTER(Base, Name, Class, double, float64, int, int32_t, int, int);                \
  VELMO_REGISTER(Base, Name, Class, Complex<float>, complex32, int, int32_t, int, int);      \
  VELMO_REGISTER(Base, Name, Class, Complex<double>, complex64, int, int32_t, int, int)
