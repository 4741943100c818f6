// The time of day.
#pragma once

#include "foundation/date.h"
#include "foundation/export.h"

namespace quillfold {

// Replaced in tests by a clock that the test moves. Called from any thread.
class QUILLFOLD_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  virtual NSDate now() = 0;
};

// The time of the installed platform's clock.
QUILLFOLD_EXPORT NSDate currentDate();
// The same as seconds since 1970.
QUILLFOLD_EXPORT double currentTime();

}  // namespace quillfold
