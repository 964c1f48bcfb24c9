#pragma once

#include <string>
#include <vector>

namespace velmo {

namespace Utils {

// Opens a plug-in so that its static registrations run; a failed load shows only as a
// null handle in the log line.
void loadPlugin(const std::string& path);

// True when VELMO_STRICT_MATRIX_MARKET is set to 1; read on every call.
bool isStrictMatrixMarket();

}  // namespace Utils

// The pieces of `text` between matches of the regular expression `separator`.
std::vector<std::string> stringSplit(const std::string& text, const std::string& separator);

std::string string_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace velmo
