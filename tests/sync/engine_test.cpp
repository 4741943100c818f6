// Sending what has changed, batch by batch.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

class SyncEngine : public ServiceTest {
 protected:
  Recorded<bool> sync() {
    Recorded<bool> out;
    service->syncContacts(out.completion());
    platform.settle();
    EXPECT_EQ(out.calls, 1);
    EXPECT_FALSE(service->syncInProgress());
    return out;
  }
  Recorded<std::int64_t> startSync() {
    Recorded<std::int64_t> out;
    service->startSyncWithSourceId("device_X", "u", out.completion());
    platform.settle();
    EXPECT_EQ(out.calls, 1);
    return out;
  }
  // Lets the nth request to the path end in something else.
  void interrupt(const char* path, std::size_t nth, std::function<void(FakeTask&)> with) {
    platform.serveBackend([this, path, nth, with = std::move(with)](FakeTask& task) {
      if (task.path() != path || platform.sessions->count(path) != nth) return false;
      with(task);
      return true;
    });
  }
  std::vector<std::size_t> uploadSizes() const {
    std::vector<std::size_t> out;
    for (const auto& batch : uploads())
      out.push_back(batch.size());
    return out;
  }
  std::size_t lines(const std::string& line) const { return platform.log->count(line); }
};

TEST_F(SyncEngine, ReportsEachFailureInItsPlaceAndRecordsNothing) {
  struct Row {
    std::function<void()> arrange;
    std::string error;
    Place place;
    std::string line;
    std::size_t times;
  };
  addPeople(3);
  const auto refuse = [this](const char* path, std::size_t nth) {
    interrupt(path, nth, [](FakeTask& task) { task.answer(400, R"({"message":"no"})"); });
  };
  const std::string refused = "com.quillfold.api 3: ";
  const auto& defaults = platform.defaults;
  const Row rows[] = {
      {[&] { service->resetWithCompletion(nullptr); },
       "com.quillfold 1005: Quillfold not properly initialized", Place::Caller, "", 0},
      {[&] { platform.contacts->status = CNAuthorizationStatusDenied; },
       "com.quillfold 1006: Contacts access denied. Please allow access in Settings.",
       Place::Caller, "", 0},
      {[&] { platform.contacts->storeError = NSError::errorWithDomain("D", 1); },
       "com.quillfold 1004: Failed to fetch contacts", Place::MainQueue,
       "Failed to fetch contacts for sync: Failed to fetch contacts", 1},
      {[&] { defaults->removeObjectForKey(defaults_keys::kUserId); },
       "com.quillfold 1010: No user ID available for contact source registration", Place::MainQueue,
       "", 0},
      {[&] { refuse(kRegistrationPath, 1); }, refused, Place::MainQueue,
       "Failed to register contact source: ", 2},
      {[&] { refuse(kUploadPath, 1); }, refused, Place::MainQueue, "Failed to sync contacts: ", 1}};
  for (const Row& row : rows) {
    makeReady();
    row.arrange();
    const auto outcome = sync();
    EXPECT_FALSE(outcome.result);
    EXPECT_THAT(outcome.error, StartsWith(row.error));
    EXPECT_EQ(outcome.place, row.place) << row.error;
    if (row.times > 0) {
      const auto text = outcome.failure->localizedDescription();
      EXPECT_EQ(lines(row.line.ends_with(": ") ? row.line + text : row.line), row.times);
    }
    platform.contacts->storeError = nullptr;
    platform.contacts->status = CNAuthorizationStatusAuthorized;
  }
  EXPECT_EQ(sync().error, "");
  EXPECT_EQ(uploadSizes(), std::vector<std::size_t>({3, 3}));
}

