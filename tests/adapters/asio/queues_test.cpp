#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

#include "adapters/asio/main_queue.h"
#include "adapters/asio/thread_pool_queue.h"

namespace quillfold {

using testing::ThrowsMessage;

TEST(MainQueue, RunsInOrderNeverInlineAndPollsWhatIsReady) {
  LinuxMainQueue queue;
  std::vector<int> order;
  queue.async([&] {
    order.push_back(1);
    queue.async([&] { order.push_back(3); });
    std::thread([&] { queue.async([&] { order.push_back(4); }); }).join();
    queue.async([&] { queue.async([&] { order.push_back(5); }); });
  });
  queue.async([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());
  queue.stop();  // Its wake-up is no piece of work.
  EXPECT_EQ(queue.poll(), 2U);
  EXPECT_EQ(queue.poll(), 3U);
  EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
  EXPECT_EQ(queue.poll(), 1U);
  EXPECT_THAT([&] { queue.async(nullptr); },
              ThrowsMessage<std::invalid_argument>("Empty work on the main queue"));
}

TEST(MainQueue, RunsUntilAPredicateHoldsOrTheTimeIsOver) {
  LinuxMainQueue queue;
  bool done = false;
  std::thread worker([&] { queue.async([&] { done = true; }); });
  EXPECT_TRUE(queue.runUntil([&] { return done; }, 60));
  worker.join();
  queue.async([&] { done = false; });
  EXPECT_FALSE(queue.runUntil([&] { return !done; }, -1));
  EXPECT_TRUE(queue.runUntil([&] { return !done; }, 1));
  EXPECT_FALSE(queue.runUntil([] { return false; }, 0.01));
  // Work that never ends doesn't outrun the time.
  Work again = [&] { queue.async(again); };
  again();
  EXPECT_FALSE(queue.runUntil([] { return false; }, 0.01));
}

TEST(MainQueue, StopsEarlyNestedAndFromAnotherThread) {
  LinuxMainQueue queue;
  int count = 0;
  queue.stop();
  queue.run();  // Was told to stop before.
  queue.async([&] {
    queue.async([&] { queue.stop(); });
    queue.run();  // Ends by the stop inside.
    ++count;
    queue.async([&] { std::thread([&] { queue.stop(); }).join(); });
    queue.async([&] { ++count; });
  });
  queue.run();
  EXPECT_EQ(count, 1);
  EXPECT_EQ(queue.poll(), 1U);

  const auto isHere = [&] { return *queue.canRunHere(); };
  std::promise<bool> running;
  std::thread runner([&] {
    EXPECT_FALSE(isHere());
    queue.run();
  });
  queue.async([&] { running.set_value(isHere()); });
  EXPECT_TRUE(running.get_future().get() && !isHere());
  EXPECT_THAT([&] { queue.poll(); },
              ThrowsMessage<std::logic_error>("The main queue is being run by another thread"));
  queue.stop();
  runner.join();
  EXPECT_TRUE(isHere());
}

// One thread waits for what another one runs, whichever of them is first.
TEST(MainQueue, AWaitAndARunTakeTurns) {
  for (int round = 0; round < 300; ++round) {
    LinuxMainQueue queue;
    std::atomic<bool> done = false;
    std::jthread runner([&] { queue.run(); });
    queue.async([&] {
      done = true;
      done.notify_all();
    });
    const auto isDone = [&] { return queue.runHereUntil([] { return true; }) && done.load(); };
    if (!queue.runHereUntil(isDone)) done.wait(false);
    EXPECT_TRUE(done);
    queue.stop();
    runner.join();
  }
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
  EXPECT_EQ(queue.poll(), 1U);
  EXPECT_EQ(count, 2);
}

TEST(GlobalQueue, RunsConcurrentlyAndFinishesItsWork) {
  std::atomic<int> count = 0;
  std::latch both(2);
  auto queue = makeThreadPoolQueue();
  for (int i = 0; i < 2; ++i)
    queue->async([&] { both.arrive_and_wait(); });
  for (int i = 0; i < 100; ++i)
    queue->async([&] { ++count; });
  EXPECT_THAT([&] { queue->async(nullptr); },
              ThrowsMessage<std::invalid_argument>("Empty work on the global queue"));
  queue.reset();
  EXPECT_EQ(count, 100);
}

TEST(GlobalQueue, MayBeLetGoByItsOwnWork) {
  // As long as the process: the last to be told goes on for a moment.
  static std::promise<void> alone, ends[2];
  auto* const last = new auto(makeThreadPoolQueue());
  (*last)->async([last] {
    alone.get_future().wait();
    (*last)->async([] { ends[0].set_value(); });
    delete last;
    ends[1].set_value();
  });
  alone.set_value();
  for (auto& end : ends)
    ASSERT_EQ(end.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(GlobalQueue, LetsTheProcessEndWhileItWorks) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto leaveWorking = [] {
    static auto* const queue = new auto(makeThreadPoolQueue());
    std::promise<void> busy;
    (*queue)->async([&busy] {
      for (busy.set_value();;)
        std::this_thread::yield();
    });
    busy.get_future().wait();
    std::exit(7);
  };
  EXPECT_EXIT(leaveWorking(), testing::ExitedWithCode(7), "");
}

}  // namespace quillfold
