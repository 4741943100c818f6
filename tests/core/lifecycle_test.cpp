// Starting, failing, resetting and starting the facade again.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "events/event_wrapper_service.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class Lifecycle : public ServiceTest {
 protected:
  void start(Recorded<bool>& into, const QFUserInfoPtr& as, const std::string& key = "KEY") {
    service->initializeWithAPIKey(key, "TOKEN", as, nullptr, into.completion());
  }
  std::string stored(const char* key) {
    return platform.defaults->stringForKey(key).value_or("(none)");
  }
  void post(const char* notification) {
    platform.notifications->postNotificationName(notification);
    platform.settle();
  }
};

TEST_F(Lifecycle, BecomesReadyWithoutWaitingForTheFirstSync) {
  addPeople(1);
  EXPECT_FALSE(service->searchService() || service->socialService() ||
               service->recommendationService());
  for (const char* name : {"searchService", "socialService", "recommendationService"}) {
    EXPECT_TRUE(platform.log->contains(
        fmt::format("Attempting to access {} before ContactsService is initialized", name)));
  }
  EXPECT_EQ(service->currentState(), "Not initialized");
  Recorded<bool> second;
  int calls = 0;
  service->initializeWithAPIKey("KEY", "TOKEN", user(), nullptr, [&](bool ok, const ErrorPtr&) {
    EXPECT_TRUE(ok && FakePlatform::place() == Place::MainQueue);
    EXPECT_TRUE(platform.log->contains("Beginning sync of contacts"));
    EXPECT_EQ(platform.contacts->enumerations, 0);
    ++calls;
  });
  EXPECT_EQ(service->currentState(), "Initializing");
  start(second, user("other"));
  service->initializeWithAPIKey("K2", "T2", nullptr, nullptr, nullptr);
  EXPECT_EQ(second.error, "com.quillfold 1003: Initialization already in progress");
  EXPECT_EQ(platform.log->count("Initialization already in progress, ignoring duplicate call"), 2u);
  platform.settle();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(service->currentState(), "Ready");
  EXPECT_EQ(service->apiKey(), "KEY");
  EXPECT_EQ(service->userInfo()->userId(), "u1");
  EXPECT_TRUE(platform.log->contains("Initial contact sync completed successfully"));
}

TEST_F(Lifecycle, PersistsTheUserBeforeTheKeyIsValidated) {
  service->initializeWithAPIKey("KEY", "TOKEN",
                                QFUserInfo::initWithUserId("u1", "Ann", "a@example.com", "+1", {},
                                                           Dictionary{{"plan", "pro"}}),
                                QFQuillfoldOptions::initWithRestrictedKeysToFetch({0}), nullptr);
  const auto json = platform.defaults->dataForKey(defaults_keys::kUserInfo);
  ASSERT_TRUE(json);
  EXPECT_EQ(json->bytes(), R"({"email":"a@example.com","fullName":"Ann",)"
                           R"("metadata":{"plan":"pro"},"phone":"+1","userId":"u1"})");
  EXPECT_EQ(stored(defaults_keys::kUserToken), "TOKEN");
  platform.settle();

  // A later user: no phone, metadata that JSON can't hold, other options. The
  // client stays with the first user for good.
  Recorded<bool> again;
  start(again, QFUserInfo::initWithUserId("u2", {}, "b@example.com", {}, {},
                                          Dictionary{{"photo", Data("x")}}));
  platform.settle();
  EXPECT_TRUE(again.result);
  EXPECT_THAT(platform.log->lines(),
              Contains(StartsWith("Failed to save user info to UserDefaults: ")));
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
  platform.serveBackend([](FakeTask& task) {
    if (!task.path().ends_with("/validate-key")) return false;
    task.fail(NSURLErrorTimedOut, "too late");
    return true;
  });
  for (const Row& row :
       {Row{"KEY", nullptr, invalid, Place::Caller},
        Row{"KEY", QFUserInfo::initWithUserId("u0", "Ann", {}, {}), invalid, Place::Caller},
        Row{"", user(), "com.quillfold.api 9: API key cannot be empty", Place::Caller},
        Row{"KEY", user("u3"), "com.quillfold.api ", Place::MainQueue}}) {
    Recorded<bool> failed;
    start(failed, row.user, row.key);
    platform.settle();
    EXPECT_EQ(failed.calls, 1);
    EXPECT_THAT(failed.error, StartsWith(row.error));
    EXPECT_EQ(failed.place, row.place) << row.error;
    EXPECT_EQ(service->currentState(), "Failed: " + service->lastError()->localizedDescription());
    EXPECT_EQ(service->lastError(), failed.failure);
    EXPECT_EQ(service->userInfo(), row.user);
  }
  EXPECT_EQ(stored(defaults_keys::kUserId), "u3");
  const ErrorPtr last = service->lastError();
  platform.serveBackend();
  makeReady();
  EXPECT_EQ(service->lastError(), last);
}