TEST_F(SyncEngine, TheShorterWaysInReportTheirOwnFailures) {
  Recorded<bool> server;
  service->syncContactsToServerWithCompletion(server.completion());
  EXPECT_EQ(server.error, "com.quillfold 1010: No user ID available for server sync");
  Recorded<std::int64_t> batch;
  service->syncBatch({QFContact::initWithIdentifier("a")}, 0, 7, batch.completion());
  EXPECT_EQ(batch.error, "com.quillfold 1005: Quillfold not properly initialized");
  EXPECT_EQ(batch.result, 7);
  // Leaving the foreground makes up a user and, in lower case, the device.
  platform.notifications->postNotificationName(UIApplicationDidEnterBackgroundNotification);
  platform.settle();
  EXPECT_EQ(lines("info ContactService: Background sync enabled for contact service"), 1u);
  EXPECT_EQ(lines("error ContactService: Background sync failed: Quillfold not properly "
                  "initialized"),
            1u);
  for (const char* key : {defaults_keys::kUserId, defaults_keys::kDeviceIdentifier}) {
    const auto made = platform.defaults->stringForKey(key).value_or("");
    EXPECT_EQ(made.size(), 36u);
    EXPECT_EQ(made.find_first_of("ABCDEF"), std::string::npos) << made;
  }
  service->syncContactsToServerWithCompletion(server.completion());
  EXPECT_EQ(server.error, "com.quillfold 1005: Quillfold not properly initialized");
  EXPECT_FALSE(service->syncInProgress());
  // A name with the prefix only on the run that makes the identifier.
  makeReady();
  platform.defaults->removeObjectForKey(defaults_keys::kDeviceIdentifier);
  for (const char* prefix : {"device_", ""}) {
    service->registerContactSourceWithCompletion(nullptr);
    platform.settle();
    const Value body = platform.sessions->last(kRegistrationPath)->json();
    const Value& source = *find(*body.asDictionary(), "source_data");
    EXPECT_EQ(*find(*source.asDictionary(), "name"),
              Value(prefix + *platform.defaults->stringForKey(defaults_keys::kDeviceIdentifier)));
  }
}

TEST_F(SyncEngine, SaysHowMuchItDid) {
  makeReady();
  Recorded<bool> server;
  const auto syncToServer = [&] {
    service->syncContactsToServerWithCompletion(server.completion());
    platform.settle();
  };
  syncToServer();
  EXPECT_TRUE(sync().result && server.result);
  EXPECT_EQ(lines("Successfully synced 0 contacts to server"), 1u);
  EXPECT_EQ(lines("No contacts to sync"), 1u);
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 0u);

  addPeople(40);
  interrupt(kUploadPath, 2,
            [](FakeTask& task) { task.answer(200, R"({"data":{"processed_count":11}})"); });
  EXPECT_TRUE(sync().result);
  EXPECT_EQ(lines("Found 40 contacts to sync"), 1u);
  EXPECT_EQ(lines("info ContactService: Processing batch 2 of 2 (20 contacts)"), 1u);
  EXPECT_EQ(lines("info ContactService: Sync completed: 31 contacts processed"), 1u);
  EXPECT_TRUE(sync().result);
  EXPECT_EQ(lines("info ContactService: No contacts need syncing"), 2u);
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 2u);
  EXPECT_EQ(uploadSizes(), std::vector<std::size_t>({20, 20}));
  platform.contacts->replace(MemoryContacts::person("id07", "Renamed"));
  syncToServer();
  EXPECT_EQ(lines("Successfully synced 1 contacts to server"), 1u);
  EXPECT_THAT(uploads().back(), ElementsAre("id07"));
}

TEST_F(SyncEngine, KeepsTheBatchesBeforeAFailureOrACancellation) {
  makeReady();
  addPeople(45);
  service->cancelSync();
  EXPECT_EQ(lines("info ContactService: No sync operation in progress to cancel"), 1u);
  interrupt(kUploadPath, 2, [](FakeTask& task) { task.fail(NSURLErrorTimedOut, "late"); });
  auto outcome = startSync();
  EXPECT_EQ(outcome.result, 20);
  EXPECT_THAT(outcome.error, StartsWith("com.quillfold.api 4: "));
  EXPECT_EQ(lines("error ContactService: Sync failed: " + outcome.failure->localizedDescription()),
            1u);
  // Cancelled while the second batch of the rest is on the way.
  interrupt(kUploadPath, 4, [this](FakeTask&) {
    EXPECT_TRUE(service->syncInProgress());
    service->cancelSync();
    EXPECT_FALSE(service->syncInProgress());
  });
  outcome = startSync();
  EXPECT_EQ(lines("info ContactService: Sync operation cancelled"), 1u);
  EXPECT_EQ(outcome.result, 20);
  EXPECT_EQ(outcome.place, Place::MainQueue);
  EXPECT_NE(outcome.error, "");
  platform.serveBackend();
  EXPECT_EQ(startSync().result, 5);
  EXPECT_EQ(uploadSizes(), std::vector<std::size_t>({20, 20, 20, 5, 5}));
  EXPECT_THAT(uploads().back(), ElementsAre("id40", "id41", "id42", "id43", "id44"));
}

