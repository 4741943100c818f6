#include "account/operation.h"

#include <chrono>

#include "platform/dispatch.h"
#include "platform/platform.h"

namespace quillfold {

bool OperationCore::isDone() const {
  const std::lock_guard lock(mutex_);
  return done_;
}

void OperationCore::finish(const std::function<void()>& store) {
  std::vector<std::function<void()>> whenDone;
  std::function<void()> cancel;  // Let go outside of the lock: it may hold anything.
  bool wakeMain = false;
  {
    const std::lock_guard lock(mutex_);
    if (done_) return;
    store();
    done_ = true;
    whenDone.swap(whenDone_);
    cancel.swap(cancel_);
    wakeMain = mainWaits_;
    ended_.notify_all();
  }
  if (wakeMain) dispatchMain([] {});
  for (auto& work : whenDone)
    dispatchMain(std::move(work));
}

void OperationCore::whenDone(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    if (!done_) {
      whenDone_.push_back(std::move(work));
      return;
    }
  }
  dispatchMain(std::move(work));
}

void OperationCore::onCancel(std::function<void()> cancel) {
  const std::lock_guard lock(mutex_);
  if (!done_) cancel_ = std::move(cancel);
}

void OperationCore::cancel() {
  std::function<void()> cancel;
  {
    const std::lock_guard lock(mutex_);
    cancel = cancel_;
  }
  if (cancel) cancel();
}

void OperationCore::wait() {
  constexpr std::chrono::milliseconds kAsksAgain(200);
  MainQueue& queue = *Platform::current().mainQueue;
  for (;;) {
    // Once more where another thread had the loop for a moment.
    for (int i = 0; i < 2 && !isDone() && queue.canRunHere().value_or(false); ++i) {
      {
        const std::lock_guard lock(mutex_);
        mainWaits_ = true;
      }
      queue.runHereUntil([this] { return isDone(); });
    }
    // Asked again: another thread may have taken over, or the loop have ended meanwhile.
    if (!isDone() && queue.canRunHere().value_or(isMainQueueThread())) {
      throw Failure(AccountErrorDomain, AccountErrorCodeWouldBlock,
                    "The main queue can't be run from here, and nothing else would end this");
    }
    // Whoever runs the loop may leave it to this thread, of which nobody tells.
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, kAsksAgain, [this] { return done_; })) return;
  }
}

Failure detail::failureOfException() {
  try {
    throw;
  } catch (const Failure& failure) {
    return failure;
  } catch (const std::exception& exception) {
    return {AccountErrorDomain, AccountErrorCodeException, exception.what()};
  } catch (...) {
    return {AccountErrorDomain, AccountErrorCodeException, "Unknown exception"};
  }
}

}  // namespace quillfold
