#include "adapters/asio/task_scheduler.h"

#include <gtest/gtest.h>

#include "adapters/asio/main_queue.h"
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
    if (late) letTimePass();
    launched->setExpirationHandler([&] { ++calls; });
    EXPECT_EQ(calls, 0) << "never inline";
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
  EXPECT_TRUE(queue->runUntil([&] { return calls > 0; }, 60));
  task->setExpirationHandler([&] { ++calls; });
  queue->poll();
  EXPECT_EQ(calls, 1);
}

}  // namespace quillfold::testing
