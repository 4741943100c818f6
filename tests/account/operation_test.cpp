// Operations by themselves, and every one of an account in every style from everywhere.
#include <latch>
#include <thread>

#include "tests/account/backend_test.h"

namespace quillfold::testing {
namespace {

using ::testing::StartsWith;

class Operations : public BackendTest {
 protected:
  Operations() { bringUp(); }
  void pump(const std::function<bool()>& until) { ASSERT_TRUE(device->queue->runUntil(until, 30)); }
};

TEST_F(Operations, GetRunsTheMainQueueOnItsThreadAndWaitsElsewhere) {
  const Ending<int> ending;
  const Operation<int> operation(ending);
  std::jthread worker([&] {
    // Only the main queue ends it, and only `get` runs that.
    dispatchMain([&] {
      const Ending<int> inner;
      dispatchMain([inner] { inner(3); });
      ending(Operation<int>(inner).get() + 1);  // Inside of a completion.
    });
    EXPECT_EQ(operation.get(), 4);
  });
  EXPECT_EQ(operation.get(), 4);
  worker.join();
  EXPECT_EQ(operation.get(), 4);
  const Ending<void> elsewhere;
  std::jthread other([elsewhere] { elsewhere(Failure("D", 7, "text", "http://a")); });
  EXPECT_EQ(failureOf([&] { Operation<void>(elsewhere).get(); }), "D 7: text");
}

TEST_F(Operations, EndOnceWhoeverEndsThemAndWheneverOneLooks) {
  int handled = 0;
  for (int i = 0; i < 200; ++i) {
    std::optional<Ending<int>> ending(std::in_place);
    const Operation<int> operation(*ending);
    const auto then = [&] { operation.then([&](const Result<int>& r) { handled += *r > 0; }); };
    if (i % 2 == 0) then();
    std::vector<std::jthread> threads;
    for (int end : {1, 2})
      threads.emplace_back([ending = *ending, end] { ending(end); });
    threads.emplace_back([&] { EXPECT_GT(operation.get(), 0); });
    const int first = operation.get();
    threads.clear();
    ending.reset();
    EXPECT_EQ(operation.get(), first);
    const int before = handled;
    if (i % 2 == 1) then();
    EXPECT_EQ(handled, before);  // Never inside the call.
    pump([&] { return handled == i + 1; });
  }
  const Operation<int> left = [] { return Operation<int>(Ending<int>()); }();
  EXPECT_THAT(failureOf([&] { left.get(); }), StartsWith("com.quillfold.account 6: "));
}

TEST_F(Operations, CancelIsHeardUntilTheEnd) {
  int heard = 0;
  const Ending<int> ending;
  const Operation<int> operation(ending);
  operation.cancel();
  operation.onCancel([&] { ++heard; });
  operation.cancel();
  ending(1);
  operation.cancel();
  EXPECT_EQ(heard, 1);
}

// Calls back when it goes.
struct Going {
  ~Going() { tell(); }
  std::function<void()> tell;
};

Operation<int> half(const Operation<int>& whole, int& alive) {
  const Going counted{[&, now = ++alive] { alive = now - 1; }};
  const int value = co_await whole;
  if (value < 0) throw std::out_of_range("negative");
  if (value == 1) throw Failure("D", 1, "odd");
  if (value == 3) throw 3;
  co_return value / 2;
}

TEST_F(Operations, CoroutinesReturnThrowAndLetGoBeforeTheyEnd) {
  for (const auto& [value, end] :
       std::map<int, std::string>{{4, "2"},
                                  {1, "D 1: odd"},
                                  {3, "com.quillfold.account 7: Unknown exception"},
                                  {-1, "com.quillfold.account 7: negative"}}) {
    int alive = 0, aliveAtTheEnd = -1;
    const Ending<int> ending;
    const Operation<int> whole(ending);
    const auto operation = half(whole, alive);
    EXPECT_EQ(alive, 1);
    // What cancels is let go of at the end.
    operation.onCancel(
        [going = std::shared_ptr<Going>(new Going{[&] { aliveAtTheEnd = alive; }})] {});
    std::string seen;
    std::jthread waiting(
        [&] { seen = failureOf([&] { seen = std::to_string(operation.get()); }) + seen; });
    ending(value);
    pump([&] { return operation.isDone(); });
    waiting.join();
    EXPECT_EQ(seen, end);
    EXPECT_EQ(aliveAtTheEnd, 0);
  }
  // One that nobody holds goes on.
  int alive = 0;
  const Ending<int> ending;
  static_cast<void>(half(Operation<int>(ending), alive));
  ending(2);
  pump([&] { return alive == 0; });
}

// A queue that is only handed work, as in a host's own event loop.
class HandedQueue : public MainQueue {
 public:
  void async(Work work) override { work_.push_back(std::move(work)); }
  void runAll() {
    for (auto work = std::move(work_); const Work& piece : work)
      piece();
  }

