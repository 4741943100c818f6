#include "adapters/vcard/decoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "adapters/icu/charset.h"
#include "adapters/vcard/ascii.h"
#include "foundation/text.h"

namespace quillfold::vcard {

namespace {

constexpr const char* kLatin1 = "windows-1252";

std::string withoutNUL(std::string text) {
  if (text.find('\0') == std::string::npos) return text;
  std::string result;
  for (const char c : text)
    c == '\0' ? result += "\xEF\xBF\xBD" : result += c;
  return result;
}

// Absent if the charset is not known.
std::optional<std::string> converted(std::string_view bytes, const std::string& charset) {
  std::optional<std::string> text = utf8FromCharset(bytes, charset);
  if (text) text = withoutNUL(*std::move(text));
  return text;
}

std::string repaired(std::string_view bytes) {
  return withoutNUL(text::sanitized(bytes));
}

// Whether there is a well-formed sequence of several bytes, which other charsets hardly
// ever form by chance.
bool holdsUTF8Sequence(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead >= 0xC0 && text::isValidUTF8(bytes.substr(i, size))) return true;
  }
  return false;
}

// The charset name for the converter; empty if the bytes are to be taken as UTF-8 where
// they can be. The characters are restricted because converters may be loaded by name.
std::string converterName(std::string_view charset) {
  if (equalIgnoringCase(charset, "utf-8") || equalIgnoringCase(charset, "utf8")) return "";
  const bool plain = std::all_of(charset.begin(), charset.end(), [](char c) {
    return isAlphanumeric(c) || c == '-' || c == '_' || c == '.';
  });
  if (!plain) return "";
  // What is declared as Latin-1 or ASCII is Windows' superset of it in practice.
  if (equalIgnoringCase(charset, "iso-8859-1") || equalIgnoringCase(charset, "latin1") ||
      equalIgnoringCase(charset, "us-ascii")) {
    return kLatin1;
  }
  return std::string(charset);
}

// Which UTF-16 the file is in, with the length of its mark; empty for any other.
std::pair<const char*, std::size_t> utf16Of(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (bytes.starts_with("\xFF\xFE")) return {"UTF-16LE", 2};
  if (bytes.starts_with("\xFE\xFF")) return {"UTF-16BE", 2};
  if (bytes.starts_with("B\0"sv) || bytes.starts_with("b\0"sv)) return {"UTF-16LE", 0};
  if (bytes.starts_with("\0B"sv) || bytes.starts_with("\0b"sv)) return {"UTF-16BE", 0};
  return {nullptr, 0};
}

// What each character stands for as a digit of the alphabet; -1 for the others.
template <std::size_t N>
constexpr std::array<std::int8_t, 256> digitsOf(const char (&alphabet)[N]) {
  std::array<std::int8_t, 256> digits{};
  digits.fill(-1);
  for (std::size_t i = 0; i + 1 < N; ++i)
    digits[static_cast<unsigned char>(alphabet[i])] = static_cast<std::int8_t>(i);
  return digits;
}

int hexadecimal(char c) {
  static constexpr auto kDigits = digitsOf("0123456789ABCDEF");
  return kDigits[static_cast<unsigned char>(uppercase(c))];
}

// The byte at the position of `mark` that two hexadecimal digits behind it stand for.
std::optional<char> encodedByte(std::string_view text, std::size_t at, char mark) {
  if (text[at] != mark || at + 2 >= text.size()) return std::nullopt;
  const int high = hexadecimal(text[at + 1]);
  const int low = hexadecimal(text[at + 2]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<char>(high * 16 + low);
}

// The text with those bytes in place; `onEncoded` is called with each.
template <typename OnEncoded>
std::string withEncodedBytes(std::string_view text, char mark, OnEncoded onEncoded) {
  std::string result(text.size(), '\0');
  std::size_t size = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    result[size] = text[i];
    if (text[i] == mark) {
      if (const std::optional<char> byte = encodedByte(text, i, mark)) {
        onEncoded(result[size] = *byte);
        i += 2;
      }
    }
    ++size;
  }
  result.resize(size);
  return result;
}

