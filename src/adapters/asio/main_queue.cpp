#include "adapters/asio/main_queue.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace quillfold {

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
  std::atomic<std::thread::id> runner;
  // Whoever ran work last.
  std::atomic<std::thread::id> home = std::this_thread::get_id();
};

namespace {

// The right of one thread to run work.
class Turn {
 public:
  Turn(std::atomic<std::thread::id>& runner, std::atomic<std::thread::id>& home) : runner_(runner) {
    std::thread::id nobody;
    if (runner_.compare_exchange_strong(nobody, std::this_thread::get_id())) {
      home = std::this_thread::get_id();
      return;
    }
    outermost_ = false;
    if (nobody != std::this_thread::get_id()) {
      throw std::logic_error("The main queue is being run by another thread");
    }
  }
  ~Turn() {
    if (outermost_) runner_ = std::thread::id();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  std::atomic<std::thread::id>& runner_;
  bool outermost_ = true;
};

std::chrono::steady_clock::time_point deadlineAfter(double seconds) {
  constexpr double kLongest = 365 * 24 * 3600.0;
  const double bounded = seconds > 0 ? std::min(seconds, kLongest) : 0;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(bounded));
}

}  // namespace

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
  const Turn turn(implementation_->runner, implementation_->home);
  while (!implementation_->stopRequested.exchange(false))
    implementation_->context.run_one();
}

void LinuxMainQueue::stop() {
  implementation_->stopRequested = true;
  asio::post(implementation_->context, [] {});  // Wakes a run that waits for work.
}

std::size_t LinuxMainQueue::poll() {
  const Turn turn(implementation_->runner, implementation_->home);
  const std::size_t first = implementation_->started;
  const std::size_t end = first + implementation_->queued;
  while (implementation_->started < end && implementation_->context.poll_one() != 0) {
  }
  return implementation_->started - first;
}

bool LinuxMainQueue::canRunHere() const {
  return implementation_->home == std::this_thread::get_id();
}

void LinuxMainQueue::runHereUntil(const std::function<bool()>& predicate) {
  const Turn turn(implementation_->runner, implementation_->home);
  while (!predicate())
    implementation_->context.run_one();
}

bool LinuxMainQueue::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
  const Turn turn(implementation_->runner, implementation_->home);
  const auto deadline = deadlineAfter(timeoutSeconds);
  while (!predicate()) {
    if (implementation_->context.run_one_until(deadline) == 0) return predicate();
  }
  return true;
}

}  // namespace quillfold
