// The rules by which the fields of a described record are archived.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archive_names.h"
#include "foundation/archive/keyed_encoder.h"
#include "foundation/json_field.h"

namespace quillfold::coding {

// A string. A value of another type is encoded as it stands, and refused by the
// decoder.
struct String {
  static void encode(const JSONField& field, KeyedObjectEncoder& coder, const char* key) {
    coder.encodeValue(field.value(), key);
  }
  static bool decode(KeyedDecoder& coder, const char* key, JSONField& field) {
    field = coder.decodeStringForKey(key);
    return !field.isAbsent();
  }
};

struct Boolean {
  static void encode(bool field, KeyedObjectEncoder& coder, const char* key) {
    coder.encodeBool(field, key);
  }
  static bool decode(KeyedDecoder& coder, const char* key, bool& field) {
    field = coder.decodeBoolForKey(key);
    return true;
  }
};

struct Integer {
  static void encode(std::int64_t field, KeyedObjectEncoder& coder, const char* key) {
    coder.encodeInteger(field, key);
  }
  static bool decode(KeyedDecoder& coder, const char* key, std::int64_t& field) {
    field = coder.decodeIntegerForKey(key);
    return true;
  }
};

// A dictionary or an array, of which the decoder allows containers of the same
// class and strings. Everything else is encoded, and refused by the decoder.
template <const std::string_view& containerClass>
struct OfStrings {
  template <typename Container>
  static void encode(const std::optional<Container>& field, KeyedObjectEncoder& coder,
                     const char* key) {
    coder.encodeValue(field ? std::optional<Value>(*field) : std::nullopt, key);
  }
  static bool decode(KeyedDecoder& coder, const char* key, std::optional<Array>& field) {
    auto value = decodeValue(coder, key);
    if (Array* array = value ? value->asArray() : nullptr) field = std::move(*array);
    return field.has_value();
  }
  static bool decode(KeyedDecoder& coder, const char* key, std::optional<Dictionary>& field) {
    auto value = decodeValue(coder, key);
    if (Dictionary* entries = value ? value->asDictionary() : nullptr) field = std::move(*entries);
    return field.has_value();
  }

 private:
  static std::optional<Value> decodeValue(KeyedDecoder& coder, const char* key) {
    return coder.decodeValueForKey(key, std::array{containerClass, keyed_archive::kString});
  }
};
using StringArray = OfStrings<keyed_archive::kArray>;
using StringDictionary = OfStrings<keyed_archive::kDictionary>;

// An array of records of one class.
template <typename Record>
struct Records {
  using List = std::optional<std::vector<std::shared_ptr<Record>>>;

  static void encode(const List& field, KeyedObjectEncoder& coder, const char* key) {
    if (!field) return coder.encodeValue(std::nullopt, key);
    coder.encodeObjects(std::vector<NSSecureCodingPtr>(field->begin(), field->end()), key);
  }
  static bool decode(KeyedDecoder& coder, const char* key, List& field) {
    const auto objects = coder.decodeObjectsForKey(key, secureClass<Record>());
    if (!objects) return false;
    field.emplace();
    for (const auto& object : *objects)
      field->push_back(std::static_pointer_cast<Record>(object));
    return true;
  }
};

}  // namespace quillfold::coding
