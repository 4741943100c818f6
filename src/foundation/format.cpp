#include "foundation/format.h"

#include <cmath>

namespace quillfold {

std::string formatNumber(double value) {
  // Integers up to the point where doubles leave gaps are written plainly.
  if (std::isfinite(value) && std::trunc(value) == value && std::abs(value) < 1e16) {
    return fmt::format("{:.0f}", value);
  }
  return fmt::format("{}", value);
}

}  // namespace quillfold
