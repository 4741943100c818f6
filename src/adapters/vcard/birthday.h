// The dates that BDAY holds.
#pragma once

#include <optional>
#include <string_view>

#include "foundation/date_formatter.h"

namespace quillfold::vcard {

// 1985-04-12, 19850412, --04-12, --0412, ---12, 1985-04, 1985, each with a time behind
// that is not read. Absent for anything else and for days that no calendar has. A year
// of 0 or `omittedYear` stands for none.
std::optional<NSDateComponents> birthdayOf(std::string_view text, std::string_view omittedYear);

}  // namespace quillfold::vcard
