#include "adapters/vcard/birthday.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

// Takes up to `digits` digits off the text; absent if there are none.
std::optional<std::int64_t> takeNumber(std::string_view& text, std::size_t digits) {
  std::int64_t number = 0;
  const std::string_view part = text.substr(0, digits);
  const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
  if (error != std::errc() || !isDigit(part.front())) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - part.data()));
  return number;
}

void takeHyphen(std::string_view& text) {
  if (text.starts_with('-')) text.remove_prefix(1);
}

// Of the digits that a birthday has at most.
bool exists(const NSDateComponents& date) {
  // Without a year 29 February is a day.
  return std::chrono::year_month_day(
             std::chrono::year(static_cast<int>(date.year.value_or(2000))),
             std::chrono::month(static_cast<unsigned>(date.month.value_or(1))),
             std::chrono::day(static_cast<unsigned>(date.day.value_or(1))))
      .ok();
}

}  // namespace

std::optional<NSDateComponents> birthdayOf(std::string_view text, std::string_view omittedYear) {
  text = withoutBlanks(text);
  const auto end = std::find_if(text.begin(), text.end(),
                                [](char c) { return c == 'T' || c == 't' || c == ' '; });
  text = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  NSDateComponents date;
  std::string_view year = text.substr(0, 4);
  if (text.starts_with("--")) {
    text.remove_prefix(2);
  } else {
    date.year = takeNumber(text, 4);
    if (!date.year) return std::nullopt;
    takeHyphen(text);
  }
  if (text.starts_with('-')) {
    text.remove_prefix(1);
  } else if (!text.empty()) {
    date.month = takeNumber(text, 2);
    takeHyphen(text);
  }
  if (!text.empty()) date.day = takeNumber(text, 2);
  if (date.year && (*date.year == 0 || year == omittedYear)) date.year.reset();
  if (!text.empty() || (!date.year && !date.month && !date.day) || !exists(date)) {
    return std::nullopt;
  }
  return date;
}

}  // namespace quillfold::vcard
