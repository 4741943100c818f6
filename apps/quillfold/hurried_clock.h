// A clock that can be put ahead, for those who don't want to wait.
#pragma once

#include <atomic>

#include "quillfold/quillfold.h"

namespace host {

class HurriedClock : public quillfold::Clock {
 public:
  explicit HurriedClock(std::shared_ptr<quillfold::Clock> real) : real_(std::move(real)) {}

  quillfold::NSDate now() override { return real_->now().dateByAddingTimeInterval(ahead_); }
  void putAhead(double seconds) { ahead_ = ahead_ + seconds; }

 private:
  const std::shared_ptr<quillfold::Clock> real_;
  std::atomic<double> ahead_ = 0;
};

}  // namespace host
