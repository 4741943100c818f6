// What a value on a command line has to be.
#pragma once

#include <CLI/Option.hpp>
#include <cstdint>
#include <string>

namespace support {

// The error says that the value is not `what`.
CLI::Validator takes(const std::string& what, bool (*isValid)(const std::string& value));

// Decimal, whatever zeros it begins with.
CLI::Validator takesNumber(std::int64_t least, std::int64_t most);

bool isNumber(const std::string& text, std::int64_t least, std::int64_t most);

}  // namespace support
