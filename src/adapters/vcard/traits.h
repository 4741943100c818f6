// What a text holds that has to be seen to.
#pragma once

#include <string_view>

#include "foundation/text.h"

namespace quillfold::vcard {

// At first those of a text that may hold anything.
class Traits {
 public:
  // Those of a part of the text, which can have no others.
  Traits of(std::string_view part) const {
    Traits traits;
    traits.foreign = foreign && (!text::isASCII(part) || holds(part, '\0'));
    traits.quotes = quotes && holds(part, '"');
    traits.carets = carets && holds(part, '^');
    traits.backslashes = backslashes && holds(part, '\\');
    return traits;
  }

  bool foreign = true;  // NUL, or anything beyond ASCII.
  bool quotes = true;
  bool carets = true;
  bool backslashes = true;

 private:
  static bool holds(std::string_view text, char c) {
    return text.find(c) != std::string_view::npos;
  }
};

}  // namespace quillfold::vcard
