// The two log channels: the plain log, which has no levels, and the leveled log
// with a subsystem and a category.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foundation/export.h"

namespace quillfold {

enum class LogLevel { Debug, Info, Warning, Error };

// Where log lines go. A host installs its own in Platform::log. Called from any
// thread, possibly from several at once; must not call back into the library.
class QUILLFOLD_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  // One line of the plain log, without a line end.
  virtual void plain(std::string_view line) = 0;
  // Whether lines of the plain log, or of a level, are wanted at all: no message is built for
  // one that is not. All are unless a sink says otherwise.
  virtual bool wantsPlain() const { return true; }
  virtual bool wants(LogLevel level) const {
    static_cast<void>(level);
    return true;
  }
  // One line of the leveled log.
  virtual void leveled(LogLevel level, std::string_view subsystem, std::string_view category,
                       std::string_view line) = 0;
};

// Writes one line to the plain log.
QUILLFOLD_EXPORT void NSLog(std::string_view line);
// Whether anybody wants such lines; ask before a message that is costly to make.
QUILLFOLD_EXPORT bool NSLogEnabled();

// A handle of the leveled log.
struct OSLog {
  std::string subsystem;
  std::string category;
};
using OSLogPtr = std::shared_ptr<const OSLog>;

QUILLFOLD_EXPORT OSLogPtr os_log_create(std::string subsystem, std::string category);

// Whether anybody wants lines of the level; not without a handle.
QUILLFOLD_EXPORT bool os_log_enabled(const OSLogPtr& log, LogLevel level);

// Each writes one line at its level; without a handle the line is dropped.
QUILLFOLD_EXPORT void os_log_debug(const OSLogPtr& log, std::string_view line);
QUILLFOLD_EXPORT void os_log_info(const OSLogPtr& log, std::string_view line);
QUILLFOLD_EXPORT void os_log_error(const OSLogPtr& log, std::string_view line);

}  // namespace quillfold
