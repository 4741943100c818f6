// Dates as text, and days of the calendar. Formatters are cheap value objects
// without shared state; each call may run on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/date.h"
#include "foundation/export.h"

namespace quillfold {

// Writes and reads dates with a fixed pattern or a style, in the digits and the
// calendar of the default locale and, unless told otherwise, in the local time
// zone.
class QUILLFOLD_EXPORT NSDateFormatter {
 public:
  // A fixed pattern in the syntax of Unicode Technical Standard 35.
  explicit NSDateFormatter(std::string pattern) : pattern_(std::move(pattern)) {}
  // The default locale's own medium date form, without a time.
  static NSDateFormatter mediumDateStyle() { return NSDateFormatter(std::string()); }

  // An identifier of the time zone database, or "UTC".
  void setTimeZone(std::string identifier) { timeZone_ = std::move(identifier); }

  // What is finer than the form is cut off.
  std::string stringFromDate(NSDate date) const;
  // Absent if the text is not, blanks included, what stringFromDate gives for some
  // date. Digits may be of any script.
  std::optional<NSDate> dateFromString(const std::string& text) const;

 private:
  std::string pattern_;   // Empty: medium date style.
  std::string timeZone_;  // Empty: the local zone.
};

// Internet date-time texts: Gregorian, GMT, strict.
class QUILLFOLD_EXPORT NSISO8601DateFormatter {
 public:
  static constexpr std::int64_t kInternetDateTime = 1907;
  static constexpr std::int64_t kInternetDateTimeWithFractionalSeconds = 3955;

  explicit NSISO8601DateFormatter(std::int64_t formatOptions) : options_(formatOptions) {}

  // GMT, with exactly three digits of fraction, rounded half up, if the options
  // ask for a fraction.
  std::string stringFromDate(NSDate date) const;
  // Absent for anything but a full date-time with a zone (Z or an offset such as
  // +02:00), with a fraction exactly if the options ask for one.
  std::optional<NSDate> dateFromString(const std::string& text) const;

 private:
  std::int64_t options_;
};

// A day as an address book holds it; every part may be missing.
struct NSDateComponents {
  std::optional<std::int64_t> year;
  std::optional<std::int64_t> month;
  std::optional<std::int64_t> day;

  friend bool operator==(const NSDateComponents&, const NSDateComponents&) = default;
};

// The device's current calendar, in the local time zone.
class QUILLFOLD_EXPORT NSCalendar {
 public:
  static NSCalendar currentCalendar() { return NSCalendar(); }

  // The start of that day; what is missing takes the calendar's own default
  // (year 1, month 1, day 1).
  NSDate dateFromComponents(const NSDateComponents& components) const;
  // The year, month and day on which the date falls.
  NSDateComponents componentsFromDate(NSDate date) const;
};

}  // namespace quillfold
