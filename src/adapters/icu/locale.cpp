#include "adapters/icu/locale.h"

#include <unicode/locid.h>

#include <cstdlib>
#include <string_view>

namespace quillfold {

namespace {

constexpr const char* kFallback = "en_US";
// Longer than any locale name; what exceeds it is no name but a mistake.
constexpr std::size_t kLongestName = 100;

std::string_view environmentLocale() {
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

// Letters, digits and what joins them: ICU itself takes anything for a name.
bool isName(std::string_view text) {
  constexpr std::string_view kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  return !text.empty() && text.size() <= kLongestName &&
         text.find_first_not_of(kAllowed) == std::string_view::npos;
}

// The C library tells scripts by a modifier, ICU by a subtag.
const char* scriptOfModifier(std::string_view modifier) {
  if (modifier == "latin") return "Latn";
  if (modifier == "cyrillic") return "Cyrl";
  if (modifier == "devanagari") return "Deva";
  return nullptr;
}

std::string identifierOf(std::string_view value) {
  const std::size_t modifierStart = value.find('@');
  const std::string name(value.substr(0, std::min(value.find('.'), modifierStart)));
  if (!isName(name) || name == "C" || name == "POSIX") return kFallback;
  const icu::Locale plain(name.c_str());
  if (plain.isBogus() || *plain.getLanguage() == '\0') return kFallback;
  if (modifierStart == std::string_view::npos) return plain.getName();
  const char* script = scriptOfModifier(value.substr(modifierStart + 1));
  if (script == nullptr) return plain.getName();
  const std::string language = plain.getLanguage();
  return icu::Locale((language + "_" + script).c_str(), plain.getCountry()).getName();
}

}  // namespace

const std::string& defaultLocaleIdentifier() {
  static const std::string& identifier = *new std::string(identifierOf(environmentLocale()));
  return identifier;
}

}  // namespace quillfold
