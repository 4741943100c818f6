// The main queue on an Asio io_context. Header only; link Asio yourself.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>
#include <memory>
#include <utility>

#include "quillfold/platform.h"

namespace quillfold::loops {

// Posts work to the context, which one thread at a time runs, and which outlives the
// library's use: have it run by `run`, with a work guard, from one thread. Waiting
// (Operation::get) works on that thread, inside a handler of the context, and runs it.
class AsioQueue : public MainQueue {
 public:
  explicit AsioQueue(asio::io_context& context) : context_(context) {}

  void async(Work work) override { asio::post(context_, std::move(work)); }

  bool canRunHere() const override { return context_.get_executor().running_in_this_thread(); }
  void runHereUntil(const std::function<bool()>& predicate) override {
    while (!predicate() && !context_.stopped())
      context_.run_one();
  }

 private:
  asio::io_context& context_;
};

}  // namespace quillfold::loops
