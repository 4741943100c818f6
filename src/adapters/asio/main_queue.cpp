#include "adapters/asio/main_queue.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace quillfold {

namespace {

enum class Manner { Runs, Visits };

// Who runs the work: one thread at a time, which may come in again; while none does, the
// last one or the one that made the queue, which may be the only one left.
class Turns {
 public:
  // Whether the turn is the calling thread's now; the end of a visit is waited for.
  bool begin(Manner manner) {
    const auto self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    if (manner == Manner::Runs) {
      ended_.wait(lock, [&] { return !isVisited_ || thread_ == self; });
    }
    if (depth_ > 0 && thread_ != self) return false;
    if (depth_++ == 0) {
      thread_ = self;
      isVisited_ = manner == Manner::Visits;
    }
    return true;
  }
  void end() {
    const std::lock_guard lock(mutex_);
    if (--depth_ > 0) return;
    isVisited_ = false;
    ended_.notify_all();
  }
  bool areHere() const {
    const std::lock_guard lock(mutex_);
    const auto self = std::this_thread::get_id();
    return thread_ == self || (depth_ == 0 && maker_ == self);
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable ended_;
  const std::thread::id maker_ = std::this_thread::get_id();
  std::thread::id thread_ = maker_;
  int depth_ = 0;
  bool isVisited_ = false;
};

class Turn {
 public:
  Turn(Turns& turns, Manner manner) : turns_(turns), isMine_(turns.begin(manner)) {
    if (!isMine_ && manner == Manner::Runs) {
      throw std::logic_error("The main queue is being run by another thread");
    }
  }
  ~Turn() {
    if (isMine_) turns_.end();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  explicit operator bool() const { return isMine_; }

 private:
  Turns& turns_;
  const bool isMine_;
};

std::chrono::steady_clock::time_point deadlineAfter(double seconds) {
  constexpr double kLongest = 365 * 24 * 3600.0;
  const double bounded = seconds > 0 ? std::min(seconds, kLongest) : 0;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(bounded));
}

}  // namespace

struct LinuxMainQueue::Implementation {
  // Not with the hint of a single thread: that would let work queued on the running
  // thread fall behind later work of other threads.
  asio::io_context context;
  // Keeps the context from ending when it is out of work.
  asio::executor_work_guard<asio::io_context::executor_type> guard{context.get_executor()};
  std::atomic<std::size_t> queued = 0;
  // Touched by the running thread only.
  std::size_t started = 0;
  std::atomic<bool> stopRequested = false;
  Turns turns;
};

LinuxMainQueue::LinuxMainQueue() : implementation_(std::make_unique<Implementation>()) {}
LinuxMainQueue::~LinuxMainQueue() = default;

void LinuxMainQueue::async(Work work) {
  if (!work) throw std::invalid_argument("Empty work on the main queue");
  Implementation& queue = *implementation_;
  queue.queued.fetch_add(1);
  asio::post(queue.context, [work = std::move(work), &queue] {
    queue.queued.fetch_sub(1);
    ++queue.started;
    work();
  });
}

void LinuxMainQueue::run() {
  const Turn turn(implementation_->turns, Manner::Runs);
  while (!implementation_->stopRequested.exchange(false))
    implementation_->context.run_one();
}

void LinuxMainQueue::stop() {
  implementation_->stopRequested = true;
  asio::post(implementation_->context, [] {});  // Wakes a run that waits for work.
}

std::size_t LinuxMainQueue::poll() {
  const Turn turn(implementation_->turns, Manner::Runs);
  const std::size_t first = implementation_->started;
  const std::size_t end = first + implementation_->queued;
  while (implementation_->started < end && implementation_->context.poll_one() != 0) {
  }
  return implementation_->started - first;
}

std::optional<bool> LinuxMainQueue::canRunHere() const {
  return implementation_->turns.areHere();
}

bool LinuxMainQueue::runHereUntil(const std::function<bool()>& predicate) {
  const Turn turn(implementation_->turns, Manner::Visits);
  if (!turn) return false;
  while (!predicate())
    implementation_->context.run_one();
  return true;
}

bool LinuxMainQueue::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
  const Turn turn(implementation_->turns, Manner::Runs);
  const auto deadline = deadlineAfter(timeoutSeconds);
  while (!predicate()) {
    if (implementation_->context.run_one_until(deadline) == 0) return predicate();
  }
  return true;
}

}  // namespace quillfold
