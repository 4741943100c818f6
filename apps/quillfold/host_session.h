// The library as this program runs it: the Linux platform, one user, one queue.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>

#include "apps/quillfold/arguments.h"
#include "apps/quillfold/hurried_clock.h"
#include "apps/quillfold/observed_scheduler.h"
#include "quillfold/quillfold.h"

namespace host {

// A failure that the library reported.
class LibraryFailure : public std::runtime_error {
 public:
  explicit LibraryFailure(quillfold::ErrorPtr error)
      : std::runtime_error(error->localizedDescription()), error_(std::move(error)) {}
  const quillfold::ErrorPtr& error() const { return error_; }

 private:
  quillfold::ErrorPtr error_;
};

// A command line that turned out to make no sense.
class WrongUsage : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class HostSession {
 public:
  // Installs the platform. Once per process, before anything else of the library.
  explicit HostSession(const Arguments& arguments);

  const Arguments& arguments() const { return arguments_; }
  quillfold::QFContactService& service() { return *quillfold::QFContactService::sharedInstance(); }
  quillfold::NSUserDefaults& defaults();

  // Initialises the library with the user of the command line. Throws
  // LibraryFailure.
  void initialize();
  // Asks for access to the contacts, unless that has been decided. Throws
  // LibraryFailure without access.
  void requestAccess();

  // Runs the main queue until the operation has called `done`. `step`, if any, is
  // called some ten times a second meanwhile.
  using Done = std::function<void()>;
  void await(const std::function<void(Done done)>& start, const std::function<void()>& step = {});
  // Runs the main queue for at most that time, or until the predicate holds.
  bool runUntil(const std::function<bool()>& predicate, double seconds);
  // Waits for a deferred task to end, and returns whether it ended well.
  bool awaitTask(std::function<void()> onLaunch);
  // Puts the library's clock ahead, and has its scheduler look at it.
  void putClockAhead(double seconds);
  // Puts work on the main queue, from any thread.
  void onMainQueue(std::function<void()> work) { queue_->async(std::move(work)); }

 private:
  void keepOrganization();
  bool offerSettings();

  Arguments arguments_;
  std::shared_ptr<quillfold::LinuxMainQueue> queue_;
  std::shared_ptr<HurriedClock> clock_;
  std::shared_ptr<quillfold::LinuxTaskScheduler> scheduler_;
  std::shared_ptr<ObservedScheduler> tasks_;
  std::shared_ptr<quillfold::LinuxContacts> contacts_;
};

}  // namespace host
