// Starting, failing, resetting and starting the facade again.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "events/event_wrapper_service.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Lifecycle : public ServiceTest {
 protected:
  void start(Recorded<bool>& into, const QFUserInfoPtr& as, const std::string& key = "KEY",
             const QFQuillfoldOptionsPtr& options = nullptr) {
    service->initializeWithAPIKey(key, "TOKEN", as, options, into.completion());
  }

  std::string stored(const char* key) {
    return platform.defaults->stringForKey(key).value_or("(none)");
  }
};

TEST_F(Lifecycle, BecomesReadyWithoutWaitingForTheFirstSync) {
  addPeople(1);
  EXPECT_EQ(service->currentState(), "Not initialized");
  EXPECT_EQ(service->searchService(), nullptr);
  EXPECT_EQ(service->socialService(), nullptr);
  EXPECT_EQ(service->recommendationService(), nullptr);
  for (const char* name : {"searchService", "socialService", "recommendationService"}) {
    EXPECT_TRUE(platform.log->contains(
        fmt::format("Attempting to access {} before ContactsService is initialized", name)));
  }
  // A plain "false" must not do: the backend answers later.
  Recorded<bool> first, second;
  start(first, user());
  EXPECT_EQ(service->currentState(), "Initializing");
  EXPECT_EQ(stored(defaults_keys::kUserId), "u1");
  start(second, user("other"));
  service->initializeWithAPIKey("K2", "T2", user("other"), nullptr, nullptr);
  EXPECT_EQ(second.error, "com.quillfold 1003: Initialization already in progress");
  EXPECT_EQ(platform.log->count("Initialization already in progress, ignoring duplicate call"), 2u);
  EXPECT_EQ(first.calls, 0);

  platform.settle();
  EXPECT_EQ(first.calls, 1);
  EXPECT_TRUE(first.result);
  EXPECT_EQ(first.place, Place::MainQueue);
  EXPECT_EQ(service->currentState(), "Ready");
  EXPECT_EQ(service->apiKey(), "KEY");
  EXPECT_EQ(service->userInfo()->userId(), "u1");
  EXPECT_TRUE(platform.log->contains("Initial contact sync completed successfully"));
  EXPECT_NE(service->searchService(), nullptr);
  EXPECT_EQ(service->searchService(), service->searchService());

  // The completion of a second start comes while its sync still reads contacts.
  bool syncedBefore = true;
  platform.log->clear();
  service->initializeWithAPIKey("KEY", "TOKEN", user(), nullptr, [&](bool, const ErrorPtr&) {
    syncedBefore = platform.log->contains("Initial contact sync completed successfully");
    EXPECT_TRUE(platform.log->contains("Beginning sync of contacts"));
  });
  EXPECT_FALSE(service->isInitialized());
  platform.settle();
  EXPECT_FALSE(syncedBefore);
  EXPECT_TRUE(platform.log->contains("Initial contact sync completed successfully"));
}

TEST_F(Lifecycle, PersistsTheUserBeforeTheKeyIsValidated) {
  const auto full = QFUserInfo::initWithUserId("u1", "Ann", "a@example.com", "+1", "http://a",
                                               Dictionary{{"plan", "pro"}});
  Recorded<bool> ready;
  start(ready, full, "KEY", QFQuillfoldOptions::initWithRestrictedKeysToFetch({0}));
  const auto json = platform.defaults->dataForKey(defaults_keys::kUserInfo);
  ASSERT_TRUE(json);
  for (const char* part : {R"("userId":"u1")", R"("fullName":"Ann")", R"("phone":"+1")",
                           R"("email":"a@example.com")", R"("metadata":{"plan":"pro"})"}) {
    EXPECT_THAT(std::string(json->bytes()), HasSubstr(part));
  }
  EXPECT_TRUE(platform.log->contains("User info saved to UserDefaults"));
  EXPECT_EQ(stored(defaults_keys::kUserToken), "TOKEN");
  EXPECT_EQ(stored(defaults_keys::kUserPhone), "+1");
  platform.settle();

  // A later user: no phone, and metadata that JSON can't hold. The client stays
  // with the first one for good.
  Recorded<bool> again;
  start(again, QFUserInfo::initWithUserId("u2", {}, "b@example.com", {}, {},
                                          Dictionary{{"photo", Data("x")}}));
  platform.settle();
  EXPECT_TRUE(again.result);
  EXPECT_THAT(
      platform.log->lines(),
      ::testing::Contains(::testing::StartsWith("Failed to save user info to UserDefaults: ")));
  EXPECT_EQ(platform.defaults->dataForKey(defaults_keys::kUserInfo), json);
  EXPECT_EQ(stored(defaults_keys::kUserId), "u2");
  EXPECT_EQ(stored(defaults_keys::kUserEmail), "b@example.com");
  EXPECT_EQ(stored(defaults_keys::kUserPhone), "+1");
  EXPECT_EQ(QFAPIClient::sharedInstance()->userId(), "u1");
  EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());
}

