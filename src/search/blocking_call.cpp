#include "search/blocking_call.h"

namespace quillfold {

namespace {

constexpr std::chrono::nanoseconds kLimit{10000000000};

void waitForFlag(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                 const bool& flag, std::chrono::nanoseconds limit) {
  changed.wait_for(lock, limit, [&flag] { return flag; });
}

}  // namespace

std::atomic<BlockingCall::TimedWait> BlockingCall::timedWait = waitForFlag;

ContactsCompletion BlockingCall::completion() const {
  return [slots = slots_](std::optional<QFContactList> contacts, ErrorPtr error) {
    const std::lock_guard lock(slots->mutex);
    slots->contacts = std::move(contacts);
    slots->error = std::move(error);
    slots->isFinished = true;
    slots->changed.notify_all();
  };
}

QFContactList BlockingCall::wait(const ErrorPtr& timeout, ErrorPtr* error) const {
  std::unique_lock lock(slots_->mutex);
  timedWait.load()(lock, slots_->changed, slots_->isFinished, kLimit);
  const ErrorPtr& failure = slots_->isFinished ? slots_->error : timeout;
  if (error != nullptr && failure) *error = failure;
  return slots_->contacts.value_or(QFContactList());
}

}  // namespace quillfold
