// Formatted lines of the log; no public header includes it. A line that nobody wants is not
// built.
#pragma once

#include "foundation/format.h"
#include "platform/log.h"

namespace quillfold {

// Writes one formatted line to the plain log.
template <typename... Args>
void logLine(fmt::format_string<Args...> format, Args&&... args) {
  if (NSLogEnabled()) NSLog(fmt::format(format, std::forward<Args>(args)...));
}

// Write one formatted line at their level.
template <typename... Args>
requires(sizeof...(Args) > 0) void os_log_debug(const OSLogPtr& log,
                                                fmt::format_string<Args...> format,
                                                Args&&... args) {
  if (!os_log_enabled(log, LogLevel::Debug)) return;
  os_log_debug(log, fmt::format(format, std::forward<Args>(args)...));
}
template <typename... Args>
requires(sizeof...(Args) > 0) void os_log_info(const OSLogPtr& log,
                                               fmt::format_string<Args...> format, Args&&... args) {
  if (!os_log_enabled(log, LogLevel::Info)) return;
  os_log_info(log, fmt::format(format, std::forward<Args>(args)...));
}
template <typename... Args>
requires(sizeof...(Args) > 0) void os_log_error(const OSLogPtr& log,
                                                fmt::format_string<Args...> format,
                                                Args&&... args) {
  if (!os_log_enabled(log, LogLevel::Error)) return;
  os_log_error(log, fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace quillfold
