// Waiting for what an operation reports to its completion.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "contacts/completions.h"

namespace quillfold {

class BlockingCall {
 public:
  // For the operation to call, possibly long after nobody waits any more.
  ContactsCompletion completion() const;
  // The contacts, or none. The error goes to its place, if there is one: what was
  // reported or, when the time is over, `timeout`.
  QFContactList wait(const ErrorPtr& timeout, ErrorPtr* error) const;

  // Lets go of the lock until the flag is set or the limit is over. A test waits in
  // another way here, to see the end of the time without spending it.
  using TimedWait = void (*)(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                             const bool& flag, std::chrono::nanoseconds limit);
  static std::atomic<TimedWait> timedWait;

 private:
  struct Slots {
    std::mutex mutex;
    std::condition_variable changed;
    bool isFinished = false;
    std::optional<QFContactList> contacts;
    ErrorPtr error;
  };
  std::shared_ptr<Slots> slots_ = std::make_shared<Slots>();
};

}  // namespace quillfold
