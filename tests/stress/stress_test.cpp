// Everything at once from many threads, at a backend in this process: each call ends once,
// whatever the others have done meanwhile, and the library works afterwards.
#include <algorithm>
#include <latch>
#include <random>
#include <set>
#include <thread>

#include "adapters/asio/main_queue.h"
#include "api/api_client.h"
#include "contacts/contacts_authorization.h"
#include "core/user_info.h"
#include "events/event_wrapper_service.h"
#include "facade/contact_service.h"
#include "platform/background_tasks.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "recommendations/recommendation_service.h"
#include "search/contact_search_service.h"
#include "social/social_service.h"
#include "sync/contact_sync_info.h"
#include "tests/account/backend_test.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

constexpr int kThreads = 16;

int numberFrom(const char* variable, int otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::atoi(text);
}

// Those that count as uploaded: a look-up alone makes a record too.
std::ptrdiff_t recorded() {
  const auto records = QFContactService::sharedInstance()->activeSyncInfo();
  return std::ranges::count_if(records,
                               [](const auto& one) { return one->contactHash().has_value(); });
}

// Counts the calls of a completion, and lets go of the owner of the work inside of each.
struct Counted {
  template <typename... Outcome>
  void operator()(const Outcome&...) {
    owner.reset();
    ++*ends;
  }
  std::shared_ptr<std::atomic<int>> ends;
  std::shared_ptr<void> owner;
};

class Stress : public BackendTest {
 protected:
  Stress() {
    for (const char* name : {"ann", "ben", "cy", "dee"})
      addCard(name);
    bringUp();
  }

  Counted ending(const char* operation, std::shared_ptr<void> owner = nullptr) {
    const std::lock_guard lock(mutex);
    calls.emplace_back(operation, std::make_shared<std::atomic<int>>(0));
    return {calls.back().second, std::move(owner)};
  }
  bool allEnded() {
    const std::lock_guard lock(mutex);
    return std::all_of(calls.begin(), calls.end(),
                       [](const auto& call) { return *call.second > 0; });
  }
  // On as many threads at once, while the main queue runs.
  void onThreads(const std::function<void(int thread)>& work) {
    std::latch begin(kThreads);
    std::atomic<int> working = kThreads;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        begin.arrive_and_wait();
        work(i);
        --working;
        queue().async([] {});
      });
    }
    EXPECT_TRUE(queue().runUntil([&] { return working == 0; }, 500));
    for (auto& thread : threads)
      thread.join();
  }
  static LinuxMainQueue& queue() {
    return static_cast<LinuxMainQueue&>(*Platform::current().mainQueue);
  }
  static QFContactService& service() { return *QFContactService::sharedInstance(); }
  static void post(const char* name) {
    queue().async([name] { NSNotificationCenter::defaultCenter()->postNotificationName(name); });
  }

  void initialize(const std::string& user) {
    service().initializeWithAPIKey("key", "token",
                                   QFUserInfo::initWithUserId(user, {}, user + "@example.com", {}),
                                   nullptr, ending("initialize"));
  }

  using Step = std::function<void()>;
  const std::vector<Step> steps{
      [this] { initialize("ann"); },
      [this] { initialize("ben"); },
      [this] { service().resetWithCompletion(ending("reset")); },
      [this] { service().syncContacts(ending("sync")); },
      [this] { service().syncContacts(ending("sync")); },
      [this] { service().syncContactsToServerWithCompletion(ending("sync to server")); },
      [] { service().cancelSync(); },
      [] { service().clearSyncInfoCache(); },
      [] { service().enableBackgroundSync(); },
      [] { service().setBatchSize(2); },
      [] { service().unsubscribeFromEvents(); },
      [] { QFAPIClient::sharedInstance()->cancelAllRequests(); },
      [] { QFAPIClient::sharedInstance()->setToken(std::nullopt); },
      [] { QFEventWrapperService::sharedInstance()->startObserving(); },
      [] { post(CNContactStoreDidChangeNotification); },
      [] { post(UIApplicationDidBecomeActiveNotification); },
      [] { post(UIApplicationDidEnterBackgroundNotification); },
      [this] { service().requestContactsAccessWithCompletion(ending("access")); },
      [this] { service().getContactsForSyncWithCompletion(ending("plan")); },
      [this] { service().fetchContactsWithCompletion(ending("contacts")); },
      [this] { service().fetchContactWithIdentifier("ann", ending("contact")); },
      [this] { service().getContactsCountWithCompletion(ending("count")); },
      [this] { QFContactService::checkHealthWithCompletion(ending("health")); },
      [this] {
        const auto client = QFAPIClient::initWithUserId("cy");
        client->getUserInfoWithCompletionHandler(ending("user info", client));
      },
      [this] {
        const auto search = QFContactSearchService::init();
        search->searchContactsWithQuery("a", QFSearchFieldTypeAll, 0, 2, ending("search", search));
      },
      [this] {
        const auto social =
            QFSocialService::initWithContactService(QFContactService::sharedInstance());
        social->getFollowersWithUserId(std::nullopt, 0, 5, ending("followers", social));
      },
      [this] {
        if (const auto social = service().socialService())
          social->followUser("ben", ending("follow"));
      },
      [this] {
        const auto people =
            QFRecommendationService::initWithContactService(QFContactService::sharedInstance());
        people->getSharedContactsByUsersToInviteWithLimit(5, ending("invite", people));
      },
      [] {
        const auto events = QFEventWrapperService::sharedInstance();
        events->subscribeToEvent(
            QFEventContactStoreDidChange, "stress", [weak = std::weak_ptr(events)] {
              weak.lock()->unsubscribeFromEvent(QFEventContactStoreDidChange, "stress");
            });
      },
  };

  std::mutex mutex;
  std::vector<std::pair<const char*, std::shared_ptr<std::atomic<int>>>> calls;
};

