#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>

#include "adapters/icu/icu_dates.h"
#include "foundation/date_formatter.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

using Milliseconds = std::chrono::milliseconds;
using Time = std::chrono::sys_time<Milliseconds>;
using std::chrono::sys_days;

// The first and the last moment that four digits of year can tell.
constexpr Time kFirst = sys_days(std::chrono::year(1) / 1 / 1);
constexpr Time kLast = sys_days(std::chrono::year(10000) / 1 / 1) - Milliseconds(1);

// Reads fixed forms from the front of a text. After the first mismatch every
// further step fails too.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool failed() const { return failed_; }
  bool atEnd() const { return rest_.empty(); }
  bool next(char c) const { return !rest_.empty() && rest_.front() == c; }

  void literal(char c) {
    if (!next(c)) return fail();
    rest_.remove_prefix(1);
  }

  // A number of exactly that many digits.
  int number(std::size_t digits, int smallest, int largest) {
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i)
      value = value * 10 + digit();
    if (value < smallest || value > largest) fail();
    return value;
  }

  // One digit or more; what is finer than a millisecond is dropped.
  int fraction() {
    int value = 0;
    int scale = 100;
    do {
      value += digit() * scale;
      scale /= 10;
    } while (!rest_.empty() && isDigit(rest_.front()));
    return value;
  }

 private:
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  int digit() {
    if (rest_.empty() || !isDigit(rest_.front())) {
      fail();
      return 0;
    }
    const int value = rest_.front() - '0';
    rest_.remove_prefix(1);
    return value;
  }

  void fail() {
    failed_ = true;
    rest_ = {};
  }

  std::string_view rest_;
  bool failed_ = false;
};

std::chrono::minutes readZone(Reader& reader) {
  if (reader.next('Z')) {
    reader.literal('Z');
    return {};
  }
  const bool west = reader.next('-');
  reader.literal(west ? '-' : '+');
  const int hours = reader.number(2, 0, 23);
  reader.literal(':');
  const std::chrono::minutes offset(hours * 60 + reader.number(2, 0, 59));
  return west ? -offset : offset;
}

Milliseconds readTimeOfDay(Reader& reader, bool withFraction) {
  const std::chrono::hours hours(reader.number(2, 0, 23));
  reader.literal(':');
  const std::chrono::minutes minutes(reader.number(2, 0, 59));
  reader.literal(':');
  Milliseconds time = hours + minutes + std::chrono::seconds(reader.number(2, 0, 59));
  if (withFraction) {
    reader.literal('.');
    time += Milliseconds(reader.fraction());
  }
  return time;
}

// Half up; what is no number counts as 1970.
double roundedMilliseconds(NSDate date) {
  const double exact = date.timeIntervalSince1970() * 1000;
  if (std::isnan(exact)) return 0;
  const double whole = std::floor(exact);
  return exact - whole >= 0.5 ? whole + 1 : whole;
}

bool hasFraction(std::int64_t options) {
  constexpr std::int64_t kFractionalSeconds = 2048;
  return (options & kFractionalSeconds) != 0;
}

}  // namespace

std::string NSISO8601DateFormatter::stringFromDate(NSDate date) const {
  // A date outside the four-digit years is written as the nearest one inside.
  const double bounded =
      std::clamp(roundedMilliseconds(date), static_cast<double>(kFirst.time_since_epoch().count()),
                 static_cast<double>(kLast.time_since_epoch().count()));
  const Time time{Milliseconds(static_cast<std::int64_t>(bounded))};
  const auto midnight = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss clock(time - midnight);
  std::string text =
      fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                  clock.hours().count(), clock.minutes().count(), clock.seconds().count());
  if (hasFraction(options_)) text += fmt::format(".{:03}", clock.subseconds().count());
  return text + "Z";
}

std::optional<NSDate> NSISO8601DateFormatter::dateFromString(const std::string& text) const {
  Reader reader(text);
  const std::chrono::year year(reader.number(4, 1, 9999));
  reader.literal('-');
  const std::chrono::month month(static_cast<unsigned>(reader.number(2, 1, 12)));
  reader.literal('-');
  const std::chrono::day day(static_cast<unsigned>(reader.number(2, 1, 31)));
  reader.literal('T');
  const Milliseconds timeOfDay = readTimeOfDay(reader, hasFraction(options_));
  const std::chrono::minutes offset = readZone(reader);
  const std::chrono::year_month_day date(year, month, day);
  if (reader.failed() || !reader.atEnd() || !date.ok()) return std::nullopt;
  const Time time = sys_days(date) + timeOfDay - offset;
  return dateFromMilliseconds(static_cast<double>(time.time_since_epoch().count()));
}

}  // namespace quillfold
