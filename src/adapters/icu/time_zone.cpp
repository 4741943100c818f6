#include <unicode/timezone.h>

#include <cstdlib>
#include <filesystem>

#include "adapters/icu/icu_dates.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

using ZonePtr = std::unique_ptr<icu::TimeZone>;

std::string nameOf(const icu::TimeZone& zone) {
  icu::UnicodeString identifier;
  std::string name;
  return zone.getID(identifier).toUTF8String(name);
}

bool isName(const std::string& text) {
  icu::UnicodeString canonical;
  UBool known = false;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(icu::UnicodeString::fromUTF8(text), canonical, known, status);
  return U_SUCCESS(status) && known;
}

// The name at the end of a file's path, links followed; empty if there is none.
std::string nameOfFile(const std::string& file) {
  std::error_code error;
  const auto folder = std::filesystem::path("/usr/share/zoneinfo");
  std::string name = std::filesystem::canonical(folder / file, error).string();
  while (!name.empty() && !isName(name)) {
    const std::size_t slash = name.find('/');
    name.erase(0, slash == std::string::npos ? slash : slash + 1);
  }
  return name;
}

std::string nameOfOffset(int milliseconds) {
  const int minutes = milliseconds / 60'000;
  if (minutes == 0) return "UTC";
  return fmt::format("GMT{}{:02}:{:02}", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                     std::abs(minutes) % 60);
}

// ICU knows neither an empty TZ nor a file there, and makes up a zone of that name
// without summer time.
ZonePtr hostZone() {
  const char* const variable = std::getenv("TZ");
  std::string value = variable == nullptr ? "" : variable;
  if (value.starts_with(':')) value.erase(0, 1);
  const std::string name = isName(value) ? value : nameOfFile(value);
  if (!name.empty()) return timeZoneNamed(name);
  ZonePtr zone(icu::TimeZone::detectHostTimeZone());
  if (isName(nameOf(*zone))) return zone;
  return timeZoneNamed(nameOfOffset(zone->getRawOffset()));
}

}  // namespace

std::unique_ptr<icu::TimeZone> localTimeZone() {
  static const icu::TimeZone& zone = *hostZone().release();
  return ZonePtr(zone.clone());
}

std::unique_ptr<icu::TimeZone> timeZoneNamed(const std::string& name) {
  return ZonePtr(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
}

std::string localTimeZoneName() {
  return nameOf(*localTimeZone());
}

}  // namespace quillfold
