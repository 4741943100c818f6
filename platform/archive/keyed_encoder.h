// Writing the keys of one record into a keyed archive.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillfold {

// Takes the keys of one record. An absent string is written as absent.
class KeyedEncoder {
 public:
  virtual ~KeyedEncoder() = default;
  virtual void encodeString(const std::optional<std::string>& value, std::string_view key) = 0;
  virtual void encodeBool(bool value, std::string_view key) = 0;
  virtual void encodeDouble(double value, std::string_view key) = 0;
};

}  // namespace quillfold
