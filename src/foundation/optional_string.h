// Texts that may be absent. Absent and empty are different things.
#pragma once

#include <optional>
#include <string>

namespace quillfold {

using OptionalString = std::optional<std::string>;

inline bool isNonEmpty(const OptionalString& text) {
  return text && !text->empty();
}

}  // namespace quillfold
