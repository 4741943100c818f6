#include "adapters/vcard/decoding.h"

#include <glib.h>

#include <algorithm>

#include "adapters/icu/charset.h"
#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

constexpr const char* kLatin1 = "windows-1252";

// Absent if the charset is not known.
std::optional<std::string> converted(std::string_view bytes, const std::string& charset) {
  std::optional<std::string> text = utf8FromCharset(bytes, charset);
  if (text) text = repairedUTF8(*text);
  return text;
}

bool isUTF8(std::string_view bytes) {
  return g_utf8_validate_len(bytes.data(), bytes.size(), nullptr) != FALSE;
}

// Whether there is a well-formed sequence of several bytes, which other charsets hardly
// ever form by chance.
bool holdsUTF8Sequence(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (static_cast<unsigned char>(bytes[i]) < 0x80) continue;
    const gunichar c =
        g_utf8_get_char_validated(bytes.data() + i, static_cast<gssize>(bytes.size() - i));
    if (c < 0x110000) return true;
  }
  return false;
}

// The charset name for the converter; empty if the bytes are to be taken as UTF-8 where
// they can be. The characters are restricted because converters may be loaded by name.
std::string converterName(std::string_view charset) {
  const bool plain = std::all_of(charset.begin(), charset.end(), [](char c) {
    return isAlphanumeric(c) || c == '-' || c == '_' || c == '.';
  });
  if (!plain || equalIgnoringCase(charset, "utf-8") || equalIgnoringCase(charset, "utf8")) {
    return "";
  }
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

std::optional<char> byteOfHex(std::string_view text, std::size_t at) {
  if (at + 1 >= text.size()) return std::nullopt;
  const int high = g_ascii_xdigit_value(text[at]);
  const int low = g_ascii_xdigit_value(text[at + 1]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<char>(high * 16 + low);
}

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

std::string repairedUTF8(std::string_view bytes) {
  if (isUTF8(bytes)) return std::string(bytes);
  char* valid = g_utf8_make_valid(bytes.data(), static_cast<gssize>(bytes.size()));
  std::string result(valid);
  g_free(valid);
  return result;
}

std::string toUTF8(std::string_view bytes, std::string_view charset) {
  if (const std::string name = converterName(charset); !name.empty()) {
    if (std::optional<std::string> text = converted(bytes, name)) return *std::move(text);
  }
  const bool utf8 = !charset.empty() || isUTF8(bytes) || holdsUTF8Sequence(bytes);
  return utf8 ? repairedUTF8(bytes) : converted(bytes, kLatin1).value_or("");
}

std::string decodedQuotedPrintable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> byte = text[i] == '=' ? byteOfHex(text, i + 1) : std::nullopt;
    if (byte == ';' && !result.ends_with('\\')) result += '\\';
    result += byte.value_or(text[i]);
    if (byte) i += 2;
  }
  return result;
}

std::string decodedPercent(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> byte = text[i] == '%' ? byteOfHex(text, i + 1) : std::nullopt;
    result += byte.value_or(text[i]);
    if (byte) i += 2;
  }
  return repairedUTF8(result);
}

std::optional<std::string> decodedBase64(std::string_view text) {
  const bool plain = std::all_of(text.begin(), text.end(),
                                 [](char c) { return isBase64(c) || isBlank(c) || c == '\n'; });
  if (!plain) return std::nullopt;
  gsize size = 0;
  guchar* bytes = g_base64_decode(std::string(text).c_str(), &size);
  std::string result(reinterpret_cast<const char*>(bytes), size);
  g_free(bytes);
  return result;
}

}  // namespace quillfold::vcard
