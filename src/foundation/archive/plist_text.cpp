#include "foundation/archive/plist_text.h"

#include <cstdint>
#include <cstring>

namespace quillfold::plist {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

unsigned byteAt(std::string_view bytes, std::size_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

// What may follow a lead byte: how many bytes, and the range of the first one,
// which keeps out overlong forms, surrogates and what lies beyond U+10FFFF.
struct Lead {
  unsigned trailing;
  unsigned lowest;
  unsigned highest;
  char32_t bits;
};

Lead leadOf(unsigned byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF, byte & 0x1F};
  if (byte == 0xE0) return {2, 0xA0, 0xBF, 0};
  if (byte == 0xED) return {2, 0x80, 0x9F, 0x0D};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF, byte & 0x0F};
  if (byte == 0xF0) return {3, 0x90, 0xBF, 0};
  if (byte == 0xF4) return {3, 0x80, 0x8F, 4};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF, byte & 0x07};
  return {0, 0, 0, kReplacement};
}

// The code point at `position`, which moves behind it. The longest start of a
// sequence that is no whole one counts as one replacement.
char32_t nextCodePoint(std::string_view utf8, std::size_t& position) {
  const unsigned first = byteAt(utf8, position++);
  if (first < 0x80) return first;
  Lead lead = leadOf(first);
  for (unsigned i = 0; i < lead.trailing; ++i) {
    if (position == utf8.size()) return kReplacement;
    const unsigned byte = byteAt(utf8, position);
    if (byte < lead.lowest || byte > lead.highest) return kReplacement;
    lead = {lead.trailing, 0x80, 0xBF, (lead.bits << 6) | (byte & 0x3F)};
    ++position;
  }
  return lead.bits;
}

void appendUnit(std::string& out, char32_t unit) {
  out.push_back(static_cast<char>(unit >> 8));
  out.push_back(static_cast<char>(unit & 0xFF));
}

void appendUTF8(std::string& out, char32_t c) {
  const auto trailing = [&](unsigned shift) {
    out.push_back(static_cast<char>(0x80 | ((c >> shift) & 0x3F)));
  };
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    trailing(0);
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    trailing(6);
    trailing(0);
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    trailing(12);
    trailing(6);
    trailing(0);
  }
}

char32_t unitAt(std::string_view units, std::size_t position) {
  return (byteAt(units, position) << 8) | byteAt(units, position + 1);
}

}  // namespace

bool isASCII(std::string_view bytes) {
  const char* at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 8; at += 8, left -= 8) {
    std::uint64_t word;
    std::memcpy(&word, at, 8);
    if ((word & 0x8080808080808080U) != 0) return false;
  }
  for (; left > 0; ++at, --left) {
    if (static_cast<unsigned char>(*at) >= 0x80) return false;
  }
  return true;
}

void appendUTF16(std::string& out, std::string_view utf8) {
  for (std::size_t position = 0; position < utf8.size();) {
    const char32_t c = nextCodePoint(utf8, position);
    if (c < 0x10000) {
      appendUnit(out, c);
    } else {
      appendUnit(out, 0xD800 + ((c - 0x10000) >> 10));
      appendUnit(out, 0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }
}

std::string wellFormedUTF8(std::string_view utf8) {
  if (isASCII(utf8)) return std::string(utf8);
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t position = 0; position < utf8.size();) {
    appendUTF8(out, nextCodePoint(utf8, position));
  }
  return out;
}

std::string utf8FromUTF16(std::string_view units) {
  std::string out;
  out.reserve(units.size());
  for (std::size_t position = 0; position + 1 < units.size(); position += 2) {
    char32_t c = unitAt(units, position);
    if (c >= 0xD800 && c <= 0xDFFF) {
      const char32_t low = position + 3 < units.size() ? unitAt(units, position + 2) : 0;
      if (c <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        position += 2;
      } else {
        c = kReplacement;
      }
    }
    appendUTF8(out, c);
  }
  return out;
}

}  // namespace quillfold::plist
