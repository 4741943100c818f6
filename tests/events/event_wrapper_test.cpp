// System events on their way to named subscribers.
#include "events/event_wrapper_service.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "tests/support/fake_platform.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Events : public ::testing::Test {
 protected:
  // A handler that writes its name down.
  QFEventWrapperService::Handler say(std::string name) {
    return [this, name = std::move(name)] {
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
      said.push_back(name);
    };
  }
  void subscribe(std::int64_t event, const std::string& identifier) {
    events->subscribeToEvent(event, identifier, say(identifier));
  }
  // What was said in one delivery of the event.
  std::vector<std::string> deliver(std::int64_t event) {
    said.clear();
    events->notifySubscribersForEvent(event);
    EXPECT_THAT(said, IsEmpty());
    platform.settle();
    return said;
  }

  FakePlatform platform;
  std::shared_ptr<QFEventWrapperService> events = QFEventWrapperService::sharedInstance();
  std::vector<std::string> said;
};

TEST_F(Events, PassesEachNotificationOnUnderItsNumber) {
  struct Row {
    const char* notification;
    std::int64_t event;
    std::string name;
  };
  const Row rows[] = {{UIApplicationDidBecomeActiveNotification, 0, "appDidBecomeActive"},
                      {UIApplicationDidEnterBackgroundNotification, 1, "appDidEnterBackground"},
                      {CNContactStoreDidChangeNotification, 2, "contactStoreDidChange"},
                      {UIApplicationWillTerminateNotification, 3, "appWasTerminated"}};
  events->startObserving();
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("info EventWrapper: QFEventWrapperService initialized",
                          "debug EventWrapper: Registered for app lifecycle notifications",
                          "debug EventWrapper: Registered for contact store change notifications",
                          "info EventWrapper: Started observing system events"));
  for (const Row& row : rows) {
    platform.log->clear();
    platform.notifications->postNotificationName(row.notification);
    EXPECT_FALSE(platform.mainQueue->runOne());
    EXPECT_THAT(platform.log->lines(), IsEmpty());
    subscribe(row.event, row.name);
    said.clear();
    std::thread([&] { platform.notifications->postNotificationName(row.notification); }).join();
    EXPECT_THAT(said, IsEmpty());
    platform.settle();
    EXPECT_THAT(said, ElementsAre(row.name));
    events->unsubscribeFromEvent(row.event, row.name);
    events->unsubscribeFromEvent(row.event, "nobody");
    const std::string event = "com.quillfold.event." + row.name;
    EXPECT_THAT(
        platform.log->lines(),
        ElementsAre(
            "debug EventWrapper: Subscribed to " + event + " with identifier: " + row.name,
            "debug EventWrapper: Notified 1 subscribers for event: " + event,
            "debug EventWrapper: Unsubscribed from " + event + " with identifier: " + row.name,
            "debug EventWrapper: Unsubscribed from " + event + " with identifier: nobody"));
  }
}

TEST_F(Events, RegistersAgainWithEachStartAndStopsForAllAtTheDefaultCentre) {
  const auto post = [this](NSNotificationCenter& center) {
    said.clear();
    center.postNotificationName(UIApplicationDidBecomeActiveNotification);
    platform.settle();
    return said.size();
  };
  subscribe(QFEventAppDidBecomeActive, "a");
  subscribe(QFEventContactsAccessChanged, "b");
  EXPECT_EQ(post(*platform.notifications), 0u);
  events->startObserving();
  events->startObserving();
  EXPECT_EQ(post(*platform.notifications), 2u);
  const auto other = std::make_shared<NSNotificationCenter>();
  events->setNotificationCenter(other);
  events->startObserving();
  events->stopObserving();
  EXPECT_TRUE(platform.log->contains("info EventWrapper: Stopped observing system events"));
  EXPECT_EQ(post(*platform.notifications), 0u);
  EXPECT_EQ(post(*other), 1u);
  events->handleContactsAccessChanged();
  platform.settle();
  EXPECT_THAT(said, ElementsAre("a", "b"));
  events->setupEventHandlers();
  EXPECT_EQ(post(*other), 0u);
}

TEST_F(Events, ReadsTheHandlersAtDeliveryAndFixesThemForOne) {
  auto token = std::make_shared<int>();
  const std::weak_ptr<int> watch = token;
  events->subscribeToEvent(0, "a", [token = std::move(token)] { FAIL() << "was replaced"; });
  subscribe(0, "a");
  EXPECT_TRUE(watch.expired());
  subscribe(0, "c");
  events->subscribeToEvent(0, "b", [this] {
    said.push_back("b");
    for (const char* identifier : {"a", "b", "c"})
      events->unsubscribeFromEvent(0, identifier);
    subscribe(0, "d");
    events->notifySubscribersForEvent(0);
  });
  EXPECT_THAT(deliver(0), ::testing::UnorderedElementsAre("a", "b", "c", "d"));
  EXPECT_EQ(said.back(), "d");
  EXPECT_EQ(platform.log->count("debug EventWrapper: Notified 1 subscribers for event: "
                                "com.quillfold.event.appDidBecomeActive"),
            2u);

  // Between the event and its delivery one comes and one goes.
  events->notifySubscribersForEvent(0);
  events->unsubscribeFromEvent(0, "d");
  EXPECT_THAT(deliver(0), IsEmpty());
  EXPECT_TRUE(
      platform.log->contains("debug EventWrapper: Notified 0 subscribers for event: "
                             "com.quillfold.event.appDidBecomeActive"));
  subscribe(0, "e");
  events->notifySubscribersForEvent(0);
  subscribe(0, "f");
  said.clear();
  platform.settle();
  EXPECT_THAT(said, ::testing::UnorderedElementsAre("e", "f"));
}

TEST_F(Events, AHandlerThatRaisesEndsOneDeliveryOnly) {
  // Numbers beyond the list are served all the same.
  for (const std::int64_t event : {1, 17, -1}) {
    bool raise = true;
    for (const char* identifier : {"a", "b"}) {
      events->subscribeToEvent(event, identifier, [&] {
        said.push_back("called");
        if (raise) throw std::runtime_error("no");
      });
    }
    EXPECT_THROW(deliver(event), std::runtime_error);
    EXPECT_THAT(said, ElementsAre("called"));
    raise = false;
    EXPECT_EQ(deliver(event).size(), 2u);
  }
}

TEST_F(Events, SubscribersMayComeAndGoOnAnyThread) {
  events->startObserving();
  std::atomic<int> calls = 0;
  std::atomic<bool> done = false;
  const auto churn = [&](const std::string& identifier) {
    for (int i = 0; i < 300; ++i) {
      events->subscribeToEvent(i % 5, identifier, [&] { ++calls; });
      platform.notifications->postNotificationName(CNContactStoreDidChangeNotification);
      if (i < 290) events->unsubscribeFromEvent(i % 5, identifier);
    }
  };
  std::thread first([&] { churn("first"); });
  std::thread second([&] { churn("second"), done = true; });
  while (!done)
    platform.settle();
  first.join();
  second.join();
  platform.settle();
  const int before = calls;
  events->notifySubscribersForEvent(2);
  platform.settle();
  EXPECT_EQ(calls, before + 2);
}

}  // namespace
}  // namespace quillfold::testing
