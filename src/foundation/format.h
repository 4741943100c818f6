// Text formatting. The one header of the logic that names the formatting
// library; no public header includes it.
#pragma once

#include <fmt/format.h>

#include <string>

namespace quillfold {

// A double as JSON writes it: the shortest decimal that reads back the same,
// without a fraction where there is none.
std::string formatNumber(double value);

}  // namespace quillfold
