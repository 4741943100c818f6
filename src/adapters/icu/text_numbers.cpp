// Numbers at the start of texts.
#include <locale.h>

#include <cstdlib>
#include <limits>

#include "adapters/icu/characters.h"
#include "foundation/text.h"

namespace quillfold::text {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view withoutLeadingWhitespace(std::string_view text) {
  std::int32_t next = 0;
  while (!text.empty() && isWhitespaceOrNewline(nextCharacter(text, next = 0))) {
    text.remove_prefix(static_cast<std::size_t>(next));
  }
  return text;
}

std::size_t digitsAt(std::string_view text, std::size_t start) {
  std::size_t end = start;
  while (end < text.size() && isDigit(text[end]))
    ++end;
  return end - start;
}

bool isSign(std::string_view text, std::size_t at) {
  return at < text.size() && (text[at] == '+' || text[at] == '-');
}

// The length of the decimal number that the text starts with; 0 if with none.
std::size_t decimalLength(std::string_view text) {
  std::size_t end = isSign(text, 0) ? 1 : 0;
  const std::size_t whole = digitsAt(text, end);
  end += whole;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fraction = digitsAt(text, end + 1);
    if (whole + fraction == 0) return 0;
    end += 1 + fraction;
  } else if (whole == 0) {
    return 0;
  }
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const std::size_t start = end + 1 + (isSign(text, end + 1) ? 1 : 0);
    if (const std::size_t exponent = digitsAt(text, start)) end = start + exponent;
  }
  return end;
}

}  // namespace

std::int64_t integerValue(std::string_view text) {
  using Limits = std::numeric_limits<std::int64_t>;
  text = withoutLeadingWhitespace(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (isSign(text, 0)) text.remove_prefix(1);
  // Counted downward, where there is room for one more.
  std::int64_t value = 0;
  for (const char c : text.substr(0, digitsAt(text, 0))) {
    const int digit = c - '0';
    if (value < (Limits::min() + digit) / 10) return negative ? Limits::min() : Limits::max();
    value = value * 10 - digit;
  }
  if (negative) return value;
  return value == Limits::min() ? Limits::max() : -value;
}

double doubleValue(std::string_view text) {
  // The host may have set a locale with a decimal comma.
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  text = withoutLeadingWhitespace(text);
  const std::string number(text.substr(0, decimalLength(text)));
  return number.empty() ? 0 : strtod_l(number.c_str(), nullptr, plain);
}

bool boolValue(std::string_view text) {
  text = withoutLeadingWhitespace(text);
  const bool hasSign = isSign(text, 0);
  if (hasSign) text.remove_prefix(1);
  while (!text.empty() && text.front() == '0')
    text.remove_prefix(1);
  if (text.empty()) return false;
  if (isDigit(text.front())) return true;
  return !hasSign && std::string_view("YyTt").find(text.front()) != std::string_view::npos;
}

}  // namespace quillfold::text
