// Unicode text. Strings are UTF-8; lengths and cuts count UTF-16 units, as the
// wire and the stored records do. Bytes that are no UTF-8 read as U+FFFD. All
// operations are pure and independent of the locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"

namespace quillfold::text {

QUILLFOLD_EXPORT_INTERNAL bool isASCII(std::string_view text);
// Whether the bytes are well-formed UTF-8.
QUILLFOLD_EXPORT_INTERNAL bool isValidUTF8(std::string_view bytes);
// The text with every malformed sequence replaced by U+FFFD.
QUILLFOLD_EXPORT_INTERNAL std::string sanitized(std::string_view bytes);

// In UTF-16, and back; half of a surrogate pair reads as U+FFFD.
std::u16string utf16Of(std::string_view text);
std::string utf8Of(std::u16string_view units);

// The length in UTF-16 units.
std::size_t length(std::string_view text);
// The first or last `units` UTF-16 units, or the whole text if it is no longer.
// Half of a surrogate pair that the cut leaves over is written as U+FFFD.
std::string prefix(std::string_view text, std::size_t units);
std::string suffix(std::string_view text, std::size_t units);

// Full Unicode mappings, no locale.
std::string lowercaseString(std::string_view text);
std::string uppercaseString(std::string_view text);

// The text without the characters of general category Zs and tabs at both ends.
std::string trimmingWhitespace(std::string_view text);
// The same with line ends as well: category Z, U+0009 to U+000D and U+0085.
std::string trimmingWhitespaceAndNewlines(std::string_view text);

// The decimal digits (general category Nd) of the text, as they are.
std::string decimalDigits(std::string_view text);

// Order by code point of the canonically decomposed texts: negative, zero or
// positive. Canonically equivalent texts compare equal.
int compare(std::string_view a, std::string_view b);

// Bytes that compare, unsigned, as `compare` compares the texts.
std::string sortKey(std::string_view text);

// The parts between the characters that trimmingWhitespaceAndNewlines removes,
// without the empty ones.
std::vector<std::string> wordsOf(std::string_view text);

// A text as a search sees it that ignores case: case folded in full and
// canonically decomposed. One text is in another, regardless of case, if its
// folded bytes are in the other's and neither begin nor end at an inner position.
struct Folded {
  std::string bytes;
  // Ascending byte positions of the characters that are no character of their
  // own: combining marks, and all but the first of what one character became.
  // Empty for most texts.
  std::vector<std::uint32_t> inner;
};
Folded folded(std::string_view text);

// Numbers at the start of a text. Integer: white space, an optional sign, ASCII
// decimal digits, saturating; double: the longest leading decimal number, no
// hexadecimal, no "inf", no "nan"; anything else is 0. Boolean: white space, then
// an optional sign and zeros, true on a following digit 1 to 9, or, without a
// sign, on Y, y, T or t.
std::int64_t integerValue(std::string_view text);
double doubleValue(std::string_view text);
bool boolValue(std::string_view text);

}  // namespace quillfold::text
