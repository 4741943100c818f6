// Small persistent values under string keys.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/export.h"
#include "foundation/value.h"
#include "platform/files.h"

namespace quillfold {

// The application's defaults. A write is visible to the next read at once, from
// any thread. Data, strings, numbers, booleans, dates, arrays and dictionaries
// survive a restart; null is no property-list value and a write of it is refused
// with a log line.
class QUILLFOLD_EXPORT NSUserDefaults {
 public:
  virtual ~NSUserDefaults() = default;

  // The defaults of the installed platform.
  static NSUserDefaults& standardUserDefaults();

  virtual std::optional<Value> objectForKey(std::string_view key) = 0;
  virtual void setObject(Value value, std::string_view key) = 0;
  virtual void removeObjectForKey(std::string_view key) = 0;
  // Makes sure that what was written is on the disk, and that what others have written is
  // read. Returns whether it is: an account doesn't open where it isn't.
  virtual bool synchronize() = 0;
  // Does the same. Returns the error, in "NSCocoaErrorDomain", or none.
  virtual ErrorPtr synchronizeOrFail() {
    if (synchronize()) return nullptr;
    return NSError::errorWithDomain(
        "NSCocoaErrorDomain", NSFileWriteUnknownError,
        {{NSLocalizedDescriptionKey, "User defaults can't be read or written"}});
  }

  // Derived from objectForKey: a string, or a number's text.
  std::optional<std::string> stringForKey(std::string_view key);
  std::optional<Data> dataForKey(std::string_view key);
  bool boolForKey(std::string_view key);
};

}  // namespace quillfold
