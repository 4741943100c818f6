// Formatted lines of the plain log; no public header includes it.
#pragma once

#include "foundation/format.h"
#include "platform/log.h"

namespace quillfold {

// Writes one formatted line to the plain log.
template <typename... Args>
void logLine(fmt::format_string<Args...> format, Args&&... args) {
  NSLog(fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace quillfold
