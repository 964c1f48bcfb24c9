#include "utils/Utils.h"

#include <dlfcn.h>
#include <glog/logging.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <regex>

namespace velmo {

void Utils::loadPlugin(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_LAZY);
  LOG(INFO) << "load plugin " << path << " result " << handle;
}

bool Utils::isStrictMatrixMarket() {
  const char* value = std::getenv("VELMO_STRICT_MATRIX_MARKET");
  return value != nullptr && std::strtol(value, nullptr, 10) == 1;
}

std::vector<std::string> stringSplit(const std::string& text, const std::string& separator) {
  std::regex re(separator);
  return {std::sregex_token_iterator(text.begin(), text.end(), re, -1), std::sregex_token_iterator()};
}

std::string string_printf(const char* format, ...) {
  char buffer[512];
  va_list args, retry;
  va_start(args, format);
  va_copy(retry, args);
  int needed = std::vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  std::string text;
  if (needed >= 0 && size_t(needed) < sizeof(buffer)) {
    text.assign(buffer, size_t(needed));
  } else if (needed >= 0) {
    text.resize(size_t(needed) + 1);
    std::vsnprintf(text.data(), text.size(), format, retry);
    text.resize(size_t(needed));
  }
  va_end(retry);
  return text;
}

}  // namespace velmo