TEST_F(Lifecycle, AnswersEventsWithSyncsUntilAReset) {
  const std::pair<const char*, std::string> rows[] = {
      {UIApplicationDidBecomeActiveNotification,
       "Failed to sync contacts when app became active: "},
      {CNContactStoreDidChangeNotification, "Failed to sync contacts after store change: "},
      {UIApplicationDidEnterBackgroundNotification,
       "error ContactService: Background sync failed: "}};
  makeReady();
  addPeople(1);
  for (const auto& [notification, failure] : rows) {
    platform.contacts->storeError = NSError::errorWithDomain("D", 1);
    post(notification);
    EXPECT_EQ(platform.log->count(failure + "Failed to fetch contacts"), 1u);
    platform.contacts->storeError = nullptr;
    // Without permission the background sync alone tries.
    platform.contacts->status = CNAuthorizationStatusDenied;
    post(notification);
    EXPECT_EQ(
        platform.log->count(failure + "Contacts access denied. Please allow access in Settings."),
        notification == rows[2].first ? 1u : 0u);
    platform.contacts->status = CNAuthorizationStatusAuthorized;
    post(notification);
    EXPECT_TRUE(service->syncInfoForContactId("id00")->contactHash()) << notification;
    service->clearSyncInfoCache();
  }
  service->resetWithCompletion(nullptr);
  makeReady();
  platform.log->clear();
  for (const auto& [notification, failure] : rows)
    post(notification);
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST_F(Lifecycle, ResetClearsWhoIsSignedInAndNothingElse) {
  const auto stateAfterReset = [this] {
    Recorded<bool> done;
    service->resetWithCompletion(done.completion());
    EXPECT_TRUE(done.calls == 1 && done.result && !done.failure);
    return service->state();
  };
  Recorded<bool> ready;
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateNotInitialized);
  start(ready, nullptr);
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateFailed);
  start(ready, user());
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateInitializing);
  EXPECT_FALSE(platform.log->contains("Quillfold reset completed"));
  addPeople(2);
  platform.settle();
  const auto search = service->searchService();
  ASSERT_TRUE(search);
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateNotInitialized);
  EXPECT_TRUE(platform.log->contains("Quillfold reset completed"));
  EXPECT_FALSE(service->apiKey() || service->token() || service->userInfo());
  EXPECT_EQ(service->searchService(), nullptr);
  EXPECT_TRUE(service->apiClient() && service->lastError());
  EXPECT_EQ(service->activeSyncInfo().size(), 2u);
  EXPECT_EQ(stored(defaults_keys::kUserId), "u1");
  // Not even a host's own subscription hears of the system again.
  bool heard = false;
  service->eventWrapperService()->subscribeToEvent(0, "host", [&] { heard = true; });
  makeReady();
  post(UIApplicationDidBecomeActiveNotification);
  EXPECT_FALSE(heard);
  EXPECT_EQ(service->searchService(), search);
}

}  // namespace
}  // namespace quillfold::testing
