// The main queue on real event loops.
#include <quillfold/loops/asio.h>
#include <quillfold/loops/glib.h>

#include <asio/executor_work_guard.hpp>
#include <thread>

#include "tests/account/backend_test.h"

namespace quillfold::testing {
namespace {

struct GLibLoop {
  GLibLoop() = default;
  ~GLibLoop() {
    g_main_loop_unref(loop);
    g_main_context_unref(context);
  }
  void run() { g_main_loop_run(loop); }
  void quit() { g_main_loop_quit(loop); }

  GMainContext* const context = g_main_context_new();
  GMainLoop* const loop = g_main_loop_new(context, FALSE);
  std::shared_ptr<loops::GLibQueue> queue = std::make_shared<loops::GLibQueue>(context);
};

struct AsioLoop {
  void run() {
    context.restart();
    context.run();
  }
  void quit() { context.stop(); }

  asio::io_context context;
  asio::executor_work_guard<asio::io_context::executor_type> guard{context.get_executor()};
  std::shared_ptr<loops::AsioQueue> queue = std::make_shared<loops::AsioQueue>(context);
};

template <typename Loop>
class Loops : public BackendTest {
 protected:
  void push(int number) {
    loop.queue->async([this, number] { order.push_back(number); });
  }
  void pushQuit() {
    loop.queue->async([this] { loop.quit(); });
  }

  // To the end of the process, as the platform that posts to it.
  static Loop& kept() {
    static auto* const loop = new Loop;
    return *loop;
  }

  Loop& loop = kept();
  std::vector<int> order;
  std::atomic<int> depth = 0;
};
using Kinds = ::testing::Types<GLibLoop, AsioLoop>;
TYPED_TEST_SUITE(Loops, Kinds);

TEST(AsioQueue, DropsWhatComesAfterItsContext) {
  auto context = std::make_unique<asio::io_context>();
  loops::AsioQueue queue(*context);
  const auto token = std::make_shared<int>();
  queue.async([token] { ADD_FAILURE() << "There is nothing to run it"; });
  context.reset();
  queue.async([token] {});
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_FALSE(queue.runHereUntil([] { return false; }));
}

TYPED_TEST(Loops, RunWorkInOrderNeverInsideAsyncAndWorkOfWork) {
  this->loop.queue->async([this] {
    this->order.push_back(1);
    this->push(3);
    std::thread([this] { this->push(4); }).join();
    this->push(5);
    this->pushQuit();
  });
  this->push(2);
  EXPECT_TRUE(this->order.empty());
  this->loop.run();
  EXPECT_EQ(this->order, (std::vector{1, 2, 3, 4, 5}));

  std::array<int, 4> next{};
  std::vector<std::jthread> threads;
  for (int& mine : next) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i)
        this->loop.queue->async([&, i] { EXPECT_EQ(mine++, i); });
      if (++this->depth == 4) this->pushQuit();
    });
  }
  this->loop.run();
  EXPECT_EQ(next, (std::array{1000, 1000, 1000, 1000}));
}

TYPED_TEST(Loops, ThatEndKeepTheWorkThatIsLeft) {
  const auto held = std::make_shared<int>();
  {
    TypeParam brief;
    brief.queue->async([&] { brief.quit(); });
    brief.queue->async([&] { this->order.push_back(1); });
    brief.run();
    // GLib may have taken more than one piece when it was told to end.
    brief.queue->async([&] { brief.quit(); });
    brief.run();
    EXPECT_EQ(this->order, std::vector{1});
    brief.queue->async([held] { ADD_FAILURE() << "Run without a loop"; });
    EXPECT_EQ(held.use_count(), 2);
  }
  EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(Loops, WaitOnTheirOwnThreadAlone) {
  auto& queue = *this->loop.queue;
  const auto canRunElsewhere = [&] {
    bool can = true;
    std::thread([&] { can = *queue.canRunHere(); }).join();
    return can;
  };
  // Before it runs, inside of work, and inside of a wait; a worker never.
  const std::function<void()> waits = [&] {
    EXPECT_TRUE(*queue.canRunHere() && !canRunElsewhere());
    bool done = false;
    std::jthread worker([&] { queue.async([&] { done = true; }); });
    if (++this->depth < 3) queue.async(waits);
    EXPECT_TRUE(queue.runHereUntil([&] { return done; }));
  };
  waits();
  queue.async([&] {
    waits();
    this->pushQuit();
  });
  this->loop.run();
  EXPECT_GE(this->depth, 4);
  EXPECT_TRUE(*queue.canRunHere() && !canRunElsewhere());
}

// How a host with a loop of its own uses an account.
Operation<void> visit(std::vector<std::string>& seen) {
  const auto opening =
      Account::open({.apiKey = "key", .token = "token", .user = {.id = "ann", .phone = "1"}});
  const Account account = co_await opening;
  const auto syncing = account.sync();
  const SyncReport report = co_await syncing;
  seen.push_back(std::to_string(report.read));
  seen.push_back(account.plan().get().empty() ? "all" : "some");  // Inside of a completion.
  const auto closing = account.close();
  co_await closing;
}

TYPED_TEST(Loops, CarryAnAccount) {
  this->bringUp(this->loop.queue);
  std::vector<std::string> seen;
  // Blocking, before the loop runs.
  visit(seen).get();
  const auto visiting = visit(seen);
  visiting.then([&](const Result<void>& result) {
    EXPECT_TRUE(result);
    this->loop.quit();
  });
  this->loop.run();
  EXPECT_THAT(seen, ::testing::ElementsAre("1", "all", "1", "all"));
  EXPECT_EQ(this->uploads(), 1u);
}

TEST_F(BackendTest, GetSaysSoWhenTheLoopEndsUnderIt) {
  asio::io_context context;
  const auto guard = asio::make_work_guard(context);
  bringUp(std::make_shared<loops::AsioQueue>(context));
  const Ending<int> ending;
  const auto get = [&] { Operation<int>(ending).get(); };
  for (int i = 0; i < 2; ++i) {  // While it waits, and before.
    dispatchMain([&] { context.stop(); });
    EXPECT_THAT(failureOf(get), ::testing::StartsWith("com.quillfold.account 5: "));
  }
}

}  // namespace
}  // namespace quillfold::testing
