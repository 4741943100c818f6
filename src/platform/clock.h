// The time of day.
#pragma once

#include "foundation/date.h"

namespace quillfold {

// Replaced in tests by a clock that the test moves. Called from any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual NSDate now() = 0;
};

// The time of the installed platform's clock.
NSDate currentDate();
// The same as seconds since 1970.
double currentTime();

}  // namespace quillfold
