#include <unicode/calendar.h>

#include <algorithm>
#include <memory>

#include "adapters/icu/icu_dates.h"
#include "foundation/date_formatter.h"

namespace quillfold {

namespace {

// One calendar for each thread: it is costly to make and has state.
icu::Calendar& calendarOfThread() {
  thread_local const std::unique_ptr<icu::Calendar> calendar = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> made(
        icu::Calendar::createInstance(localTimeZone().release(), defaultLocale(), status));
    if (!made || U_FAILURE(status)) {
      throw std::runtime_error(std::string("ICU has no calendar: ") + u_errorName(status));
    }
    // Where midnight comes twice, a day starts at the first one.
    made->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    return made;
  }();
  return *calendar;
}

// Far beyond any date, and still far from where the calendar's own arithmetic
// would overflow.
std::int32_t bounded(std::optional<std::int64_t> value) {
  constexpr std::int64_t kMost = 1'000'000;
  return static_cast<std::int32_t>(std::clamp(value.value_or(1), -kMost, kMost));
}

}  // namespace

NSDate NSCalendar::dateFromComponents(const NSDateComponents& components) const {
  icu::Calendar& calendar = calendarOfThread();
  calendar.clear();
  calendar.set(UCAL_YEAR, bounded(components.year));
  calendar.set(UCAL_MONTH, bounded(components.month) - 1);
  calendar.set(UCAL_DAY_OF_MONTH, bounded(components.day));
  UErrorCode status = U_ZERO_ERROR;
  const UDate time = calendar.getTime(status);
  return dateFromMilliseconds(U_SUCCESS(status) ? time : 0);
}

NSDateComponents NSCalendar::componentsFromDate(NSDate date) const {
  icu::Calendar& calendar = calendarOfThread();
  UErrorCode status = U_ZERO_ERROR;
  // Infinite dates are pinned to the ends of the calendar.
  calendar.setTime(wholeMilliseconds(date), status);
  NSDateComponents components;
  components.year = calendar.get(UCAL_YEAR, status);
  components.month = calendar.get(UCAL_MONTH, status) + 1;
  components.day = calendar.get(UCAL_DAY_OF_MONTH, status);
  return U_SUCCESS(status) ? components : NSDateComponents{};
}

}  // namespace quillfold
