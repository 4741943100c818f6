// The main queue on an Asio io_context. Header only, over component core; link Asio yourself.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Posts work to the context, which is to outlive the library: the threads of its platform
// end with the process, so destroy it never, or behind Account::close. Run it from one
// thread, with a work guard, and make it without a concurrency hint (with a hint of 1 Asio
// puts what the running thread posts behind what others post later).
//
// Waiting (Operation::get) runs the context on that thread, inside a handler or outside. Once
// the context is stopped nothing can be waited for.
class AsioQueue : public MainQueue {
 public:
  // Made on the thread that runs the context, or told which one it is.
  explicit AsioQueue(asio::io_context& context, std::thread::id runner = std::this_thread::get_id())
      : context_(context), home_(std::make_shared<Home>(runner)) {}

  void async(Work work) override {
    asio::post(context_, [home = home_, work = std::move(work)] {
      *home = std::this_thread::get_id();
      work();
    });
  }

  std::optional<bool> canRunHere() const override { return *home_ == std::this_thread::get_id(); }
  bool runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate()) {
      if (context_.stopped()) return false;
      context_.run_one();
    }
    return true;
  }

 private:
  using Home = std::atomic<std::thread::id>;

  asio::io_context& context_;
  // Shared with the work, which the context may hold longer than the queue lives.
  const std::shared_ptr<Home> home_;
};

}  // namespace quillfold::loops
