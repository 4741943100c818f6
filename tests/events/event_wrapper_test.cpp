// System events on their way to named subscribers.
#include "events/event_wrapper_service.h"

#include <gmock/gmock.h>

#include <thread>

#include "testing/fake_platform.h"

namespace quillfold::testing {
namespace {

using namespace ::testing;

class Events : public ::testing::Test {
 protected:
  void subscribe(std::int64_t event, const std::string& identifier) {
    events->subscribeToEvent(event, identifier, [this, identifier] {
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
      said.push_back(identifier);
    });
  }
  // What subscribers say to a post from another thread, once the main queue turns.
  std::vector<std::string> post(NSNotificationCenter& via, const char* notification) {
    said.clear();
    std::thread([&] { via.postNotificationName(notification); }).join();
    EXPECT_THAT(said, IsEmpty());
    platform.settle();
    return said;
  }

  FakePlatform platform;
  NSNotificationCenter& center = *platform.notifications;
  QFEventWrapperService* const events = QFEventWrapperService::sharedInstance().get();
  std::vector<std::string> said;
};

TEST_F(Events, PassesEachNotificationOnUnderItsNumber) {
  events->startObserving();
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("info EventWrapper: QFEventWrapperService initialized",
                          "debug EventWrapper: Registered for app lifecycle notifications",
                          "debug EventWrapper: Registered for contact store change notifications",
                          "info EventWrapper: Started observing system events"));
  std::int64_t event = 0;
  for (const auto& [notification, name] : std::vector<std::pair<const char*, std::string>>{
           {UIApplicationDidBecomeActiveNotification, "appDidBecomeActive"},
           {UIApplicationDidEnterBackgroundNotification, "appDidEnterBackground"},
           {CNContactStoreDidChangeNotification, "contactStoreDidChange"},
           {UIApplicationWillTerminateNotification, "appWasTerminated"}}) {
    platform.log->clear();
    center.postNotificationName(notification);
    EXPECT_FALSE(platform.mainQueue->runOne());
    subscribe(event, "s");
    EXPECT_THAT(post(center, notification), ElementsAre("s"));
    events->unsubscribeFromEvent(event++, "s");
    const std::string full = "com.quillfold.event." + name;
    const auto line = [&](const char* text) { return "debug EventWrapper: " + (text + full); };
    EXPECT_THAT(platform.log->lines(),
                ElementsAre(line("Subscribed to ") + " with identifier: s",
                            line("Notified 1 subscribers for event: "),
                            line("Unsubscribed from ") + " with identifier: s"));
  }
}

TEST_F(Events, RegistersAgainWithEachStartAndStopsForAllAtTheDefaultCentre) {
  const char* const active = UIApplicationDidBecomeActiveNotification;
  subscribe(QFEventAppDidBecomeActive, "a");
  subscribe(QFEventContactsAccessChanged, "b");
  EXPECT_THAT(post(center, active), IsEmpty());
  events->startObserving();
  events->startObserving();
  EXPECT_THAT(post(center, active), ElementsAre("a", "a"));
  const auto other = std::make_shared<NSNotificationCenter>();
  events->setNotificationCenter(other);
  events->setNotificationCenter(nullptr);
  events->startObserving();
  events->stopObserving();
  EXPECT_EQ(platform.log->lines().back(), "info EventWrapper: Stopped observing system events");
  EXPECT_THAT(post(center, active), IsEmpty());
  EXPECT_THAT(post(*other, active), ElementsAre("a"));
  events->handleContactsAccessChanged();
  platform.settle();
  EXPECT_THAT(said, ElementsAre("a", "b"));
}

TEST_F(Events, ReadsTheHandlersAtDeliveryAndFixesThemForOne) {
  const char* const active = UIApplicationDidBecomeActiveNotification;
  events->startObserving();
  const auto token = std::make_shared<int>();
  events->subscribeToEvent(0, "a", [token] { FAIL() << "was replaced"; });
  subscribe(0, "a");
  EXPECT_EQ(token.use_count(), 1);
  subscribe(0, "c");
  events->subscribeToEvent(0, "b", [this] {
    said.push_back("b");
    for (const char* name : {"a", "b", "c"})
      events->unsubscribeFromEvent(0, name);
    subscribe(0, "d");
  });
  EXPECT_THAT(post(center, active), UnorderedElementsAre("a", "b", "c"));
  EXPECT_THAT(post(center, active), ElementsAre("d"));
  // Between the event and its delivery one goes, and later one comes.
  events->notifySubscribersForEvent(0);
  events->unsubscribeFromEvent(0, "d");
  EXPECT_THAT(post(center, active), IsEmpty());
  EXPECT_THAT(platform.log->lines().back(), StartsWith("debug EventWrapper: Notified 0 subscr"));
  subscribe(0, "e");
  platform.mainQueue->async([this] {
    events->notifySubscribersForEvent(0);
    EXPECT_THAT(said, IsEmpty()) << "not even on the main queue";
    subscribe(0, "f");
  });
  platform.settle();
  EXPECT_THAT(said, UnorderedElementsAre("e", "f"));
  // A handler that raises ends its delivery only; unknown numbers are served too.
  events->notifySubscribersForEvent(5);
  events->unsubscribeFromEvent(5, "x");
  EXPECT_EQ(platform.log->lines().back(),
            "debug EventWrapper: Unsubscribed from event 5 with identifier: x");
  events->subscribeToEvent(17, "a", [] { throw std::runtime_error("no"); });
  events->notifySubscribersForEvent(17);
  EXPECT_THROW(platform.settle(), std::runtime_error);
  EXPECT_THAT(post(center, active), UnorderedElementsAre("e", "f"));
  // Set up again, the five are empty, but for a delivery under way.
  said.clear();
  events->notifySubscribersForEvent(0);
  events->setupEventHandlers();
  platform.settle();
  EXPECT_THAT(said, UnorderedElementsAre("e", "f"));
  const auto handlers = events->eventHandlers();
  EXPECT_THAT(handlers.at(0), IsEmpty());
  EXPECT_EQ(handlers.at(17).size(), 1u);
  EXPECT_EQ(handlers.size(), 6u);
}

}  // namespace
}  // namespace quillfold::testing
