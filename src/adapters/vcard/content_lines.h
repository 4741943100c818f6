// The properties of a card as lines: unfolded, decoded and in UTF-8.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/card_splitter.h"

namespace quillfold::vcard {

struct Parameter {
  std::string name;  // Upper case.
  std::string value;
};

// One property. The value is a single line; its backslash escapes are still in it.
struct ContentLine {
  std::string group;  // "item1" of item1.TEL, or empty.
  std::string name;   // Upper case.
  // TYPE stands once for each type. ENCODING is there for base64 only, CHARSET never.
  std::vector<Parameter> parameters;
  std::string value;
};

// The properties whose name `wanted` accepts. A line that is no property is reported
// and left out.
std::vector<ContentLine> contentLines(const RawCard& card,
                                      const std::function<bool(std::string_view name)>& wanted,
                                      const std::function<void(VCardProblem)>& onProblem);

}  // namespace quillfold::vcard
