#pragma once

#include <glog/logging.h>

#include <memory>
#include <string>
#include <vector>

#include "utils/Factory.h"

namespace velmo {

// One member of a composite operator, from a configuration object naming it under the
// factory's key. An element that is not an object and an unknown name are fatal, since a list
// that silently lost a member would be another method.
template <class T>
std::shared_ptr<T> createMember(const json& entry, const char* listName) {
  CHECK(entry.is_object()) << listName << ": each member must be a configuration object, got " << entry;
  const Factory<T>& factory = T::getFactory();
  std::shared_ptr<T> member = factory.createInstance(entry);
  CHECK(member != nullptr) << listName << ": unknown " << factory.getKey() << " in " << entry;
  return member;
}

// The members of a composite operator: params[key] is an array of configuration objects, each
// naming its member under the factory's key ("smoother_type", ...) with "<Name>_params"
// beside it. Members are made in array order. An absent key gives no members; a value that is
// not an array is fatal.
template <class T>
std::vector<std::shared_ptr<T>> createMembers(const json& params, const char* key, const char* listName) {
  std::vector<std::shared_ptr<T>> members;
  if (!params.is_object() || !params.contains(key)) return members;
  const json& list = params[key];
  CHECK(list.is_array()) << listName << ": \"" << key << "\" must be an array of objects";
  for (const json& entry : list) members.push_back(createMember<T>(entry, listName));
  return members;
}

// The blocks of `members`, made by createMembers from params[key], as the members report them.
template <class T>
json describeMembers(const json& params, const char* key, const std::vector<std::shared_ptr<T>>& members) {
  json blocks = json::array();
  for (size_t k = 0; k < members.size(); ++k) blocks.push_back(T::getFactory().describe(params[key][k], *members[k]));
  return blocks;
}

}  // namespace velmo
