// A thread for libraries that want a main context.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "adapters/desktop/owned.h"

namespace quillfold::desktop {

using Deadline = std::chrono::steady_clock::time_point;

// Owns a main context that is its thread's default one. Work runs there in the order in
// which it was posted, between what the context has to do, which it may not wait for.
class GLibThread {
 public:
  using Job = std::function<void()>;

  GLibThread();
  // Runs what was posted, and waits for that; but not for long, should it hang.
  ~GLibThread();
  GLibThread(const GLibThread&) = delete;
  GLibThread& operator=(const GLibThread&) = delete;

  // Any thread.
  void post(Job job) { poster()(std::move(job)); }
  // The same for those who may outlive this: their jobs are dropped then.
  std::function<void(Job)> poster() const;

  // Runs the work and gives what it returned, or throws what it threw. If the deadline comes
  // first the work is cancelled and nothing is given; `late` then runs on the thread behind
  // the work. Any thread but this one.
  template <typename T>
  std::optional<T> call(Deadline deadline, std::function<T(GCancellable*)> work, Job late) {
    const auto call = std::make_shared<Call<T>>();
    post([call, work = std::move(work), late = std::move(late)] {
      std::optional<T> result;
      std::exception_ptr failure;
      try {
        result = work(call->cancellable.get());
      } catch (...) {
        failure = std::current_exception();
      }
      std::unique_lock lock(call->mutex);
      call->result = std::move(result);
      call->failure = std::move(failure);
      call->done.notify_all();
      if (!call->abandoned) return;
      lock.unlock();
      late();
    });
    std::unique_lock lock(call->mutex);
    if (call->done.wait_until(lock, deadline, [&] { return call->result || call->failure; })) {
      if (call->failure) std::rethrow_exception(std::move(call->failure));
      return std::move(call->result);
    }
    call->abandoned = true;
    lock.unlock();
    g_cancellable_cancel(call->cancellable.get());
    return std::nullopt;
  }

 private:
  template <typename T>
  struct Call {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<T> result;
    std::exception_ptr failure;
    bool abandoned = false;
    const Owned<GCancellable> cancellable{g_cancellable_new()};
  };
  struct Shared;

  const std::shared_ptr<Shared> shared_;
  std::thread thread_;
};

}  // namespace quillfold::desktop
