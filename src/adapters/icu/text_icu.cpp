#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "adapters/icu/characters.h"
#include "foundation/text.h"

namespace quillfold::text {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool isASCIIByte(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

void check(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(std::string("ICU: ") + u_errorName(status));
}

// A place in a text, in bytes, and whether it lies inside a surrogate pair.
struct Cut {
  std::size_t before;  // The end of the characters that lie wholly before the cut.
  std::size_t behind;  // The start of those that lie wholly behind it.
  bool splitsPair() const { return before != behind; }
};

Cut cutAfterUnits(std::string_view text, std::size_t units) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::int32_t position = 0;
  std::size_t counted = 0;
  while (position < size && counted < units) {
    const std::int32_t start = position;
    counted += static_cast<std::size_t>(U16_LENGTH(nextCharacter(text, position)));
    if (counted > units)
      return {static_cast<std::size_t>(start), static_cast<std::size_t>(position)};
  }
  return {static_cast<std::size_t>(position), static_cast<std::size_t>(position)};
}

template <typename Set>
std::string trimmed(std::string_view text, Set contains) {
  std::int32_t begin = 0;
  auto end = static_cast<std::int32_t>(text.size());
  for (std::int32_t next = 0; begin < end && contains(nextCharacter(text, next)); begin = next) {
  }
  for (std::int32_t next = end; end > begin && contains(previousCharacter(text, next));
       end = next) {
  }
  return std::string(
      text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

using CaseMapping = void (*)(const char* locale, std::uint32_t options, icu::StringPiece,
                             icu::ByteSink&, icu::Edits*, UErrorCode&);

// `first` to `last` are the ASCII letters that change.
std::string mapped(std::string_view text, char first, char last, CaseMapping map) {
  if (isASCII(text)) {
    std::string out(text);
    for (char& c : out) {
      if (c >= first && c <= last) c = static_cast<char>(c ^ 0x20);
    }
    return out;
  }
  const std::string clean = sanitized(text);
  std::string out;
  out.reserve(clean.size());
  icu::StringByteSink<std::string> sink(&out);
  UErrorCode status = U_ZERO_ERROR;
  map("", 0, clean, sink, nullptr, status);
  check(status);
  return out;
}

const icu::Normalizer2& canonicalDecomposition() {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFDInstance(status);
  check(status);
  return *normalizer;
}

icu::UnicodeString decomposed(std::string_view text) {
  static const icu::Normalizer2& normalizer = canonicalDecomposition();
  UErrorCode status = U_ZERO_ERROR;
  const auto units = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  icu::UnicodeString out = normalizer.normalize(units, status);
  check(status);
  return out;
}

}  // namespace

// Most names and numbers are ASCII: the operations below look for that first.
bool isASCII(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t i = 0;
  for (; i + sizeof kHighBits <= text.size(); i += sizeof kHighBits) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + i, sizeof word);
    if ((word & kHighBits) != 0) return false;
  }
  text.remove_prefix(i);
  return std::all_of(text.begin(), text.end(), isASCIIByte);
}

bool isValidUTF8(std::string_view bytes) {
  if (isASCII(bytes)) return true;
  const auto* start = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const auto size = static_cast<std::int32_t>(bytes.size());
  for (std::int32_t position = 0; position < size;) {
    UChar32 character = 0;
    U8_NEXT(start, position, size, character);
    if (character < 0) return false;
  }
  return true;
}

std::string sanitized(std::string_view bytes) {
  if (isValidUTF8(bytes)) return std::string(bytes);
  std::string out;
  icu::UnicodeString::fromUTF8(
      icu::StringPiece(bytes.data(), static_cast<std::int32_t>(bytes.size())))
      .toUTF8String(out);
  return out;
}

std::u16string utf16Of(std::string_view text) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::u16string units;
  units.reserve(text.size());
  for (std::int32_t position = 0; position < size;) {
    const UChar32 character = nextCharacter(text, position);
    if (U_IS_BMP(character)) {
      units += static_cast<char16_t>(character);
    } else {
      units += {U16_LEAD(character), U16_TRAIL(character)};
    }
  }
  return units;
}

std::string utf8Of(std::u16string_view units) {
  std::string out;
  icu::UnicodeString(false, units.data(), static_cast<std::int32_t>(units.size()))
      .toUTF8String(out);
  return out;
}

std::size_t length(std::string_view text) {
  if (isASCII(text)) return text.size();
  const auto size = static_cast<std::int32_t>(text.size());
  std::size_t units = 0;
  for (std::int32_t position = 0; position < size;) {
    units += static_cast<std::size_t>(U16_LENGTH(nextCharacter(text, position)));
  }
  return units;
}

