// Writing keyed archives of any objects.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "foundation/archive/keyed_encoder.h"
#include "foundation/archive/plist_format.h"
#include "foundation/error.h"
#include "foundation/export.h"

namespace quillfold {

class QUILLFOLD_EXPORT KeyedArchiver {
 public:
  // The deepest nesting of objects and containers that is written or read; beyond
  // it there is an error.
  static constexpr std::size_t kMaximumDepth = plist::kMaximumDepth;

  // The archive of an object and of all that it encodes, on the caller's thread.
  // Malformed UTF-8 is written as U+FFFD. Absent, with the error set (domain
  // "NSCocoaErrorDomain", code 3851), for a null object, for what is nested too
  // deeply and for more than 4 GiB.
  static std::optional<std::string> archivedDataWithRootObject(const NSSecureCodingPtr& root,
                                                               ErrorPtr* error = nullptr);
};

}  // namespace quillfold
