// Property values: decoded JSON, property lists and anything else that is
// passed on without being looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/date.h"
#include "foundation/export.h"

namespace quillfold {

// Immutable bytes with shared storage: a copy costs a reference, whatever the
// size.
class Data {
 public:
  Data() = default;
  explicit Data(std::string bytes)
      : bytes_(std::make_shared<const std::string>(std::move(bytes))) {}

  std::string_view bytes() const { return bytes_ ? std::string_view(*bytes_) : std::string_view(); }
  std::size_t size() const { return bytes().size(); }
  bool empty() const { return size() == 0; }

  friend bool operator==(const Data& a, const Data& b) { return a.bytes() == b.bytes(); }

 private:
  std::shared_ptr<const std::string> bytes_;
};

class Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value>;

// One value of any of the property types. Null is a value of its own: that
// something is absent is told by std::optional<Value> or by the missing key.
class QUILLFOLD_EXPORT Value {
 public:
  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool v) : storage_(v) {}
  Value(int v) : storage_(std::int64_t{v}) {}
  Value(std::int64_t v) : storage_(v) {}
  Value(double v) : storage_(v) {}
  Value(const char* v) : storage_(std::string(v)) {}
  Value(std::string v) : storage_(std::move(v)) {}
  Value(Data v) : storage_(std::move(v)) {}
  Value(NSDate v) : storage_(v) {}
  Value(Array v) : storage_(std::move(v)) {}
  Value(Dictionary v) : storage_(std::move(v)) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
  bool isBool() const { return std::holds_alternative<bool>(storage_); }
  bool isInteger() const { return std::holds_alternative<std::int64_t>(storage_); }
  bool isDouble() const { return std::holds_alternative<double>(storage_); }
  // A boolean, an integer or a double.
  bool isNumber() const { return isBool() || isInteger() || isDouble(); }
  bool isString() const { return std::holds_alternative<std::string>(storage_); }
  bool isData() const { return std::holds_alternative<Data>(storage_); }
  bool isDate() const { return std::holds_alternative<NSDate>(storage_); }
  bool isArray() const { return std::holds_alternative<Array>(storage_); }
  bool isDictionary() const { return std::holds_alternative<Dictionary>(storage_); }

  // The content if the value has that type, else a null pointer.
  const bool* asBool() const { return std::get_if<bool>(&storage_); }
  const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&storage_); }
  const double* asDouble() const { return std::get_if<double>(&storage_); }
  const std::string* asString() const { return std::get_if<std::string>(&storage_); }
  const Data* asData() const { return std::get_if<Data>(&storage_); }
  const NSDate* asDate() const { return std::get_if<NSDate>(&storage_); }
  const Array* asArray() const { return std::get_if<Array>(&storage_); }
  Array* asArray() { return std::get_if<Array>(&storage_); }
  const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&storage_); }
  Dictionary* asDictionary() { return std::get_if<Dictionary>(&storage_); }

  // Numbers and strings read as a number, everything else as false or 0. A
  // string is read as the platform reads it (foundation/text.h); a double is
  // truncated toward zero and saturates.
  bool boolValue() const;
  std::int64_t integerValue() const;
  double doubleValue() const;

  // The text that stands for the value in messages: a string as it is, a number
  // as JSON writes it, null as "<null>", data as its size, containers as
  // readable text in the order of their keys.
  std::string description() const;

  friend bool operator==(const Value&, const Value&);

 private:
  std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, NSDate, Array,
               Dictionary>
      storage_;
};

QUILLFOLD_EXPORT std::string description(const Dictionary& dictionary);

// The entry under a key, or a null pointer if the key is missing. An entry that
// is JSON null is there.
QUILLFOLD_EXPORT const Value* find(const Dictionary& dictionary, std::string_view key);

// The string under a key; absent if the key is missing or holds another type.
QUILLFOLD_EXPORT std::optional<std::string> stringForKey(const Dictionary& dictionary,
                                                         std::string_view key);

// Sets the entry if there is a value, and leaves the key out otherwise.
template <typename T>
void setIfPresent(Dictionary& dictionary, const char* key, const std::optional<T>& value) {
  if (value) dictionary[key] = *value;
}

// The value, or JSON null where it is absent.
template <typename T>
Value valueOrNull(const std::optional<T>& value) {
  return value ? Value(*value) : Value(nullptr);
}

}  // namespace quillfold
