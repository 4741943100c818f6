#include "foundation/date.h"

#include "foundation/date_formatter.h"

namespace quillfold {

std::optional<NSDate> NSDate::dateFromISOString(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  for (const std::int64_t options : {NSISO8601DateFormatter::kInternetDateTimeWithFractionalSeconds,
                                     NSISO8601DateFormatter::kInternetDateTime}) {
    if (auto date = NSISO8601DateFormatter(options).dateFromString(*text)) return date;
  }
  for (const char* pattern : {"yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "yyyy-MM-dd'T'HH:mm:ss'Z'"}) {
    NSDateFormatter formatter(pattern);
    formatter.setTimeZone("UTC");
    if (auto date = formatter.dateFromString(*text)) return date;
  }
  return std::nullopt;
}

std::string toISOString(NSDate date) {
  return NSISO8601DateFormatter(NSISO8601DateFormatter::kInternetDateTimeWithFractionalSeconds)
      .stringFromDate(date);
}

}  // namespace quillfold