 private:
  std::vector<Work> work_;
};

TEST_F(BackendTest, GetSaysSoWhereTheMainQueueCanNotBeRun) {
  const auto queue = std::make_shared<HandedQueue>();
  bringUp(queue);
  const Ending<int> ending;
  const Operation<int> operation(ending);
  const auto get = [&] { operation.get(); };
  std::string inside;
  dispatchMain([&] { inside = failureOf(get); });
  queue->runAll();
  EXPECT_THAT(inside, StartsWith("com.quillfold.account 5: "));
  EXPECT_THAT(failureOf(get), StartsWith("com.quillfold.account 5: "));
  ending(1);
  EXPECT_EQ(failureOf(get), "");
}

// Calls `use(name, start)` with each operation of an account.
template <typename Use>
void forEachOperation(const Account& account, const Use& use) {
  const auto event = QFCreateEventRequest::initWithEventType(
      "tea", "Tea", {}, {}, NSDate::dateWithTimeIntervalSince1970(2e9), {}, {}, true);
  use("sync", [&] { return account.sync(); });
  use("plan", [&] { return account.plan(); });
  use("requestAccess", [&] { return account.requestAccess(); });
  use("contacts", [&] { return account.contacts(); });
  use("contact", [&] { return account.contact("base"); });
  use("search", [&] { return account.search("base"); });
  use("quickSearch", [&] { return account.quickSearch("base"); });
  use("deferSync", [&] { return account.deferSync(); });
  use("peopleToInvite", [&] { return account.peopleToInvite(5); });
  use("contactsUsingApp", [&] { return account.contactsUsingApp(5); });
  use("peopleYouMightKnow", [&] { return account.peopleYouMightKnow(5); });
  use("follow", [&] { return account.follow("u"); });
  use("unfollow", [&] { return account.unfollow("u"); });
  use("isFollowing", [&] { return account.isFollowing("u"); });
  use("followers", [&] { return account.followers(); });
  use("following", [&] { return account.following(); });
  use("mutualFollows", [&] { return account.mutualFollows(); });
  use("createEvent", [&] { return account.createEvent(event); });
  use("event", [&] { return account.event("e"); });
  use("updateEvent", [&] { return account.updateEvent("e", QFUpdateEventRequest::init()); });
  use("deleteEvent", [&] { return account.deleteEvent("e"); });
  use("events", [&] { return account.events(); });
  use("feed", [&] { return account.feed(); });
  use("upcomingEvents", [&] { return account.upcomingEvents(); });
  use("forYou", [&] { return account.forYou(); });
}

// How it has ended, told on the main queue where that is promised.
template <typename T>
Operation<void> awaitIn(Operation<T> operation, std::function<void(std::string)> tell) {
  std::string failure;
  try {
    if constexpr (std::is_void_v<T>) {
      co_await operation;
    } else {
      static_cast<void>(co_await operation);
    }
  } catch (const Failure& caught) {
    failure = told(caught);
  }
  EXPECT_TRUE(isMainQueueThread());
  tell(failure);
}

TEST_F(Operations, EachInEveryStyleFromEverywhereEndsOnceAndAlike) {
  const auto account = Account::open(configured()).get();
  account.sync().get();
  std::size_t operations = 0;
  forEachOperation(account, [&](const char* name, const auto& start) {
    ++operations;
    std::mutex mutex;
    std::vector<std::string> ends;
    const auto tell = [&](const std::string& end) {
      const std::lock_guard lock(mutex);
      ends.push_back(end);
    };
    const auto inAllStyles = [&] {
      tell(failureOf([&] { start().get(); }));
      start().then([&](const auto& result) {
        EXPECT_TRUE(isMainQueueThread());
        tell(result ? "" : told(result.failure()));
      });
      static_cast<void>(awaitIn(start(), tell));
    };
    inAllStyles();
    dispatchMain(inAllStyles);
    std::jthread other(inAllStyles);
    pump([&] {
      const std::lock_guard lock(mutex);
      return ends.size() == 9;
    });
    other.join();
    EXPECT_EQ(std::set<std::string>(ends.begin(), ends.end()).size(), 1u)
        << name << ": " << ::testing::PrintToString(ends);
  });
  EXPECT_EQ(operations, 25u);
  account.close().get();
}

}  // namespace
}  // namespace quillfold::testing
