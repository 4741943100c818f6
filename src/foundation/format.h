// Text formatting. The one header of the logic that names the formatting
// library; no public header includes it.
#pragma once

#include <fmt/format.h>

#include <string>

#include "platform/log.h"

namespace quillfold {

// A double as JSON writes it: the shortest decimal that reads back the same,
// without a fraction where there is none.
std::string formatNumber(double value);

// Writes one formatted line to the plain log.
template <typename... Args>
void logLine(fmt::format_string<Args...> format, Args&&... args) {
  NSLog(fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace quillfold
