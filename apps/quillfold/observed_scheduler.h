// A scheduler that tells how its tasks fare: a host may put itself in front of any
// member of the platform.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "quillfold/quillfold.h"

namespace host {

class ObservedScheduler : public quillfold::BGTaskScheduler {
 public:
  explicit ObservedScheduler(std::shared_ptr<quillfold::BGTaskScheduler> real)
      : real_(std::move(real)) {}

  // Both are called on the queue of the task's registration.
  std::function<void()> onLaunch;
  std::function<void(bool success)> onEnd;

  bool registerForTaskWithIdentifier(const std::string& identifier,
                                     std::shared_ptr<quillfold::DispatchQueue> queue,
                                     LaunchHandler launchHandler) override;
  bool submitTaskRequest(const quillfold::BGProcessingTaskRequest& request,
                         quillfold::ErrorPtr* error) override {
    return real_->submitTaskRequest(request, error);
  }

 private:
  const std::shared_ptr<quillfold::BGTaskScheduler> real_;
};

// A clock that is ahead of another one, for those who don't want to wait.
class ClockAhead : public quillfold::Clock {
 public:
  ClockAhead(std::shared_ptr<quillfold::Clock> real, double seconds)
      : real_(std::move(real)), seconds_(seconds) {}
  quillfold::NSDate now() override { return real_->now().dateByAddingTimeInterval(seconds_); }

 private:
  const std::shared_ptr<quillfold::Clock> real_;
  const double seconds_;
};

}  // namespace host
