#include "adapters/icu/charset.h"

#include <unicode/unistr.h>

namespace quillfold {

std::optional<std::string> utf8FromCharset(std::string_view bytes, const std::string& charset) {
  const icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), charset.c_str());
  if (text.isBogus()) return std::nullopt;
  std::string result;
  text.toUTF8String(result);
  return result;
}

}  // namespace quillfold
