// Starting, failing, resetting and starting the facade again.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "events/event_wrapper_service.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::StartsWith;

class Lifecycle : public ServiceTest {
 protected:
  Recorded<bool> start(const QFUserInfoPtr& as, const std::string& key = "KEY",
                       const QFQuillfoldOptionsPtr& options = nullptr) {
    Recorded<bool> out;
    const auto told = [this, record = out.completion()](bool ok, const ErrorPtr& failure) {
      record(ok, failure);
      EXPECT_EQ(service->currentState(),
                ok ? "Ready" : "Failed: " + failure->localizedDescription());
    };
    service->initializeWithAPIKey(key, "TOKEN", as, options, told);
    platform.settle();
    EXPECT_EQ(out.calls, 1);
    return out;
  }
  std::int64_t stateAfterReset() {
    bool done = false;
    service->resetWithCompletion([&](bool ok, const ErrorPtr& failure) { done = ok && !failure; });
    EXPECT_TRUE(done);
    return service->state();
  }
  auto services() {
    return std::tuple(service->searchService(), service->socialService(),
                      service->recommendationService());
  }
};

TEST_F(Lifecycle, BecomesReadyWithoutWaitingForTheFirstSync) {
  platform.contacts->add(MemoryContacts::person("a", "Ann"));
  EXPECT_TRUE(services() == decltype(services())());
  for (const char* name : {"searchService", "socialService", "recommendationService"}) {
    EXPECT_TRUE(
        logged(fmt::format("Attempting to access {} before ContactsService is initialized", name)));
  }
  EXPECT_EQ(service->currentState(), "Not initialized");
  int calls = 0;
  service->initializeWithAPIKey("KEY", "TOKEN", user(), nullptr, [&](bool ok, const ErrorPtr&) {
    calls += ok && FakePlatform::place() == Place::MainQueue ? 1 : 100;
    EXPECT_TRUE(logged("Beginning sync of contacts") && platform.contacts->enumerations == 0);
  });
  EXPECT_EQ(service->currentState(), "Initializing");
  Recorded<bool> second;
  service->initializeWithAPIKey("K2", "T2", user("u2"), nullptr, second.completion());
  service->initializeWithAPIKey("K2", "T2", nullptr, nullptr, nullptr);
  EXPECT_EQ(second.error, "com.quillfold 1003: Initialization already in progress");
  EXPECT_EQ(platform.log->count("Initialization already in progress, ignoring duplicate call"), 2u);
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateInitializing);
  platform.settle();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(service->currentState(), "Ready");
  EXPECT_EQ(service->apiKey(), "KEY");
  EXPECT_TRUE(service->logger() && service->contactStore() && !service->initialized());
  EXPECT_TRUE(logged("Initial contact sync completed successfully"));
}

TEST_F(Lifecycle, PersistsTheUserBeforeTheKeyIsValidated) {
  const auto full = QFUserInfo::initWithUserId("u1", "Ann", "a@example.com", "+1", "http://a",
                                               Dictionary{{"k", 1}});
  service->initializeWithAPIKey("KEY", "TOKEN", full,
                                QFQuillfoldOptions::initWithRestrictedKeysToFetch({0}), nullptr);
  const auto json = platform.defaults->dataForKey(defaults_keys::kUserInfo);
  ASSERT_TRUE(json);
  EXPECT_EQ(
      json->bytes(),
      R"({"avatarUrl":"http://a","email":"a@example.com","fullName":"Ann","metadata":{"k":1},)"
      R"("phone":"+1","userId":"u1"})");
  platform.settle();
  // A later user: no phone, metadata that JSON can't hold, other options. The
  // client stays with the first user for good.
  const auto later =
      QFUserInfo::initWithUserId("u2", {}, "b@example.com", {}, {}, Dictionary{{"k", Data("x")}});
  EXPECT_TRUE(start(later).result);
  EXPECT_THAT(
      platform.log->lines(),
      ::testing::Contains(StartsWith("Failed to save user info to UserDefaults: Error Domain=")));
  EXPECT_EQ(platform.log->count("User info saved to UserDefaults"), 1u);
  EXPECT_EQ(platform.defaults->dataForKey(defaults_keys::kUserInfo), json);
  EXPECT_EQ(stored(defaults_keys::kUserId) + stored(defaults_keys::kUserToken), "u2TOKEN");
  EXPECT_EQ(stored(defaults_keys::kUserEmail) + stored(defaults_keys::kUserPhone),
            "b@example.com+1");
  EXPECT_EQ(QFAPIClient::sharedInstance()->userId(), "u1");
  EXPECT_TRUE(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch().empty());
}

