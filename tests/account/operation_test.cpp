// Operations by themselves, and every one of an account in every style from everywhere.
#include <latch>
#include <thread>

#include "tests/account/backend_test.h"

namespace quillfold::testing {
namespace {

constexpr const char* kWouldBlock =
    "com.quillfold.account 5: The main queue can't be run from here, and nothing else would end "
    "this";

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

TEST_F(Operations, ACompletionMayWaitForTheEndOfAllRuns) {
  const auto account = Account::open(configured()).get();
  account.sync().get();
  const auto service = QFContactService::sharedInstance();
  service->syncBatch({}, 0, 0, [&](std::int64_t, const ErrorPtr&) { account.sync().get(); });
  bool closed = false;
  service->syncContacts([&](bool, const ErrorPtr&) {
    account.sync().get();
    account.close().get();
    closed = true;
  });
  pump([&] { return closed; });
}

TEST_F(Operations, EndOnceWhoeverEndsThemAndWheneverOneLooks) {
  int handled = 0;
  for (int i = 0; i < 200; ++i) {
    std::optional<Ending<int>> ending(std::in_place);
    const Operation<int> operation(*ending);
    const auto then = [&] {
      for (int handlers = 0; handlers < 2; ++handlers)
        operation.then([&](const Result<int>& r) { handled += *r > 0; });
    };
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
    pump([&] { return handled == 2 * (i + 1); });
  }
  const Operation<int> left = [] { return Operation<int>(Ending<int>()); }();
  EXPECT_EQ(failureOf([&] { left.get(); }),
            "com.quillfold.account 6: The operation was given up before its end");

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
struct HandedQueue : MainQueue {
  void async(Work piece) override { work.push_back(std::move(piece)); }
  std::vector<Work> work;
};

TEST_F(BackendTest, GetSaysSoWhereTheMainQueueCanNotBeRun) {
  const auto queue = std::make_shared<HandedQueue>();
  bringUp(queue);
  const Ending<int> ending;
  const Operation<int> operation(ending);
  const auto get = [&] { operation.get(); };
  std::string inside;
  dispatchMain([&] { inside = failureOf(get); });
  queue->work.at(0)();
  EXPECT_EQ(inside, kWouldBlock);
  EXPECT_EQ(failureOf(get), kWouldBlock);
  // A coroutine goes with the queue that was to resume it.
  int alive = 0;
  static_cast<void>(half(operation, alive));
  ending(1);
  EXPECT_EQ(failureOf(get), "");
  EXPECT_EQ(alive, 1);
  queue->work.clear();
  EXPECT_EQ(alive, 0);
}

// One that another thread runs at first, and then leaves.
struct LeftQueue : HandedQueue {
  std::optional<bool> canRunHere() const override { return ++asked > 2; }
  bool runHereUntil(const std::function<bool()>& predicate) override {
    work.at(0)();
    return predicate();
  }
  mutable int asked = 0;
};

TEST_F(BackendTest, GetRunsTheMainQueueOnceItsThreadHasLeftIt) {
  bringUp(std::make_shared<LeftQueue>());
  const Ending<int> ending;
  dispatchMain([&] { ending(1); });
  EXPECT_EQ(Operation<int>(ending).get(), 1);
}

// Calls `use(start)` with each operation of an account.
template <typename Use>
void forEachOperation(const Account& account, const Use& use) {
  const auto with = [&](auto... arguments) {
    return [&, arguments...](auto... operations) {
      (use([&] { return (account.*operations)(arguments...); }), ...);
    };
  };
  using A = Account;
  with(SyncOptions())(&A::sync);
  with()(&A::plan, &A::requestAccess, &A::contacts, &A::deferSync);
  with("base")(&A::contact, &A::quickSearch);
  with("base", Page())(&A::search);
  with(5)(&A::peopleToInvite, &A::contactsUsingApp, &A::peopleYouMightKnow);
  with("u")(&A::follow, &A::unfollow, &A::isFollowing, &A::event, &A::deleteEvent);
  with(Page(), OptionalString())(&A::followers, &A::following, &A::events);
  with(Page())(&A::mutualFollows, &A::feed, &A::upcomingEvents, &A::forYou);
  with("e", QFUpdateEventRequest::init())(&A::updateEvent);
  with(QFCreateEventRequest::initWithEventType("tea", "Tea", {}, {},
                                               NSDate::dateWithTimeIntervalSince1970(2e9), {}, {},
                                               true))(&A::createEvent);
  // Refused, since one is open; and then the last.
  use([] { return Account::open({.apiKey = "key", .token = "t", .user = {.id = "u"}}); });
  with()(&A::close);
}

// How it has ended, told on the main queue where that is promised.
template <typename T>
Operation<void> awaitIn(Operation<T> operation, std::function<void(std::string)> tell) {
  std::string failure;
  try {
    static_cast<void>(co_await operation);
  } catch (const Failure& caught) {
    failure = told(caught);
  }
  EXPECT_TRUE(isMainQueueThread());
  tell(failure);
}

TEST_F(Operations, EachInEveryStyleFromEverywhereEndsOnceAndAlike) {
  const auto account = Account::open(configured()).get();
  account.sync().get();
  int operations = 0;
  forEachOperation(account, [&](const auto& start) {
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
    EXPECT_THAT(ends, ::testing::Each(ends[0])) << operations;
    EXPECT_THAT(ends[0], ::testing::Not(::testing::HasSubstr("account 6"))) << operations;
  });
  EXPECT_EQ(operations, 27);
}

}  // namespace
}  // namespace quillfold::testing
