// Fields that keep whatever the server sent.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "foundation/value.h"

namespace quillfold {

// A field that is meant to be a string, or an object, and is kept as it stands:
// absent, JSON null and a value of another type stay apart. Made of std::nullopt it
// is absent, of nullptr it is JSON null.
class JSONField {
 public:
  JSONField() = default;
  JSONField(std::nullopt_t) {}
  JSONField(std::nullptr_t) : value_(Value(nullptr)) {}
  JSONField(std::string text) : value_(std::move(text)) {}
  JSONField(const char* text) : value_(text) {}
  JSONField(std::optional<std::string> text) {
    if (text) value_ = std::move(*text);
  }
  JSONField(Dictionary object) : value_(std::move(object)) {}
  JSONField(Value value) : value_(std::move(value)) {}
  // What `find` gave: absent where it found no entry.
  explicit JSONField(const Value* entry) {
    if (entry != nullptr) value_ = *entry;
  }

  bool isAbsent() const { return !value_; }
  const std::optional<Value>& value() const { return value_; }
  // The text of a string; absent for everything else.
  std::optional<std::string> string() const {
    if (!value_ || !value_->isString()) return std::nullopt;
    return *value_->asString();
  }
  // The members of an object; absent for everything else.
  std::optional<Dictionary> dictionary() const {
    if (!value_ || !value_->isDictionary()) return std::nullopt;
    return *value_->asDictionary();
  }
  // The text that a message shows: "" for an absent field, "<null>" for null.
  std::string description() const { return value_ ? value_->description() : std::string(); }

  friend bool operator==(const JSONField&, const JSONField&) = default;

 private:
  std::optional<Value> value_;
};

}  // namespace quillfold
