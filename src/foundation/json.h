// JSON text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

// Reads and writes JSON. Errors are in domain "NSCocoaErrorDomain", code 3840
// for text that can't be read and 3851 for a value that can't be written.
class QUILLFOLD_EXPORT NSJSONSerialization {
 public:
  // The deepest nesting that is read or written; beyond it there is an error.
  static constexpr std::size_t kMaximumDepth = 512;

  // Strict JSON in UTF-8 whose top level is an object or an array; anything
  // else, the empty text included, gives an absent value and sets the error.
  // Integers that fit 64 bits stay integers, larger ones become doubles; of two
  // equal keys the last wins.
  static std::optional<Value> JSONObjectWithData(std::string_view bytes, ErrorPtr* error = nullptr);

  // Compact JSON. Absent, with the error set, for a top level that is no
  // container, for data, dates and numbers that JSON can't hold. Malformed UTF-8
  // in strings is written as U+FFFD.
  static std::optional<std::string> dataWithJSONObject(const Value& value,
                                                       ErrorPtr* error = nullptr);
};

}  // namespace quillfold
