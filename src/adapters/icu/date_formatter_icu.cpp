#include <unicode/datefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>

#include <map>
#include <memory>
#include <utility>

#include "adapters/icu/icu_dates.h"
#include "foundation/date_formatter.h"

namespace quillfold {

namespace {

using FormatPtr = std::unique_ptr<icu::DateFormat>;

// Null if the pattern is none; local if the zone has no name.
FormatPtr makeFormat(const std::string& pattern, const std::string& zone) {
  UErrorCode status = U_ZERO_ERROR;
  FormatPtr format;
  if (pattern.empty()) {
    format.reset(icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, defaultLocale()));
  } else {
    format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                     defaultLocale(), status);
  }
  if (!format || U_FAILURE(status)) return nullptr;
  format->adoptTimeZone((zone.empty() ? localTimeZone() : timeZoneNamed(zone)).release());
  return format;
}

// The text with each digit, of whatever script, as the ASCII one.
icu::UnicodeString withPlainDigits(const icu::UnicodeString& text) {
  icu::UnicodeString plain;
  for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    const UChar32 c = text.char32At(i);
    const std::int32_t digit = u_charDigitValue(c);
    plain.append(digit < 0 ? c : UChar32{'0'} + digit);
  }
  return plain;
}

// ICU divides by zero at a fraction of 35 digits and more; no date has as many.
bool hasTooManyDigits(const icu::UnicodeString& plain) {
  constexpr int kMostDigits = 32;
  int digits = 0;
  for (std::int32_t i = 0; i < plain.length(); ++i)
    digits += plain[i] >= u'0' && plain[i] <= u'9';
  return digits > kMostDigits;
}

// A format costs far more to make than to use, and may be used by one thread at a
// time: each thread keeps the few that it needs.
const icu::DateFormat* formatOfThread(const std::string& pattern, const std::string& zone) {
  constexpr std::size_t kMostFormats = 16;
  thread_local std::map<std::pair<std::string, std::string>, FormatPtr> formats;
  const std::pair key(pattern, zone);
  if (const auto it = formats.find(key); it != formats.end()) return it->second.get();
  if (formats.size() >= kMostFormats) formats.clear();
  return formats.emplace(key, makeFormat(pattern, zone)).first->second.get();
}

}  // namespace

std::string NSDateFormatter::stringFromDate(NSDate date) const {
  std::string text;
  if (const icu::DateFormat* format = formatOfThread(pattern_, timeZone_)) {
    icu::UnicodeString buffer;
    format->format(wholeMilliseconds(date), buffer).toUTF8String(text);
  }
  return text;
}

std::optional<NSDate> NSDateFormatter::dateFromString(const std::string& text) const {
  const icu::DateFormat* format = formatOfThread(pattern_, timeZone_);
  if (format == nullptr) return std::nullopt;
  const auto given = icu::UnicodeString::fromUTF8(text);
  const auto plain = withPlainDigits(given);
  if (hasTooManyDigits(plain)) return std::nullopt;
  icu::ParsePosition position(0);
  const UDate date = format->parse(given, position);
  // ICU forgives blanks, a missing end and days that a month does not have.
  icu::UnicodeString exact;
  format->format(date, exact);
  if (plain != withPlainDigits(exact)) return std::nullopt;
  return dateFromMilliseconds(date);
}

}  // namespace quillfold
