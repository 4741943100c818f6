// Reading UTF-8 character by character, and the sets of white space.
#pragma once

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <string_view>

namespace quillfold::text {

// The character at the position, which moves behind it; U+FFFD for a malformed
// sequence.
inline UChar32 nextCharacter(std::string_view text, std::int32_t& position) {
  const auto size = static_cast<std::int32_t>(text.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 character = 0;
  U8_NEXT_OR_FFFD(bytes, position, size, character);
  return character;
}

// The character before the position, which moves in front of it.
inline UChar32 previousCharacter(std::string_view text, std::int32_t& position) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 character = 0;
  U8_PREV_OR_FFFD(bytes, 0, position, character);
  return character;
}

// Category Zs and tab.
inline bool isWhitespace(UChar32 c) {
  if (c < 0x80) return c == ' ' || c == '\t';
  return u_charType(c) == U_SPACE_SEPARATOR;
}

// Category Z, U+0009 to U+000D and U+0085.
inline bool isWhitespaceOrNewline(UChar32 c) {
  if (c < 0x80) return c == ' ' || (c >= '\t' && c <= '\r');
  return c == 0x85 || (U_GET_GC_MASK(c) & U_GC_Z_MASK) != 0;
}

}  // namespace quillfold::text
