// The main queue on an Asio io_context. Header only, over component core; link Asio yourself.
#pragma once

#include <asio/execution_context.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Posts work to the context. Run that from one thread, with a work guard, and make it without
// a concurrency hint (with a hint of 1 Asio puts what the running thread posts behind what
// others post later). The library's threads end with the process: what they post once the
// context has gone is dropped, and no operation ends any more.
//
// Waiting (Operation::get) runs the context on that thread, inside a handler or outside. Once
// the context is stopped, or gone, nothing can be waited for.
class AsioQueue : public MainQueue {
 public:
  // Made on the thread that runs the context, or told which one it is.
  explicit AsioQueue(asio::io_context& context, std::thread::id runner = std::this_thread::get_id())
      : link_(asio::use_service<Link::Service>(context).link),
        home_(std::make_shared<Home>(runner)) {}

  void async(Work work) override {
    const std::lock_guard lock(link_->mutex);
    if (!link_->context) return;
    asio::post(*link_->context, [home = home_, work = std::move(work)] {
      *home = std::this_thread::get_id();
      work();
    });
  }

  std::optional<bool> canRunHere() const override { return *home_ == std::this_thread::get_id(); }
  bool runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate()) {
      asio::io_context* const context = link_->current();
      if (!context || context->stopped()) return false;
      context->run_one();
    }
    return true;
  }

 private:
  using Home = std::atomic<std::thread::id>;

  // The way to a context, which cuts it when it goes.
  struct Link {
    class Service : public asio::execution_context::service {
     public:
      using key_type = Service;
      static inline asio::execution_context::id id;

      explicit Service(asio::execution_context& context)
          : asio::execution_context::service(context) {
        link->context = &static_cast<asio::io_context&>(context);
      }
      void shutdown() override {
        const std::lock_guard lock(link->mutex);
        link->context = nullptr;
      }

      const std::shared_ptr<Link> link = std::make_shared<Link>();
    };

    asio::io_context* current() {
      const std::lock_guard lock(mutex);
      return context;
    }

    // Held while posting, so that the context stays until then.
    std::mutex mutex;
    asio::io_context* context = nullptr;
  };

  const std::shared_ptr<Link> link_;
  // Shared with the work, which the context may hold longer than the queue lives.
  const std::shared_ptr<Home> home_;
};

}  // namespace quillfold::loops
