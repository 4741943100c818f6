// The properties of a card.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/unfolding.h"

namespace quillfold::vcard {

// What is known of the properties of one name.
struct Property {
  std::string_view name;  // Upper case.
  bool compound = false;  // Whether ";" stands between fields, or is part of the text.
};

struct Parameter {
  std::string_view name;
  std::string_view value;
};

// All texts are UTF-8, with nothing encoded or escaped.
struct Attribute {
  const Property* property = nullptr;
  std::string_view group;  // "item1" of item1.TEL, or empty.
  std::vector<std::string_view> types;
  // All but TYPE. ENCODING is there for base64 only, CHARSET never.
  std::vector<Parameter> parameters;
  // A property that is not compound has exactly one, others at least one.
  std::vector<std::string_view> fields;

  std::string_view text() const { return fields.front(); }
  // The field at the index, or "" if the card has fewer.
  std::string_view field(std::size_t index) const;
  // The parameter's first value that is not empty, or "" without one.
  std::string_view parameter(std::string_view name) const;
  bool hasType(std::string_view type) const;
};

// Nobody has so many.
inline constexpr std::size_t kMaximumProperties = 5000;

// The properties of one card after the other. Keeps its memory from card to card.
class Attributes {
 public:
  // The property of the name, in any case; null for one that is of no use.
  using FindProperty = const Property* (*)(std::string_view name);

  explicit Attributes(FindProperty find) : find_(find) {}

  // Takes the properties of the card, but not many more than the maximum. The card's text
  // has to live for as long as they are used. A line that is no property is left out and
  // told to `onFault` by its number.
  void read(const RawCard& card, const std::function<void(std::size_t line)>& onFault);

  std::span<const Attribute> all() const { return {attributes_.data(), count_}; }

  // Reads the card, too, and gives it as it would be without folds, encodings and escapes
  // that there need not be.
  std::string plainCard(const RawCard& card);

 private:
  class Reader;

  const FindProperty find_;
  Unfolder unfolder_;
  std::vector<Attribute> attributes_;
  std::size_t count_ = 0;
  std::string* plain_ = nullptr;   // Where the card is also written.
  std::deque<std::string> texts_;  // Those that do not stand in the lines as they are.
};

}  // namespace quillfold::vcard
