// Puts folded lines together again, byte by byte: a fold may stand inside a character.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/card_splitter.h"

namespace quillfold::vcard {

enum class Encoding { None, QuotedPrintable, Base64 };

// A whole line of a card: NAME;PARAMETERS:VALUE.
struct LogicalLine {
  std::string text;
  std::size_t number = 0;
  // Where the value's ":" is; npos if there is none.
  std::size_t colon = std::string::npos;
  Encoding encoding = Encoding::None;
};

std::vector<LogicalLine> unfolded(const RawCard& card);

// Which encoding a parameter names, written as ENCODING=B or, as in version 2.1, alone.
Encoding encodingOfParameter(std::string_view parameter);

// The parts of the text between separators that stand outside of double quotes, at most
// `limit`; the last one then holds the rest.
std::vector<std::string_view> splitOutsideQuotes(std::string_view text, char separator,
                                                 std::size_t limit);

// A line has no more parameters than this; the last one then holds the rest.
inline constexpr std::size_t kMaximumParameters = 64;

}  // namespace quillfold::vcard
