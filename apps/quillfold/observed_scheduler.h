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

}  // namespace host
