#include <chrono>

#include "adapters/linux/system.h"

namespace quillfold {

namespace {

class SystemClock : public Clock {
 public:
  NSDate now() override {
    const std::chrono::duration<double> seconds =
        std::chrono::system_clock::now().time_since_epoch();
    return NSDate::dateWithTimeIntervalSince1970(seconds.count());
  }
};

}  // namespace

std::shared_ptr<Clock> makeSystemClock() {
  return std::make_shared<SystemClock>();
}

}  // namespace quillfold
