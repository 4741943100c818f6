// Identifiers and times as texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillfold::backend {

// 32 random bytes of the system as 64 lowercase hexadecimal digits.
std::string randomToken();
// A new random UUID (version 4), lower case.
std::string randomUuid();
// A UUID (version 5) that is always the same for the same name.
std::string nameBasedUuid(std::string_view name);

// 2024-03-05T07:08:09.123Z from seconds since 1970.
std::string isoTime(double seconds);
// Seconds since 1970 from such a text; the fraction may be missing or of another
// length, the zone be an offset like +02:00. Absent for anything else, days that
// no calendar has included.
std::optional<double> parseIsoTime(const std::string& text);

}  // namespace quillfold::backend