TEST_F(Lifecycle, FailsWithTheReasonAndKeepsIt) {
  platform.serveBackend([](FakeTask& task) {
    const bool mine = task.path().ends_with("/validate-key");
    if (mine) task.fail(NSURLErrorTimedOut, "late");
    return mine;
  });
  const std::string invalid =
      " 1008: User information is invalid. userId is required and either email or phone must be "
      "provided.";
  std::int64_t number = 0;
  using Row = std::tuple<QFUserInfoPtr, std::string, std::string, Place>;
  for (const auto& [as, key, error, place] :
       {Row{nullptr, "KEY", invalid, Place::Caller},
        Row{user(), "", ".api 9: API key cannot be empty", Place::Caller},
        Row{user("u3"), "KEY", ".api ", Place::MainQueue}}) {
    const auto options = QFQuillfoldOptions::initWithRestrictedKeysToFetch({++number});
    const auto failed = start(as, key, options);
    EXPECT_THAT(failed.error, StartsWith("com.quillfold" + error));
    EXPECT_EQ(failed.place, place) << error;
    EXPECT_EQ(service->lastError(), failed.failure);
    EXPECT_EQ(stateAfterReset(), QFContactServiceStateFailed);
    // Whatever was passed is held, and the options are stored, even for no user.
    EXPECT_TRUE(service->userInfo() == as && service->options() == options);
    EXPECT_EQ(*service->apiKey() + *service->token(), key + "TOKEN");
    EXPECT_EQ(QFQuillfoldOptions::loadFromUserDefaults()->restrictedKeysToFetch(),
              std::set{number});
  }
  EXPECT_EQ(stored(defaults_keys::kUserId), "u3");
  // The error outlives a success, whose first sync fails here, and a reset.
  const auto last = service->lastError();
  platform.serveBackend();
  platform.contacts->storeError = NSError::errorWithDomain("D", 1);
  const auto options = QFQuillfoldOptions::defaultOptions();
  EXPECT_TRUE(start(user(), "KEY", options).result);
  EXPECT_TRUE(logged("Initial contact sync failed: Failed to fetch contacts"));
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateNotInitialized);
  EXPECT_TRUE(last && service->lastError() == last && service->options() == options);
}

TEST_F(Lifecycle, ResetsAtItsEndUnlessAnInitialisationCameMeanwhile) {
  makeReady();
  // Let go of while the reset unsubscribes.
  std::shared_ptr<void> handler(nullptr, [this](void*) {
    EXPECT_EQ(service->currentState() + service->apiKey().value_or(""), "ReadyKEY");
    service->initializeWithAPIKey("K2", "T2", user("u2"), nullptr, nullptr);
    platform.settle();
  });
  service->eventWrapperService()->subscribeToEvent(0, "QFContactService",
                                                   [held = std::move(handler)] {});
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateReady);
  EXPECT_TRUE(service->apiKey() == "K2" && service->token() == "T2" && service->userInfo());
  EXPECT_FALSE(logged("Quillfold reset completed"));
}

TEST_F(Lifecycle, AnswersEventsWithSyncsUntilAResetThatKeepsTheRest) {
  const std::pair<const char*, std::string> rows[] = {
      {UIApplicationDidBecomeActiveNotification,
       "Failed to sync contacts when app became active: "},
      {CNContactStoreDidChangeNotification, "Failed to sync contacts after store change: "},
      {UIApplicationDidEnterBackgroundNotification,
       "error ContactService: Background sync failed: "}};
  makeReady(1);
  for (const auto& [notification, failure] : rows) {
    service->clearSyncInfoCache();
    platform.contacts->storeError = NSError::errorWithDomain("D", 1);
    post(notification);
    EXPECT_TRUE(logged(failure + "Failed to fetch contacts"));
    platform.contacts->storeError = nullptr;
    // Without permission the background sync alone tries.
    platform.contacts->status = CNAuthorizationStatusDenied;
    post(notification);
    EXPECT_EQ(logged(failure + "Contacts access denied. Please allow access in Settings."),
              notification == rows[2].first);
    platform.contacts->status = CNAuthorizationStatusAuthorized;
    post(notification);
    EXPECT_TRUE(service->syncInfoForContactId("id00")->contactHash()) << notification;
  }
  const auto before = services();
  EXPECT_EQ(stateAfterReset(), QFContactServiceStateNotInitialized);
  EXPECT_TRUE(logged("Quillfold reset completed"));
  EXPECT_FALSE(service->apiKey() || service->token() || service->userInfo());
  EXPECT_TRUE(services() == decltype(services())());
  EXPECT_TRUE(service->apiClient() && service->activeSyncInfo().size() == 1);
  EXPECT_EQ(stored(defaults_keys::kUserId), "u1");
  // Not even a host's own subscription hears of the system again.
  service->eventWrapperService()->subscribeToEvent(0, "host", [] { FAIL(); });
  makeReady();
  EXPECT_TRUE(std::get<0>(before) && std::get<1>(before) && std::get<2>(before));
  EXPECT_TRUE(services() == before);
  platform.log->clear();
  for (const auto& [notification, failure] : rows)
    post(notification);
  EXPECT_TRUE(platform.log->lines().empty());
}

}  // namespace
}  // namespace quillfold::testing
