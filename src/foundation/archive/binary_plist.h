// Binary property lists: values in the form that the platform keeps on a disk.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/archive/plist_format.h"
#include "foundation/error.h"
#include "foundation/value.h"

namespace quillfold {

// Reads and writes the format "bplist00". Errors are in domain
// "NSCocoaErrorDomain", code 3840 for bytes that can't be read and 3851 for a
// value that can't be written.
class NSPropertyListSerialization {
 public:
  // The deepest nesting that is read or written; beyond it there is an error.
  static constexpr std::size_t kMaximumDepth = plist::kMaximumDepth;

  // Any value of any type but null. Absent, with the error set, for other
  // formats, for null, UIDs and keys that are no strings, for references that
  // lead in circles, and for objects that are shared so widely that the value
  // would be out of proportion to the bytes. Integers beyond 64 bits become
  // doubles; of two equal keys the last wins.
  static std::optional<Value> propertyListWithData(std::string_view bytes,
                                                   ErrorPtr* error = nullptr);

  // Absent, with the error set, for a value that is or holds null. Malformed
  // UTF-8 is written as U+FFFD.
  static std::optional<std::string> dataWithPropertyList(const Value& value,
                                                         ErrorPtr* error = nullptr);
};

}  // namespace quillfold