// Tells of each such character of a text whether it was encoded in the quoted-printable
// value that the text comes from. None was if that can't be told, as in charsets that have
// its byte within other characters.
class Origins {
 public:
  Origins(std::string_view text, char character, std::string_view value) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      const std::optional<char> byte = encodedByte(value, i, '=');
      if (byte.value_or(value[i]) == character) encoded_.push_back(byte.has_value());
      if (byte) i += 2;
    }
    const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), character));
    if (count != encoded_.size()) encoded_.assign(count, false);
  }
  bool nextWasEncoded() { return encoded_[next_++]; }

 private:
  std::vector<bool> encoded_;
  std::size_t next_ = 0;
};

}  // namespace

std::string_view textOfFile(std::string_view bytes, std::string& storage) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const auto [charset, mark] = utf16Of(bytes);
  if (charset) {
    storage = converted(bytes.substr(mark), charset).value_or("");
    return storage;
  }
  return bytes.starts_with(kMark) ? bytes.substr(kMark.size()) : bytes;
}

std::optional<std::string> convertedToUTF8(std::string_view bytes, std::string_view charset) {
  const std::string name = charset.empty() ? "" : converterName(charset);
  if (std::optional<std::string> text; !name.empty() && (text = converted(bytes, name))) {
    return text;
  }
  const bool valid = text::isValidUTF8(bytes);
  if (valid && bytes.find('\0') == std::string_view::npos) return std::nullopt;
  const bool utf8 = valid || !charset.empty() || holdsUTF8Sequence(bytes);
  return utf8 ? repaired(bytes) : converted(bytes, kLatin1);
}

std::string quotedPrintableText(std::string_view value, std::string_view charset, bool version21) {
  bool changed = false;
  const auto note = [&](char byte) { changed |= byte == ';' || byte == '\\'; };
  std::string text = withEncodedBytes(value, '=', note);
  if (auto converted = convertedToUTF8(text, charset)) text = *std::move(converted);
  if (!changed) return text;

  Origins semicolons(text, ';', value);
  Origins backslashes(text, '\\', value);
  std::string result;
  bool escaped = false;  // By the backslash in front.
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const char next = i + 1 < text.size() ? text[i + 1] : '\0';
    const bool encoded = c == ';'    ? semicolons.nextWasEncoded()
                         : c == '\\' ? backslashes.nextWasEncoded()
                                     : false;
    const bool literal = c == '\\' ? version21 && encoded && next != ';' : c == ';' && encoded;
    if (!escaped && literal) result += '\\';
    escaped = !escaped && !literal && c == '\\';
    result += c;
  }
  return result;
}

std::string decodedPercent(std::string_view text) {
  return repaired(withEncodedBytes(text, '%', [](char) {}));
}

std::optional<std::string> decodedBase64(std::string_view text) {
  static constexpr auto kDigits =
      digitsOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  const auto digitAt = [text](std::size_t i) {
    return int{kDigits[static_cast<unsigned char>(text[i])]};
  };
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  std::size_t size = 0;
  int bits = 0;
  int count = 0;  // Of the bits that wait for more.
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Whole groups, which are nearly all there is.
    for (; count == 0 && i + 4 <= text.size(); i += 4) {
      const int digits[] = {digitAt(i), digitAt(i + 1), digitAt(i + 2), digitAt(i + 3)};
      if ((digits[0] | digits[1] | digits[2] | digits[3]) < 0) break;
      const int group = digits[0] << 18 | digits[1] << 12 | digits[2] << 6 | digits[3];
      bytes[size++] = static_cast<char>(group >> 16);
      bytes[size++] = static_cast<char>(group >> 8 & 0xFF);
      bytes[size++] = static_cast<char>(group & 0xFF);
    }
    if (i == text.size()) break;
    if (const int digit = digitAt(i); digit >= 0) {
      bits = (bits << 6 | digit) & 0xFFF;
      count += 6;
      if (count < 8) continue;
      count -= 8;
      bytes[size++] = static_cast<char>(bits >> count & 0xFF);
    } else if (text[i] == '=') {
      count = 0;
    } else if (!isBlank(text[i]) && text[i] != '\n') {
      return std::nullopt;
    }
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace quillfold::vcard
