// Points in time.
#pragma once

#include <compare>
#include <optional>
#include <string>

#include "foundation/export.h"

namespace quillfold {

// A point in time, kept as seconds since 1970-01-01T00:00:00Z.
class QUILLFOLD_EXPORT NSDate {
 public:
  constexpr NSDate() = default;
  static constexpr NSDate dateWithTimeIntervalSince1970(double seconds) { return NSDate(seconds); }

  // The date that a text names, or absent. The text is one of
  // 2024-03-05T07:08:09.123Z, the same without the fraction, and both with an
  // offset such as +02:00 for the Z. What names no date so far, but has the form with
  // the Z, is read in the default locale's calendar, with digits of any script.
  static std::optional<NSDate> dateFromISOString(const std::optional<std::string>& text);

  constexpr double timeIntervalSince1970() const { return seconds_; }
  constexpr NSDate dateByAddingTimeInterval(double seconds) const {
    return NSDate(seconds_ + seconds);
  }

  friend constexpr auto operator<=>(NSDate, NSDate) = default;

 private:
  constexpr explicit NSDate(double seconds) : seconds_(seconds) {}
  double seconds_ = 0;
};

// The date as 2024-03-05T07:08:09.123Z: UTC, three digits of fraction, rounded
// half up.
QUILLFOLD_EXPORT std::string toISOString(NSDate date);

}  // namespace quillfold
