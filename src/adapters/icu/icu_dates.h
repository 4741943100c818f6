// What the formatters and the calendar share.
#pragma once

#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <cmath>
#include <memory>

#include "adapters/icu/locale.h"
#include "foundation/date.h"

namespace quillfold {

inline icu::Locale defaultLocale() {
  return icu::Locale(defaultLocaleIdentifier().c_str());
}

// That of localTimeZoneName.
std::unique_ptr<icu::TimeZone> localTimeZone();

std::unique_ptr<icu::TimeZone> timeZoneNamed(const std::string& name);

inline NSDate dateFromMilliseconds(double milliseconds) {
  return NSDate::dateWithTimeIntervalSince1970(milliseconds / 1000);
}

// Whole milliseconds since 1970, rounded down: a day lasts to its very end. Only a
// date that was read from ".123" must not become ".122" because a double misses it
// by a hair. What is no number counts as 1970.
inline double wholeMilliseconds(NSDate date) {
  const double exact = date.timeIntervalSince1970() * 1000;
  if (std::isnan(exact)) return 0;
  const double nearest = std::round(exact);
  return dateFromMilliseconds(nearest) == date ? nearest : std::floor(exact);
}

}  // namespace quillfold
