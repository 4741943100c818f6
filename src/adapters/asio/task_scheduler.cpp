#include "adapters/asio/task_scheduler.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/format.h"
#include "foundation/signals.h"

namespace quillfold {

namespace {

ErrorPtr schedulerError(std::int64_t code, std::string text) {
  return NSError::errorWithDomain(BGTaskSchedulerErrorDomain, code,
                                  {{NSLocalizedDescriptionKey, std::move(text)}});
}

// A task between its launch and its completion.
class LaunchedTask : public BGProcessingTask, public std::enable_shared_from_this<LaunchedTask> {
 public:
  LaunchedTask(std::string identifier, std::shared_ptr<DispatchQueue> queue, NSDate expiry)
      : identifier_(std::move(identifier)), queue_(std::move(queue)), expiry_(expiry) {}

  const std::string& identifier() const override { return identifier_; }

  void setExpirationHandler(std::function<void()> handler) override {
    {
      const std::lock_guard lock(mutex_);
      if (over_) return;
      expirationHandler_.swap(handler);
      if (!expired_) return;
    }
    postExpiration();
  }

  void setTaskCompletedWithSuccess(bool) override {
    std::function<void()> released;  // Outside the lock.
    const std::lock_guard lock(mutex_);
    over_ = true;
    released.swap(expirationHandler_);
  }

  NSDate expiry() const { return expiry_; }
  bool isOver() {
    const std::lock_guard lock(mutex_);
    return over_;
  }

  void expire() {
    {
      const std::lock_guard lock(mutex_);
      expired_ = true;
    }
    postExpiration();
  }

 private:
  // The handler is taken at its turn: until then it may come, and the task may end.
  void postExpiration() {
    queue_->async([self = shared_from_this()] { self->tellExpiration(); });
  }

  void tellExpiration() {
    std::function<void()> handler;
    {
      const std::lock_guard lock(mutex_);
      if (!expirationHandler_) return;
      handler.swap(expirationHandler_);
      over_ = true;
    }
    handler();
  }

  const std::string identifier_;
  const std::shared_ptr<DispatchQueue> queue_;
  const NSDate expiry_;
  std::mutex mutex_;
  std::function<void()> expirationHandler_;
  bool expired_ = false;
  // It was completed, or its handler called: no further one is kept.
  bool over_ = false;
};

}  // namespace

class LinuxTaskScheduler::Implementation
    : public std::enable_shared_from_this<LinuxTaskScheduler::Implementation> {
 public:
  Implementation(std::shared_ptr<Clock> clock, TaskSchedulerOptions options)
      : clock_(std::move(clock)), options_(std::move(options)) {
    if (!options_.networkIsUp) options_.networkIsUp = systemNetworkIsUp;
  }

  bool add(const std::string& identifier, std::shared_ptr<DispatchQueue> queue,
           LaunchHandler handler) {
    const std::lock_guard lock(mutex_);
    return registrations_
        .try_emplace(identifier, Registration{std::move(queue), std::move(handler)})
        .second;
  }

  void setExecution(BackgroundExecution execution) { execution_ = execution; }

  ErrorPtr submit(const BGProcessingTaskRequest& request) {
    if (execution_ == BackgroundExecution::NotEntitled) {
      return schedulerError(BGTaskSchedulerErrorCodeNotPermitted,
                            "Missing background mode entitlement");
    }
    if (execution_ == BackgroundExecution::DisabledByUser) {
      return schedulerError(BGTaskSchedulerErrorCodeUnavailable,
                            "Background execution is switched off");
    }
    const std::lock_guard lock(mutex_);
    if (!registrations_.contains(request.identifier)) {
      return schedulerError(BGTaskSchedulerErrorCodeNotPermitted,
                            fmt::format("No launch handler registered for task with identifier {}",
                                        request.identifier));
    }
    pending_[request.identifier] = request;
    if (!threadRuns_) {
      threadRuns_ = true;
      withSignalsBlocked(
          [this] { std::thread([self = shared_from_this()] { self->watch(); }).detach(); });
    }
    wake_.notify_all();
    return nullptr;
  }

  void stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    wake_.notify_all();
  }

