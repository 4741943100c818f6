#include "foundation/value.h"

#include <cmath>
#include <limits>

#include "foundation/format.h"
#include "foundation/text.h"

namespace quillfold {

namespace {

std::int64_t saturatingInteger(double value) {
  // The upper bound itself is not representable in 64 bits.
  constexpr double kUpper = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= kUpper) return std::numeric_limits<std::int64_t>::max();
  if (value < -kUpper) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

// A string inside a container stands between quotes, so that a container of
// strings can be told from a container of numbers.
std::string nestedDescription(const Value& value) {
  if (const auto* text = value.asString()) return '"' + *text + '"';
  return value.description();
}

}  // namespace

bool Value::boolValue() const {
  if (const auto* v = asBool()) return *v;
  if (const auto* v = asInteger()) return *v != 0;
  if (const auto* v = asDouble()) return *v != 0;
  if (const auto* v = asString()) return text::boolValue(*v);
  return false;
}

std::int64_t Value::integerValue() const {
  if (const auto* v = asBool()) return *v ? 1 : 0;
  if (const auto* v = asInteger()) return *v;
  if (const auto* v = asDouble()) return saturatingInteger(*v);
  if (const auto* v = asString()) return text::integerValue(*v);
  return 0;
}

double Value::doubleValue() const {
  if (const auto* v = asBool()) return *v ? 1 : 0;
  if (const auto* v = asInteger()) return static_cast<double>(*v);
  if (const auto* v = asDouble()) return *v;
  if (const auto* v = asString()) return text::doubleValue(*v);
  return 0;
}

std::string Value::description() const {
  if (isNull()) return "<null>";
  if (const auto* v = asBool()) return *v ? "true" : "false";
  if (const auto* v = asInteger()) return fmt::format("{}", *v);
  if (const auto* v = asDouble()) return formatNumber(*v);
  if (const auto* v = asString()) return *v;
  if (const auto* v = asData()) return fmt::format("<{} bytes>", v->size());
  if (const auto* v = asDate()) return toISOString(*v);
  if (const auto* v = asDictionary()) return quillfold::description(*v);
  std::string out = "[";
  for (const Value& element : *asArray()) {
    if (out.size() > 1) out += ", ";
    out += nestedDescription(element);
  }
  return out + "]";
}

std::string description(const Dictionary& dictionary) {
  std::string out = "{";
  for (const auto& [key, value] : dictionary) {
    if (out.size() > 1) out += ", ";
    out += key + ": " + nestedDescription(value);
  }
  return out + "}";
}

bool operator==(const Value& a, const Value& b) {
  return a.storage_ == b.storage_;
}

const Value* find(const Dictionary& dictionary, std::string_view key) {
  const auto it = dictionary.find(std::string(key));
  return it == dictionary.end() ? nullptr : &it->second;
}

std::optional<std::string> stringForKey(const Dictionary& dictionary, std::string_view key) {
  const Value* value = find(dictionary, key);
  if (value == nullptr || !value->isString()) return std::nullopt;
  return *value->asString();
}

}  // namespace quillfold
