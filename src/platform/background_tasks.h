// Work that the system runs later, when it suits.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/date.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "platform/dispatch.h"

namespace quillfold {

inline constexpr const char* BGTaskSchedulerErrorDomain = "BGTaskSchedulerErrorDomain";
enum BGTaskSchedulerErrorCode : std::int64_t {
  BGTaskSchedulerErrorCodeUnavailable = 1,
  BGTaskSchedulerErrorCodeNotPermitted = 3,
};

struct BGProcessingTaskRequest {
  std::string identifier;
  // Absent: as soon as possible.
  std::optional<NSDate> earliestBeginDate;
  bool requiresNetworkConnectivity = false;
  bool requiresExternalPower = false;
};

// A task that has been launched. Any thread.
class QUILLFOLD_EXPORT BGTask {
 public:
  virtual ~BGTask() = default;
  virtual const std::string& identifier() const = 0;
  // Called on the queue of the registration when the time of the task is up, at once
  // if it is already, but never inline, after another handler has been called or, if
  // the queue is serial, after the completion. The task still has to be completed.
  virtual void setExpirationHandler(std::function<void()> handler) = 0;
  // Tells the system that the task is over. Only the first call counts.
  virtual void setTaskCompletedWithSuccess(bool success) = 0;
};

// A task from a BGProcessingTaskRequest.
class BGProcessingTask : public BGTask {};

// Launches tasks: not before the earliest date of their request, with a network
// there if they ask for one, each request once. Any thread.
class QUILLFOLD_EXPORT BGTaskScheduler {
 public:
  using LaunchHandler = std::function<void(std::shared_ptr<BGTask> task)>;

  virtual ~BGTaskScheduler() = default;

  // The scheduler of the installed platform.
  static BGTaskScheduler& sharedScheduler();

  // The handler runs on that queue. False if the identifier is registered already.
  virtual bool registerForTaskWithIdentifier(const std::string& identifier,
                                             std::shared_ptr<DispatchQueue> queue,
                                             LaunchHandler launchHandler) = 0;
  // Takes the place of a pending request with the same identifier. False, with the
  // error set, if no handler is registered ("No launch handler registered"), the
  // application lacks the permission ("Missing background mode entitlement"), or
  // the user has switched it off ("Background execution").
  virtual bool submitTaskRequest(const BGProcessingTaskRequest& request, ErrorPtr* error) = 0;
};

}  // namespace quillfold