  void look() {
    const NSDate now = clock_->now();
    for (auto& [registration, task] : takeDue(now)) {
      registration.queue->async(
          [handler = registration.handler, launched = task] { handler(launched); });
    }
    for (const auto& task : takeExpired(now))
      task->expire();
  }

 private:
  struct Registration {
    std::shared_ptr<DispatchQueue> queue;
    LaunchHandler handler;
  };
  using Launch = std::pair<Registration, std::shared_ptr<LaunchedTask>>;

  static bool hasCome(const BGProcessingTaskRequest& request, NSDate now) {
    return !request.earliestBeginDate || *request.earliestBeginDate <= now;
  }

  std::vector<Launch> takeDue(NSDate now) {
    const bool networkIsUp = options_.networkIsUp();
    std::vector<Launch> due;
    const std::lock_guard lock(mutex_);
    std::erase_if(pending_, [&](const auto& entry) {
      const BGProcessingTaskRequest& request = entry.second;
      if (!hasCome(request, now) || (request.requiresNetworkConnectivity && !networkIsUp)) {
        return false;
      }
      const Registration& registration = registrations_.at(request.identifier);
      auto task =
          std::make_shared<LaunchedTask>(request.identifier, registration.queue,
                                         now.dateByAddingTimeInterval(options_.runningTime));
      running_.push_back(task);
      due.emplace_back(registration, std::move(task));
      return true;
    });
    return due;
  }

  std::vector<std::shared_ptr<LaunchedTask>> takeExpired(NSDate now) {
    std::vector<std::shared_ptr<LaunchedTask>> expired;
    const std::lock_guard lock(mutex_);
    std::erase_if(running_, [&](const std::shared_ptr<LaunchedTask>& task) {
      if (task->isOver()) return true;
      if (task->expiry() > now) return false;
      expired.push_back(task);
      return true;
    });
    return expired;
  }

  // The seconds until something may be due; a day where nothing waits.
  double secondsToNext() {
    constexpr double kNetworkInterval = 1;
    const NSDate now = clock_->now();
    double next = 24 * 3600.0;
    for (const auto& [identifier, request] : pending_) {
      const double wait =
          hasCome(request, now)
              ? kNetworkInterval
              : request.earliestBeginDate->timeIntervalSince1970() - now.timeIntervalSince1970();
      next = std::min(next, wait);
    }
    for (const auto& task : running_) {
      next = std::min(next, task->expiry().timeIntervalSince1970() - now.timeIntervalSince1970());
    }
    return std::max(next, 0.0);
  }

  void watch() {
    while (true) {
      look();
      std::unique_lock lock(mutex_);
      if (stopped_) return;
      wake_.wait_for(lock, std::chrono::duration<double>(secondsToNext()));
      if (stopped_) return;
    }
  }

  const std::shared_ptr<Clock> clock_;
  TaskSchedulerOptions options_;
  std::atomic<BackgroundExecution> execution_ = BackgroundExecution::Allowed;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::map<std::string, Registration> registrations_;
  std::map<std::string, BGProcessingTaskRequest> pending_;
  std::vector<std::shared_ptr<LaunchedTask>> running_;
  bool threadRuns_ = false;
  bool stopped_ = false;
};

LinuxTaskScheduler::LinuxTaskScheduler(std::shared_ptr<Clock> clock, TaskSchedulerOptions options)
    : implementation_(std::make_shared<Implementation>(std::move(clock), std::move(options))) {}

LinuxTaskScheduler::~LinuxTaskScheduler() {
  implementation_->stop();
}

bool LinuxTaskScheduler::registerForTaskWithIdentifier(const std::string& identifier,
                                                       std::shared_ptr<DispatchQueue> queue,
                                                       LaunchHandler launchHandler) {
  return implementation_->add(identifier, std::move(queue), std::move(launchHandler));
}

bool LinuxTaskScheduler::submitTaskRequest(const BGProcessingTaskRequest& request,
                                           ErrorPtr* error) {
  const ErrorPtr failure = implementation_->submit(request);
  if (error != nullptr) *error = failure;
  return failure == nullptr;
}

void LinuxTaskScheduler::setExecution(BackgroundExecution execution) {
  implementation_->setExecution(execution);
}

void LinuxTaskScheduler::clockHasMoved() {
  implementation_->look();
}

}  // namespace quillfold
