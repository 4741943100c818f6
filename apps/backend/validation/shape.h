// Checking JSON against a table of its fields.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <span>
#include <string_view>

namespace quillfold::backend {

// What a value may be; a field may allow several.
enum Kind : unsigned {
  kString = 1,
  kFilledString = 2,  // Not "".
  kBoolean = 4,
  kInteger = 8,     // Of 64 bits, signed.
  kZeroOrOne = 16,  // The integers, not the booleans.
  kPositive = 32,   // A number above 0.
  kObject = 64,
  kStrings = 128,  // An array of strings.
  kObjects = 256,  // An array of objects.
  kNull = 512,
  kSourceType = 1024,  // One of the names of the kinds of sources.
  kTime = 2048,        // A date and time with its zone, as a text.
};

enum class Presence { kRequired, kOptional };
inline constexpr auto kOptional = Presence::kOptional;

struct Shape;

struct Field {
  std::string_view key;
  unsigned kinds;  // Of Kind, or-ed.
  Presence presence = Presence::kRequired;
  // The shape of an object, or of each object of an array; chosen by the value,
  // since some come in two forms. Null: any.
  const Shape& (*shapeOf)(const nlohmann::json& value) = nullptr;
};

struct Shape {
  std::span<const Field> fields;
  bool closed = false;  // No keys but those of the fields.
};

// Throws InvalidRequest with a detail for each fault, the first hundred of them.
void requireShape(const nlohmann::json& body, const Shape& shape);

}  // namespace quillfold::backend