std::string prefix(std::string_view text, std::size_t units) {
  if (isASCII(text)) return std::string(text.substr(0, units));
  const Cut cut = cutAfterUnits(text, units);
  std::string out(text.substr(0, cut.before));
  if (cut.splitsPair()) out += kReplacement;
  return out;
}

std::string suffix(std::string_view text, std::size_t units) {
  const std::size_t all = length(text);
  if (all <= units) return std::string(text);
  const Cut cut = cutAfterUnits(text, all - units);
  std::string out(cut.splitsPair() ? kReplacement : std::string_view());
  out += text.substr(cut.behind);
  return out;
}

std::string lowercaseString(std::string_view text) {
  return mapped(text, 'A', 'Z', icu::CaseMap::utf8ToLower);
}

std::string uppercaseString(std::string_view text) {
  return mapped(text, 'a', 'z', icu::CaseMap::utf8ToUpper);
}

std::string trimmingWhitespace(std::string_view text) {
  return trimmed(text, isWhitespace);
}

std::string trimmingWhitespaceAndNewlines(std::string_view text) {
  return trimmed(text, isWhitespaceOrNewline);
}

std::vector<std::string> wordsOf(std::string_view text) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::vector<std::string> words;
  bool inWord = false;
  for (std::int32_t position = 0; position < size;) {
    const std::int32_t start = position;
    if (isWhitespaceOrNewline(nextCharacter(text, position))) {
      inWord = false;
      continue;
    }
    if (!inWord) words.emplace_back();
    inWord = true;
    words.back().append(text, static_cast<std::size_t>(start),
                        static_cast<std::size_t>(position - start));
  }
  return words;
}

std::string decimalDigits(std::string_view text) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::string out;
  for (std::int32_t position = 0; position < size;) {
    const std::int32_t start = position;
    const UChar32 character = nextCharacter(text, position);
    const bool digit = character < 0x80 ? character >= '0' && character <= '9'
                                        : u_charType(character) == U_DECIMAL_DIGIT_NUMBER;
    if (digit) {
      out.append(text, static_cast<std::size_t>(start), static_cast<std::size_t>(position - start));
    }
  }
  return out;
}

int compare(std::string_view a, std::string_view b) {
  const auto mismatch = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  auto common = static_cast<std::size_t>(mismatch.first - a.begin());
  const bool endA = common == a.size();
  const bool endB = common == b.size();
  if (endA && endB) return 0;
  // An ASCII character neither decomposes nor changes places with a neighbour, so
  // that two of them, or one and the end of a text, decide as they stand.
  if ((endA || isASCIIByte(a[common])) && (endB || isASCIIByte(b[common]))) {
    if (endA || endB) return endA ? -1 : 1;
    return a[common] < b[common] ? -1 : 1;
  }
  // What equals before the last common ASCII character can't decide either.
  while (common > 0 && !isASCIIByte(a[common - 1]))
    --common;
  return decomposed(a.substr(common)).compareCodePointOrder(decomposed(b.substr(common)));
}

std::string sortKey(std::string_view text) {
  if (isASCII(text)) return std::string(text);
  std::string key;
  decomposed(text).toUTF8String(key);
  return key;
}

namespace {

bool isMark(UChar32 c) {
  return (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0;
}

// Whether the two belong to one Hangul syllable.
bool areConjoiningJamo(UChar32 before, UChar32 c) {
  const auto typeOf = [](UChar32 x) {
    return u_getIntPropertyValue(x, UCHAR_HANGUL_SYLLABLE_TYPE);
  };
  const std::int32_t type = typeOf(c);
  if (type == U_HST_VOWEL_JAMO) return typeOf(before) == U_HST_LEADING_JAMO;
  return type == U_HST_TRAILING_JAMO && typeOf(before) == U_HST_VOWEL_JAMO;
}

}  // namespace

// Folding the decomposed text leaves it decomposed: no character folds to one
// that decomposes further.
Folded folded(std::string_view text) {
  if (isASCII(text)) return {lowercaseString(text), {}};
  Folded out;
  const icu::UnicodeString units = decomposed(text);
  UChar32 before = 0;
  for (std::int32_t i = 0; i < units.length();) {
    const UChar32 character = units.char32At(i);
    bool joins = i > 0 && (isMark(character) || areConjoiningJamo(before, character));
    const icu::UnicodeString parts = icu::UnicodeString(character).foldCase();
    for (std::int32_t j = 0; j < parts.length(); j = parts.moveIndex32(j, 1)) {
      if (joins) out.inner.push_back(static_cast<std::uint32_t>(out.bytes.size()));
      icu::UnicodeString(parts.char32At(j)).toUTF8String(out.bytes);
      joins = true;
    }
    before = character;
    i = units.moveIndex32(i, 1);
  }
  return out;
}

}  // namespace quillfold::text