TEST_F(Lifecycle, FailsWithTheReasonAndKeepsIt) {
  struct Row {
    const char* key;
    QFUserInfoPtr user;
    std::string error;
    Place place;
  };
  const std::string invalid =
      "com.quillfold 1008: User information is invalid. userId is required and either email or "
      "phone must be provided.";
  const std::string rejected = "com.quillfold.api 3: ";
  const Row rows[] = {
      {"KEY", nullptr, invalid, Place::Caller},
      {"KEY", QFUserInfo::initWithUserId("u0", "Ann", {}, {}), invalid, Place::Caller},
      {"", user(), "com.quillfold.api 9: API key cannot be empty", Place::Caller},
      {"KEY", user("u3"), rejected, Place::MainQueue}};
  platform.serveBackend([](FakeTask& task) {
    if (!task.path().ends_with("/validate-key")) return false;
    task.answer(403, R"({"message":"no such key"})");
    return true;
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.error);
    Recorded<bool> failed;
    start(failed, row.user, row.key);
    platform.settle();
    EXPECT_EQ(failed.calls, 1);
    EXPECT_FALSE(failed.result);
    EXPECT_THAT(failed.error, ::testing::StartsWith(row.error));
    EXPECT_EQ(failed.place, row.place);
    EXPECT_EQ(service->state(), QFContactServiceStateFailed);
    EXPECT_EQ(service->lastError(), failed.failure);
    EXPECT_EQ(service->currentState(), "Failed: " + failed.failure->localizedDescription());
    EXPECT_EQ(service->userInfo(), row.user);
    EXPECT_EQ(service->apiKey(), row.key);
  }
  EXPECT_EQ(stored(defaults_keys::kUserId), "u3");
  service->initializeWithAPIKey("KEY", "TOKEN", nullptr, nullptr, nullptr);
  const ErrorPtr last = service->lastError();
  platform.serveBackend();
  makeReady();
  EXPECT_EQ(service->currentState(), "Ready");
  EXPECT_EQ(service->lastError(), last);
}

TEST_F(Lifecycle, AnswersEventsWithSyncsUntilAReset) {
  struct Row {
    const char* notification;
    std::string failure;
  };
  const Row rows[] = {
      {UIApplicationDidBecomeActiveNotification,
       "Failed to sync contacts when app became active: "},
      {CNContactStoreDidChangeNotification, "Failed to sync contacts after store change: "},
      {UIApplicationDidEnterBackgroundNotification,
       "error ContactService: Background sync failed: "}};
  makeReady();
  for (const Row& row : rows) {
    addPeople(1);
    platform.contacts->storeError = NSError::errorWithDomain("D", 1);
    platform.notifications->postNotificationName(row.notification);
    platform.settle();
    EXPECT_EQ(platform.log->count(row.failure + "Failed to fetch contacts"), 1u);
    platform.contacts->storeError = nullptr;
    // Without permission only the background sync tries at all.
    platform.contacts->status = CNAuthorizationStatusDenied;
    platform.log->clear();
    platform.notifications->postNotificationName(row.notification);
    platform.settle();
    EXPECT_EQ(platform.log->contains(row.failure +
                                     "Contacts access denied. Please allow access in Settings."),
              row.notification == rows[2].notification);
    platform.contacts->status = CNAuthorizationStatusAuthorized;
    platform.notifications->postNotificationName(row.notification);
    platform.settle();
    EXPECT_EQ(service->activeSyncInfo().size(), 1u);
    EXPECT_TRUE(service->activeSyncInfo()[0]->contactHash()) << row.notification;
    service->clearSyncInfoCache();
  }

  service->resetWithCompletion(nullptr);
  makeReady();
  platform.log->clear();
  const int readsBefore = platform.contacts->enumerations;
  for (const Row& row : rows)
    platform.notifications->postNotificationName(row.notification);
  platform.settle();
  EXPECT_EQ(platform.contacts->enumerations, readsBefore);
  EXPECT_THAT(platform.log->lines(), ElementsAre());
}

TEST_F(Lifecycle, ResetClearsWhoIsSignedInAndNothingElse) {
  const auto reset = [this] {
    Recorded<bool> done;
    service->resetWithCompletion(done.completion());
    return done.calls == 1 && done.result && done.error.empty();
  };
  const auto countLines = [this] { return platform.log->count("Quillfold reset completed"); };
  EXPECT_TRUE(reset());
  Recorded<bool> ready;
  start(ready, nullptr);
  EXPECT_TRUE(reset());
  EXPECT_EQ(service->state(), QFContactServiceStateFailed);
  start(ready, user());
  EXPECT_TRUE(reset());
  EXPECT_EQ(service->state(), QFContactServiceStateInitializing);
  EXPECT_EQ(countLines(), 0u);

  int hostEvents = 0;
  service->eventWrapperService()->subscribeToEvent(QFEventAppDidBecomeActive, "host",
                                                   [&] { ++hostEvents; });
  addPeople(2);
  platform.settle();
  const auto search = service->searchService();
  const auto client = service->apiClient();
  ASSERT_TRUE(client);
  EXPECT_TRUE(reset());
  EXPECT_EQ(countLines(), 1u);
  EXPECT_EQ(service->currentState(), "Not initialized");
  EXPECT_FALSE(service->apiKey() || service->token() || service->userInfo());
  EXPECT_EQ(service->searchService(), nullptr);
  EXPECT_EQ(service->apiClient(), client);
  EXPECT_EQ(service->activeSyncInfo().size(), 2u);
  EXPECT_EQ(stored(defaults_keys::kUserId), "u1");
  EXPECT_NE(service->lastError(), nullptr);
  // Not even the host's own subscription hears of the system again.
  platform.notifications->postNotificationName(UIApplicationDidBecomeActiveNotification);
  platform.settle();
  EXPECT_EQ(hostEvents, 0);
  makeReady();
  EXPECT_EQ(service->searchService(), search);
}

TEST_F(Lifecycle, AsksForHealthInAnyState) {
  std::vector<bool> answers;
  std::string body = R"({"status":"success"})";
  platform.serveBackend([&](FakeTask& task) {
    if (task.path() != "/health") return false;
    task.answer(200, body);
    return true;
  });
  for (const char* next : {R"({"status":"down"})", ""}) {
    QFContactService::checkHealthWithCompletion([&](bool healthy) { answers.push_back(healthy); });
    platform.settle();
    body = next;
  }
  EXPECT_THAT(answers, ElementsAre(true, false));
}

}  // namespace
}  // namespace quillfold::testing
