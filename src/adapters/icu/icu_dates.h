// What the formatters and the calendar share.
#pragma once

#include <unicode/locid.h>

#include <cmath>

#include "adapters/icu/locale.h"
#include "foundation/date.h"

namespace quillfold {

inline icu::Locale defaultLocale() {
  return icu::Locale(defaultLocaleIdentifier().c_str());
}

// Whole milliseconds since 1970, rounded half up: a date that was read from
// ".123" must not be written as ".122" because a double misses it by a hair.
// What is no number counts as 1970.
inline double roundedMilliseconds(NSDate date) {
  const double exact = date.timeIntervalSince1970() * 1000;
  if (std::isnan(exact)) return 0;
  const double whole = std::floor(exact);
  return exact - whole >= 0.5 ? whole + 1 : whole;
}

inline NSDate dateFromMilliseconds(double milliseconds) {
  return NSDate::dateWithTimeIntervalSince1970(milliseconds / 1000);
}

}  // namespace quillfold
