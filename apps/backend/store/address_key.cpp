#include "apps/backend/store/address_key.h"

namespace quillfold::backend {
namespace {

// Shorter ones are extensions and emergency numbers, which are nobody's own.
constexpr std::size_t kFewestDigits = 5;
constexpr std::size_t kTellingDigits = 9;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string emailKey(std::string_view text) {
  std::string key;
  for (const char c : text) {
    if (c == ' ' || (c >= '\t' && c <= '\r')) continue;
    key += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return key;
}

}  // namespace

std::optional<std::string> addressKey(std::string_view text) {
  if (text.find('@') != std::string_view::npos) {
    std::string key = emailKey(text);
    if (key.front() == '@' || key.back() == '@') return std::nullopt;
    return key;
  }
  std::string digits;
  for (const char c : text) {
    if (isDigit(c)) digits += c;
  }
  if (digits.size() < kFewestDigits) return std::nullopt;
  if (digits.size() > kTellingDigits) digits.erase(0, digits.size() - kTellingDigits);
  return digits;
}

}  // namespace quillfold::backend
