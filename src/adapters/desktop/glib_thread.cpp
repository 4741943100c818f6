#include "adapters/desktop/glib_thread.h"

#include <deque>

#include "foundation/signals.h"

namespace quillfold::desktop {

namespace {

constexpr std::chrono::seconds kPatience{2};

}  // namespace

// Held by the thread as well, which may outlive its owner.
struct GLibThread::Shared {
  // The next job; absent once there are no more and none can come.
  std::optional<Job> next() {
    for (;;) {
      {
        const std::lock_guard lock(mutex);
        if (!jobs.empty()) {
          Job job = std::move(jobs.front());
          jobs.pop_front();
          return job;
        }
        if (stopping) return std::nullopt;
      }
      g_main_context_iteration(context.get(), TRUE);
    }
  }

  void run() {
    g_main_context_push_thread_default(context.get());
    while (std::optional<Job> job = next())
      (*job)();
    // What was cancelled or let go comes to its end here.
    while (g_main_context_iteration(context.get(), FALSE)) {
    }
    g_main_context_pop_thread_default(context.get());
    const std::lock_guard lock(mutex);
    ended = true;
    end.notify_all();
  }

  const Owned<GMainContext> context{g_main_context_new()};
  std::mutex mutex;
  std::condition_variable end;
  std::deque<Job> jobs;
  bool stopping = false;
  bool ended = false;
};

GLibThread::GLibThread() : shared_(std::make_shared<Shared>()) {
  withSignalsBlocked([this] { thread_ = std::thread([shared = shared_] { shared->run(); }); });
}

GLibThread::~GLibThread() {
  std::unique_lock lock(shared_->mutex);
  shared_->stopping = true;
  g_main_context_wakeup(shared_->context.get());
  const bool ended = shared_->end.wait_for(lock, kPatience, [this] { return shared_->ended; });
  lock.unlock();
  if (ended) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

std::function<void(GLibThread::Job)> GLibThread::poster() const {
  return [shared = shared_](Job job) {
    const std::lock_guard lock(shared->mutex);
    if (shared->ended) return;
    shared->jobs.push_back(std::move(job));
    g_main_context_wakeup(shared->context.get());
  };
}

}  // namespace quillfold::desktop
