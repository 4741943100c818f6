// How two writings of one address are told to be the same.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillfold::backend {

// An e-mail address without white space and in lower case, or the last nine digits
// of a telephone number, which leaves out how its country is written. Absent for a
// text that is neither.
std::optional<std::string> addressKey(std::string_view text);

}  // namespace quillfold::backend
