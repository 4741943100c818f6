// The labels of entries.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "adapters/vcard/attributes.h"

namespace quillfold::vcard {

// Each gives the platform's label for the entry's types. A type that the platform has no
// label for is a label of the user's own; without any the label is absent.
std::optional<std::string> phoneLabel(const Attribute& attribute);
std::optional<std::string> placeLabel(const Attribute& attribute);
std::optional<std::string> relationLabel(const Attribute& attribute);

// Whether a type says where or how an entry is used, and not what it is.
bool isPlaceOrPreference(std::string_view type);

}  // namespace quillfold::vcard
