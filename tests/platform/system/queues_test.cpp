#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/linux/system/system.h"

namespace quillfold {
namespace {

TEST(MainQueue, RunsInOrderNeverInlineAndPollsWhatIsReady) {
  LinuxMainQueue queue;
  std::vector<int> order;
  queue.async([&] {
    order.push_back(1);
    queue.async([&] { order.push_back(3); });
    std::thread([&] { queue.async([&] { order.push_back(4); }); }).join();
    queue.async([&] { order.push_back(5); });
  });
  queue.async([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());
  queue.stop();  // Its wake-up is no piece of work.
  EXPECT_EQ(queue.poll(), 2U);
  EXPECT_EQ(order, (std::vector{1, 2}));
  EXPECT_EQ(queue.poll(), 3U);
  EXPECT_EQ(queue.poll(), 0U);
  EXPECT_EQ(order, (std::vector{1, 2, 3, 4, 5}));
  EXPECT_THROW(queue.async(nullptr), std::invalid_argument);
}

TEST(MainQueue, RunsUntilAPredicateHoldsOrTheTimeIsOver) {
  LinuxMainQueue queue;
  bool done = false;
  std::thread worker([&] { queue.async([&] { done = true; }); });
  EXPECT_TRUE(queue.runUntil([&] { return done; }, 60));
  worker.join();
  EXPECT_TRUE(queue.runUntil([] { return true; }, -1));
  EXPECT_FALSE(queue.runUntil([] { return false; }, 0.01));
  // Work that never ends doesn't outrun the time.
  Work again = [&] { queue.async(again); };
  again();
  EXPECT_FALSE(queue.runUntil([] { return false; }, 0.01));
}

TEST(MainQueue, StopsEarlyNestedAndFromAnotherThread) {
  LinuxMainQueue queue;
  int count = 0;
  queue.async([&] { ++count; });
  queue.stop();
  queue.run();  // Was told to stop before.
  EXPECT_EQ(count, 0);

  queue.async([&] {
    queue.async([&] { queue.stop(); });
    queue.run();  // Ends by the stop inside.
    ++count;
    queue.async([&] { std::thread([&] { queue.stop(); }).join(); });
    queue.async([&] { ++count; });
  });
  queue.run();
  EXPECT_EQ(count, 2);
  EXPECT_EQ(queue.poll(), 1U);

  std::promise<void> running;
  std::thread runner([&] { queue.run(); });
  queue.async([&] { running.set_value(); });
  running.get_future().wait();
  EXPECT_THROW(queue.poll(), std::logic_error);
  queue.stop();
  runner.join();
  EXPECT_EQ(queue.poll(), 0U);
}

TEST(MainQueue, OutlivesAnException) {
  LinuxMainQueue queue;
  int count = 0;
  for (int i = 0; i < 2; ++i) {
    queue.async([] { throw std::runtime_error("work"); });
    queue.async([&] { ++count; });
  }
  EXPECT_THROW(queue.poll(), std::runtime_error);
  EXPECT_THROW(queue.run(), std::runtime_error);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(queue.poll(), 1U);
  EXPECT_EQ(count, 2);
}

TEST(GlobalQueue, RunsConcurrentlyAndFinishesItsWork) {
  std::atomic<int> count = 0;
  std::promise<void> first, second;
  auto queue = makeThreadPoolQueue();
  // Each of the two waits for the other.
  queue->async([&] {
    first.set_value();
    second.get_future().wait();
    ++count;
  });
  queue->async([&] {
    first.get_future().wait();
    second.set_value();
    ++count;
  });
  for (int i = 0; i < 100; ++i)
    queue->async([&] { ++count; });
  queue.reset();
  EXPECT_EQ(count, 102);
}

TEST(GlobalQueue, LetsTheProcessEndWhileItWorks) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto leaveWorking = [] {
    auto* queue = new std::shared_ptr<DispatchQueue>(makeThreadPoolQueue());
    auto* busy = new std::atomic<bool>(false);
    (*queue)->async([busy] {
      while (true)
        busy->store(true);
    });
    while (!busy->load())
      std::this_thread::yield();
    std::exit(7);
  };
  EXPECT_EXIT(leaveWorking(), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace quillfold