TEST_F(SyncEngine, RunsOnceAtATime) {
  makeReady();
  addPeople(30);
  Recorded<bool> first, second;
  service->syncContacts(first.completion());
  service->syncContacts(second.completion());
  interrupt(kUploadPath, 1, [this](FakeTask& task) {
    service->scheduleBackgroundSyncTask();
    task.answer(200, R"({"data":{"processed_count":20}})");
  });
  platform.settle();
  EXPECT_TRUE(first.result);
  EXPECT_EQ(second.error, "com.quillfold.sync 0: Sync operation already in progress");
  EXPECT_EQ(lines("error ContactService: Background sync failed: Sync operation already in "
                  "progress"),
            1u);
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 2u);
  EXPECT_EQ(uploadSizes(), std::vector<std::size_t>({20, 10}));
}

TEST_F(SyncEngine, ADuplicateSourceFailsUntilSomethingLinksTheClient) {
  makeReady();
  addPeople(2);
  platform.serveBackend([](FakeTask& task) {
    if (task.path() != kRegistrationPath) return false;
    task.answer(500, "duplicate key value violates unique constraint");
    return true;
  });
  for (int i = 0; i < 2; ++i) {
    const auto outcome = sync();
    EXPECT_EQ(outcome.failure->userInfo().at("statusCode"), Value(500));
    EXPECT_THAT(outcome.error, ::testing::EndsWith("ContactService not connected to APIClient"));
    EXPECT_EQ(outcome.place, Place::Session);
    EXPECT_EQ(service->apiClient(), nullptr);
  }
  EXPECT_TRUE(uploads().empty());
  service->scheduleBackgroundSyncTask();
  platform.settle();
  EXPECT_EQ(lines("info ContactService: Background sync completed, processed 2 contacts"), 1u);
  EXPECT_EQ(QFAPIClient::sharedInstance()->contactService(), service);
  addPeople(0);
  EXPECT_TRUE(sync().result);
}

TEST_F(SyncEngine, TakesAnyBatchSize) {
  makeReady();
  addPeople(3);
  service->setBatchSize(0);
  EXPECT_EQ(startSync().result, 3);
  EXPECT_EQ(service->batchSize(), 20);
  service->clearSyncInfoCache();
  service->setBatchSize(INT64_MAX);
  EXPECT_EQ(startSync().result, 3);
  EXPECT_EQ(lines("info ContactService: Processing batch 1 of 1 (3 contacts)"), 2u);
  service->clearSyncInfoCache();
  service->setBatchSize(-1);
  EXPECT_EQ(startSync().error, "com.quillfold.sync 1: Invalid batch size: -1");
  // A zero that nothing repairs sends empty batches until it is changed.
  service->setBatchSize(0);
  interrupt(kUploadPath, 5, [this](FakeTask& task) {
    service->setBatchSize(2);
    task.answer(200, R"({"data":{"processed_count":0}})");
  });
  EXPECT_EQ(startSync().result, 0);
  EXPECT_EQ(uploadSizes(), std::vector<std::size_t>({3, 3, 0, 0, 0}));
  EXPECT_FALSE(service->syncInProgress());
}

TEST_F(SyncEngine, WalksLocallyInBatches) {
  const QFContactList contacts(5, QFContact::initWithIdentifier("a"));
  Recorded<std::int64_t> walk;
  service->processContactsInBatches(contacts, 2, 0, 100, walk.completion());
  EXPECT_EQ(walk.result, 105);
  EXPECT_EQ(contacts[0]->lastSyncedAt(), platform.clock->seconds);
  EXPECT_EQ(lines("Processing batch 3 of 3"), 1u);
  EXPECT_EQ(lines("Batch 3 complete, processed 1 contacts"), 1u);
  service->processContactsInBatches({}, 0, 0, 7, walk.completion());
  EXPECT_EQ(walk.result, 7);
  for (const std::int64_t size : {0, -2}) {
    EXPECT_THROW(service->processContactsInBatches(contacts, size, 0, 0, walk.completion()),
                 NSException);
  }
}

}  // namespace
}  // namespace quillfold::testing
