// Texts as dates and as seconds: what is read and written again stays what it is.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "foundation/date_formatter.h"
#include "foundation/text.h"
#include "fuzz/subject.h"

namespace quillfold::fuzz::dates {
namespace {

// The years of four digits, in seconds.
constexpr double kFirst = -62135596800.0;
constexpr double kEnd = 253402300800.0;

std::optional<NSDate> parsed(const std::string& text) {
  return NSDate::dateFromISOString(text);
}

// The C library's calendar, for a text without a fraction.
double plainlyParsed(const std::string& text) {
  std::tm time{};
  char sign = '+';
  int hours = 0;
  int minutes = 0;
  std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c%2d:%2d", &time.tm_year, &time.tm_mon,
              &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec, &sign, &hours, &minutes);
  time.tm_year -= 1900;
  --time.tm_mon;
  const int offset = hours * 3600 + minutes * 60;
  return static_cast<double>(timegm(&time) - (sign == '-' ? -offset : offset));
}

void checkISOText(const std::string& text) {
  const NSISO8601DateFormatter plain(NSISO8601DateFormatter::kInternetDateTime);
  if (const auto date = plain.dateFromString(text)) {
    require(parsed(text) == date);
    require(plainlyParsed(text) == date->timeIntervalSince1970());
    if (text.ends_with('Z')) require(plain.stringFromDate(*date) == text);
  }
  const auto date = parsed(text);
  if (!date) return;
  const double seconds = date->timeIntervalSince1970();
  require(std::isfinite(seconds));
  const auto again = parsed(toISOString(*date));
  require(again.has_value());
  if (seconds >= kFirst && seconds < kEnd) require(*again == *date);
}

void checkPattern(NSDateFormatter formatter, const std::string& text) {
  for (const char* zone : {"UTC", "America/Sao_Paulo"}) {
    formatter.setTimeZone(zone);
    const auto date = formatter.dateFromString(text);
    if (!date) continue;
    const std::string written = formatter.stringFromDate(*date);
    require(text::isValidUTF8(written) && formatter.dateFromString(written) == date);
    if (text::isASCII(text)) require(written == text);
  }
}

void checkSeconds(double seconds) {
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(seconds);
  const std::string written = toISOString(date);
  require(written.size() == 24);
  const auto again = parsed(written);
  require(again && toISOString(*again) == written);
  const bool inRange = seconds >= kFirst && seconds < kEnd;
  // Half a millisecond, and what a double can't tell apart so far from 1970.
  if (inRange && seconds < kEnd - 1) {
    require(std::abs(again->timeIntervalSince1970() - seconds) < 0.000'55);
  }
  for (const char* pattern : {"yyyy-MM-dd", "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"})
    require(text::isValidUTF8(NSDateFormatter(pattern).stringFromDate(date)));
  require(text::isValidUTF8(NSDateFormatter::mediumDateStyle().stringFromDate(date)));

  const NSCalendar calendar = NSCalendar::currentCalendar();
  const NSDateComponents day = calendar.componentsFromDate(date);
  const NSDate start = calendar.dateFromComponents(day);
  // Years before the first one count backwards, and the calendar ends somewhere.
  if (!inRange || seconds < kFirst + 86'400) return;
  require(calendar.componentsFromDate(start) == day);
  require(start <= date && date.timeIntervalSince1970() - start.timeIntervalSince1970() < 90'001);
}

void run(std::string_view bytes) {
  const std::string text(bytes);
  checkISOText(text);
  for (const char* pattern :
       {"yyyy-MM-dd", "yyyy-MM-dd'T'HH:mm:ss'Z'", "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"})
    checkPattern(NSDateFormatter(pattern), text);
  checkPattern(NSDateFormatter::mediumDateStyle(), text);
  checkSeconds(text::doubleValue(text));
  double seconds = 0;
  if (bytes.size() != sizeof seconds) return;
  std::memcpy(&seconds, bytes.data(), sizeof seconds);
  checkSeconds(seconds);
}

const Subject subject("dates", run);

}  // namespace
}  // namespace quillfold::fuzz::dates
