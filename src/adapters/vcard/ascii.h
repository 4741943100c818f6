// The characters that the syntax of vCards is made of, independent of the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace quillfold::vcard {

constexpr char lowercase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char uppercase(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool isAlphanumeric(char c) {
  return isDigit(c) || (lowercase(c) >= 'a' && lowercase(c) <= 'z');
}
constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t';
}
constexpr bool isBase64(char c) {
  return isAlphanumeric(c) || c == '+' || c == '/' || c == '=';
}

inline bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return x == y || lowercase(x) == lowercase(y); });
}
inline bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
  return equalIgnoringCase(text.substr(0, start.size()), start);
}

inline std::string lowercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lowercase);
  return result;
}
inline std::string uppercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), uppercase);
  return result;
}

inline std::string_view withoutTrailingBlanks(std::string_view text) {
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  return text;
}
inline std::string_view withoutBlanks(std::string_view text) {
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  return withoutTrailingBlanks(text);
}

}  // namespace quillfold::vcard
