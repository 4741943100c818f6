// Deferred tasks inside the process.
#pragma once

#include <functional>
#include <memory>

#include "foundation/export.h"
#include "platform/background_tasks.h"
#include "platform/clock.h"

namespace quillfold {

// What stands in the way of background work.
enum class BackgroundExecution { Allowed, NotEntitled, DisabledByUser };

struct TaskSchedulerOptions {
  // Whether a network is there. Empty: the system is asked for an interface other
  // than the loopback that is up and running.
  std::function<bool()> networkIsUp;
  // The time that a task may run until it expires, in seconds.
  double runningTime = 600;
};

// Whether an interface other than the loopback is up and running.
QUILLFOLD_EXPORT bool systemNetworkIsUp();

// Keeps requests in memory, and launches each when the clock has reached its date
// and, if it asks for one, a network is there; external power is not waited for.
// A thread looks when the clock should have got there, and once a second while a
// request waits for the network.
class QUILLFOLD_EXPORT LinuxTaskScheduler : public BGTaskScheduler {
 public:
  LinuxTaskScheduler(std::shared_ptr<Clock> clock, TaskSchedulerOptions options);
  ~LinuxTaskScheduler() override;

  bool registerForTaskWithIdentifier(const std::string& identifier,
                                     std::shared_ptr<DispatchQueue> queue,
                                     LaunchHandler launchHandler) override;
  bool submitTaskRequest(const BGProcessingTaskRequest& request, ErrorPtr* error) override;

  // Allowed at first; requests that are pending already stay.
  void setExecution(BackgroundExecution execution);
  // Looks at once whether something is to be launched or has expired; for those
  // who move the clock.
  void clockHasMoved();

 private:
  class Implementation;
  std::shared_ptr<Implementation> implementation_;
};

}  // namespace quillfold