TEST_F(Stress, SharedInstancesAreOneForWhoeverAsksFirst) {
  std::array<std::array<const void*, 7>, kThreads> seen;
  onThreads([&](int thread) {
    seen[static_cast<std::size_t>(thread)] = {
        QFRecommendationService::initWithContactService(nullptr)->apiClient().get(),
        QFContactSearchService::sharedInstance().get(),
        QFContactService::sharedInstance().get(),
        QFEventWrapperService::sharedInstance().get(),
        QFContactsAuthorizationService::sharedInstance().get(),
        NSNotificationCenter::defaultCenter().get(),
        &BGTaskScheduler::sharedScheduler()};
  });
  EXPECT_THAT(seen, ::testing::Each(seen[0]));
  EXPECT_THAT(seen[0], ::testing::Each(::testing::NotNull()));
  EXPECT_EQ(seen[0][0], QFAPIClient::sharedInstance().get());
}

TEST_F(Stress, EveryCallEndsOnceWhateverTheOthersDo) {
  const int count = numberFrom("QUILLFOLD_STEPS", 60);
  const int seed = numberFrom("QUILLFOLD_SEED", 1);
  onThreads([&](int thread) {
    std::mt19937 random(static_cast<unsigned>(seed * kThreads + thread));
    for (int i = 0; i < count; ++i)
      steps[random() % steps.size()]();
  });
  EXPECT_TRUE(queue().runUntil([this] { return allEnded(); }, 60));

  // Nothing of it stands in the way of the next user.
  for (const auto& begin : std::vector<Step>{
           [this] { service().resetWithCompletion(ending("last reset")); },
           [this] { initialize("dee"); }, [] { service().clearSyncInfoCache(); },
           [this] { service().requestContactsAccessWithCompletion(ending("last access")); }}) {
    begin();
    EXPECT_TRUE(queue().runUntil([this] { return allEnded() && !service().syncInProgress(); }, 60));
  }
  std::string outcome = "in progress";
  // The library begins runs of its own when it has access.
  for (int i = 0; i < 100 && outcome.find("in progress") != std::string::npos; ++i) {
    outcome = "";
    service().syncContacts([&, end = ending("last sync")](bool, const ErrorPtr& error) mutable {
      if (error) outcome = error->description();
      end();
    });
    EXPECT_TRUE(queue().runUntil([&] { return allEnded() && !service().syncInProgress(); }, 60));
  }
  EXPECT_EQ(outcome, "");
  EXPECT_EQ(recorded(), 5);
  for (const auto& [operation, ends] : calls)
    EXPECT_EQ(*ends, 1) << operation;
}

class EachStep : public ServiceTest {
 protected:
  bool step() {
    return platform.mainQueue->runOne() || platform.globalQueue->runOne() ||
           platform.sessionQueue->runOne() || platform.sessions->offer();
  }
  // The outcome of a sync of its own, begun at rest.
  std::string synced() {
    Recorded<bool> sync;
    service->syncContacts(sync.completion());
    platform.settle();
    return sync.calls == 1 ? sync.error : fmt::format("{} ends", sync.calls);
  }
};

TEST_F(EachStep, OfARunMayMeetAnythingFromAnotherThread) {
  const auto initialize = [this] {
    service->initializeWithAPIKey("KEY", "TOKEN", user(), nullptr, nullptr);
  };
  const std::pair<const char*, std::function<void()>> others[] = {
      {"initialise", initialize},
      {"reset", [this] { service->resetWithCompletion(nullptr); }},
      {"cancel", [this] { service->cancelSync(); }},
      {"clear", [this] { service->clearSyncInfoCache(); }},
      {"sync", [this] { service->syncContacts(nullptr); }},
      {"requests", [] { QFAPIClient::sharedInstance()->cancelAllRequests(); }},
      {"change", [this] { platform.contacts->replace(MemoryContacts::person("id01", "Changed")); }},
  };
  makeReady(3);
  service->setBatchSize(1);
  for (const auto& [name, other] : others) {
    int steps = 0;
    for (bool over = false; !over; ++steps) {
      SCOPED_TRACE(fmt::format("{} at step {}", name, steps));
      initialize();
      platform.settle();
      service->clearSyncInfoCache();
      Recorded<bool> run;
      service->syncContacts(run.completion());
      for (int i = 0; i < steps && !over; ++i)
        over = !step();
      std::thread(other).join();
      platform.settle();
      EXPECT_EQ(run.calls, 1);
      EXPECT_EQ(run.place, Place::MainQueue);
      initialize();
      platform.settle();
      EXPECT_EQ(synced(), "");
      EXPECT_EQ(recorded(), 3);
    }
    EXPECT_GT(steps, 20) << "a run has more";
  }
}

}  // namespace
}  // namespace quillfold::testing
