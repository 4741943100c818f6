#include "apps/support/option_checks.h"

#include <charconv>

namespace support {

namespace {

std::string isNot(const std::string& value, const std::string& what) {
  return '"' + value + "\" is not " + what;
}

}  // namespace

CLI::Validator takes(const std::string& what, bool (*isValid)(const std::string& value)) {
  return {[what, isValid](const std::string& value) {
            return isValid(value) ? std::string() : isNot(value, what);
          },
          ""};
}

CLI::Validator takesNumber(std::int64_t least, std::int64_t most) {
  return {[least, most](std::string& value) {
            if (!isNumber(value, least, most)) {
              return isNot(
                  value, "a number from " + std::to_string(least) + " to " + std::to_string(most));
            }
            // CLI11 takes a zero in front for the sign of an octal number.
            value.erase(0, std::min(value.find_first_not_of('0'), value.size() - 1));
            return std::string();
          },
          ""};
}

bool isNumber(const std::string& text, std::int64_t least, std::int64_t most) {
  const char* end = text.data() + text.size();
  std::int64_t number = 0;
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end && number >= least && number <= most;
}

}  // namespace support
