#include "platform/log.h"

#include "platform/platform.h"

namespace quillfold {

namespace {

void write(const OSLogPtr& log, LogLevel level, std::string_view line) {
  if (!os_log_enabled(log, level)) return;
  Platform::current().log->leveled(level, log->subsystem, log->category, line);
}

}  // namespace

void NSLog(std::string_view line) {
  if (NSLogEnabled()) Platform::current().log->plain(line);
}

bool NSLogEnabled() {
  return Platform::current().log->wantsPlain();
}

bool os_log_enabled(const OSLogPtr& log, LogLevel level) {
  return log && Platform::current().log->wants(level);
}

OSLogPtr os_log_create(std::string subsystem, std::string category) {
  return std::make_shared<OSLog>(OSLog{std::move(subsystem), std::move(category)});
}

void os_log_debug(const OSLogPtr& log, std::string_view line) {
  write(log, LogLevel::Debug, line);
}
void os_log_info(const OSLogPtr& log, std::string_view line) {
  write(log, LogLevel::Info, line);
}
void os_log_error(const OSLogPtr& log, std::string_view line) {
  write(log, LogLevel::Error, line);
}

}  // namespace quillfold
