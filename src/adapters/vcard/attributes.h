// The properties of a card, taken apart by libebook-contacts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/content_lines.h"

namespace quillfold::vcard {

struct Attribute {
  std::string group;
  std::string name;
  std::vector<std::string> types;
  std::vector<Parameter> parameters;  // All but TYPE.
  // The fields, escapes resolved. A property that is not compound has exactly one.
  std::vector<std::string> fields;

  const std::string& text() const { return fields.front(); }
  // The field at the index, or "" if the card has fewer.
  std::string field(std::size_t index) const;
  // The parameter's value, or "" without one.
  std::string parameter(std::string_view parameterName) const;
  bool hasType(std::string_view type) const;
};

// The lines as one card in plain form: UTF-8, nothing folded or encoded, no escape that
// the parser does not know. Where `compound` says no, ";" is part of the text.
std::string plainCard(const std::vector<ContentLine>& lines,
                      const std::function<bool(std::string_view name)>& compound);

// The attributes of a plain card, in its order.
std::vector<Attribute> attributesOf(const std::string& plainCard);

// 64 hexadecimal digits that stand for the text.
std::string digest(std::string_view text);

}  // namespace quillfold::vcard
