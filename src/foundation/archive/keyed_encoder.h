// Writing the keys of one record into a keyed archive.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "foundation/archive/secure_coding.h"
#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

// Takes the keys of one flat record. An absent string is written as absent.
class QUILLFOLD_EXPORT KeyedEncoder {
 public:
  virtual ~KeyedEncoder() = default;
  virtual void encodeString(const std::optional<std::string>& value, std::string_view key) = 0;
  virtual void encodeBool(bool value, std::string_view key) = 0;
  virtual void encodeDouble(double value, std::string_view key) = 0;
};

// Takes the keys of a record that may refer to other objects. What is absent is
// written as absent, a null among the elements of an array is left out.
class QUILLFOLD_EXPORT KeyedObjectEncoder : public KeyedEncoder {
 public:
  virtual void encodeInteger(std::int64_t value, std::string_view key) = 0;
  // A value of any type, containers with all they hold. Null is an object of the
  // class NSNull, which is not the same as an absent value.
  virtual void encodeValue(const std::optional<Value>& value, std::string_view key) = 0;
  // An object that is encoded several times is archived once.
  virtual void encodeObject(const NSSecureCodingPtr& object, std::string_view key) = 0;
  virtual void encodeObjects(std::span<const NSSecureCodingPtr> array, std::string_view key) = 0;
};

}  // namespace quillfold
