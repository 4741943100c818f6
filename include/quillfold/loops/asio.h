// The main queue on an Asio io_context. Header only; link Asio yourself.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Posts work to the context, which outlives the library's use. Run that from one thread,
// with a work guard, and make it without a concurrency hint (with a hint of 1 Asio puts what
// the running thread posts behind what others post later).
//
// Waiting (Operation::get) runs the context on the thread that ran its work last or, at
// first, the one that made the queue, inside a handler or outside. Once the context is
// stopped nothing can be waited for.
class AsioQueue : public MainQueue {
 public:
  explicit AsioQueue(asio::io_context& context) : context_(context) {}

  void async(Work work) override {
    asio::post(context_, [home = home_, work = std::move(work)] {
      *home = std::this_thread::get_id();
      work();
    });
  }

  bool canRunHere() const override { return *home_ == std::this_thread::get_id(); }
  void runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate() && !context_.stopped())
      context_.run_one();
  }

 private:
  using Home = std::atomic<std::thread::id>;

  asio::io_context& context_;
  // Shared with the work, which the context may hold longer than the queue lives.
  const std::shared_ptr<Home> home_ = std::make_shared<Home>(std::this_thread::get_id());
};

}  // namespace quillfold::loops
