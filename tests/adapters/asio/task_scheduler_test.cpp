#include "adapters/asio/task_scheduler.h"

#include <gtest/gtest.h>

#include "adapters/asio/main_queue.h"
#include "adapters/linux/system.h"
#include "testing/fake_platform.h"

namespace quillfold::testing {

TEST(TaskScheduler, TellsEachTaskOnceThatItsTimeIsUpAndNoneThatIsOver) {
  const auto clock = std::make_shared<FakeClock>();
  const auto queue = std::make_shared<LinuxMainQueue>();
  LinuxTaskScheduler scheduler(clock, {.networkIsUp = [] { return true; }, .runningTime = 600});
  const auto letTimePass = [&] {
    clock->seconds = clock->seconds + 600;
    scheduler.clockHasMoved();
  };
  std::shared_ptr<BGTask> task;
  bool late = false;
  int calls = 0;
  scheduler.registerForTaskWithIdentifier("t", queue, [&](std::shared_ptr<BGTask> launched) {
    if (!late) launched->setExpirationHandler([&] { ++calls; });
    task = std::move(launched);
  });
  const auto launch = [&] {
    task = nullptr;
    BGProcessingTaskRequest request;
    request.identifier = "t";
    scheduler.submitTaskRequest(request, nullptr);
    return queue->runUntil([&] { return task != nullptr; }, 60);
  };
  ASSERT_TRUE(launch());
  letTimePass();
  task->setTaskCompletedWithSuccess(true);
  const auto token = std::make_shared<int>();
  task->setExpirationHandler([token] {});
  EXPECT_EQ(token.use_count(), 1);
  queue->poll();
  EXPECT_EQ(calls, 0);

  late = true;
  ASSERT_TRUE(launch());
  letTimePass();
  queue->poll();
  for (int i = 0; i < 2; ++i) {
    task->setExpirationHandler([&] { ++calls; });
    EXPECT_EQ(calls, i) << "never inline, nor again";
    EXPECT_TRUE(queue->runUntil([&] { return calls == 1; }, 60));
  }
  queue->poll();
  EXPECT_EQ(calls, 1);
}

TEST(TaskScheduler, WakesUpByItselfWhenATaskIsDueAndWhenItsTimeIsUp) {
  const auto clock = makeSystemClock();
  const auto queue = std::make_shared<LinuxMainQueue>();
  LinuxTaskScheduler scheduler(clock, {.networkIsUp = [] { return true; }, .runningTime = 0.01});
  bool over = false;
  scheduler.registerForTaskWithIdentifier("t", queue, [&](const auto& launched) {
    launched->setExpirationHandler([&] { over = true; });
  });
  BGProcessingTaskRequest request;
  request.identifier = "t";
  request.earliestBeginDate = clock->now().dateByAddingTimeInterval(0.01);
  scheduler.submitTaskRequest(request, nullptr);
  EXPECT_TRUE(queue->runUntil([&] { return over; }, 60));
}

}  // namespace quillfold::testing
