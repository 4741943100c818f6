#include "adapters/asio/thread_pool_queue.h"

#include <algorithm>
#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "foundation/signals.h"

namespace quillfold {

namespace {

class ThreadPoolQueue : public DispatchQueue {
 public:
  ~ThreadPoolQueue() override {
    if (!pool_) return;
    if (pool_->get_executor().running_in_this_thread()) {
      // The other threads wait for the work that lets go here, so it may not wait for them.
      withSignalsBlocked(
          [this] { std::thread([pool = std::move(pool_)] { pool->join(); }).detach(); });
    } else {
      pool_->join();
    }
  }

  void async(Work work) override {
    if (!work) throw std::invalid_argument("Empty work on the global queue");
    asio::post(pool(), std::move(work));
  }

 private:
  asio::thread_pool& pool() {
    std::call_once(started_, [this] {
      withSignalsBlocked([this] {
        pool_ =
            std::make_unique<asio::thread_pool>(std::max(2U, std::thread::hardware_concurrency()));
      });
    });
    return *pool_;
  }

  std::once_flag started_;
  std::unique_ptr<asio::thread_pool> pool_;
};

}  // namespace

std::shared_ptr<DispatchQueue> makeThreadPoolQueue() {
  return std::make_shared<ThreadPoolQueue>();
}

}  // namespace quillfold
