// Sending what has changed, batch by batch.
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::StartsWith;

class SyncEngine : public ServiceTest {
 protected:
  template <typename Result>
  Recorded<Result> run(auto start) {
    Recorded<Result> out;
    start(out.completion());
    platform.settle();
    EXPECT_TRUE(out.calls == 1 && !service->syncInProgress());
    return out;
  }
  Recorded<bool> sync() {
    return run<bool>([this](auto completion) { service->syncContacts(completion); });
  }
  Recorded<std::int64_t> startSync() {
    return run<std::int64_t>(
        [this](auto completion) { service->startSyncWithSourceId("device_X", "u", completion); });
  }
};

TEST_F(SyncEngine, ReportsEachFailureInItsPlaceAndRecordsNothing) {
  makeReady(3);
  const auto refuse = [this](const char* path) {
    interrupt(path, 1, [](FakeTask& task) { task.answer(400, R"({"message":"no"})"); });
  };
  // The registration logs its failure itself too.
  using Row = std::tuple<std::function<void()>, std::string, std::string, std::size_t>;
  for (const auto& [arrange, error, line, times] :
       {Row([&] { platform.contacts->storeError = NSError::errorWithDomain("D", 1); },
            " 1004: Failed to fetch contacts", "Failed to fetch contacts for sync: ", 1),
        Row([&] { platform.defaults->removeObjectForKey(defaults_keys::kUserId); },
            " 1010: No user ID available for contact source registration",
            "Failed to register contact source: ", 0),
        Row([&] { refuse(kRegistrationPath); },
            ".api 3: ", "Failed to register contact source: ", 2),
        Row([&] { refuse(kUploadPath); }, ".api 3: ", "Failed to sync contacts: ", 1)}) {
    makeReady();
    platform.log->clear();
    arrange();
    const auto outcome = sync();
    EXPECT_THAT(outcome.error, StartsWith("com.quillfold" + error));
    EXPECT_TRUE(!outcome.result && outcome.place == Place::MainQueue) << error;
    EXPECT_EQ(platform.log->count(line + outcome.failure->localizedDescription()), times);
    EXPECT_TRUE(logged("Beginning sync of contacts"));
    platform.contacts->storeError = nullptr;
  }
  EXPECT_TRUE(sync().result);
  EXPECT_EQ(uploadSizes(), "3 3 ");
}

TEST_F(SyncEngine, TheShorterWaysInHaveTheirOwn) {
  const auto toServer = [this](auto completion) {
    service->syncContactsToServerWithCompletion(completion);
  };
  const auto registered = [this](auto completion) {
    service->registerContactSourceWithCompletion(completion);
  };
  EXPECT_EQ(run<bool>(toServer).error, "com.quillfold 1010: No user ID available for server sync");
  EXPECT_EQ(run<bool>(registered).error,
            "com.quillfold 1010: No user ID available for contact source registration");
  EXPECT_TRUE(platform.sessions->tasks.empty());
  EXPECT_EQ(sync().error, "com.quillfold 1005: Quillfold not properly initialized");
  EXPECT_EQ(sync().place, Place::Caller);
  // Leaving the foreground makes up a user and, in lower case, the device.
  service->scheduleBackgroundSyncTask();
  EXPECT_TRUE(info("Background sync enabled for contact service"));
  EXPECT_TRUE(error("Background sync failed: Quillfold not properly initialized"));
  for (const char* key : {defaults_keys::kUserId, defaults_keys::kDeviceIdentifier}) {
    EXPECT_THAT(platform.defaults->stringForKey(key).value_or(""),
                ::testing::MatchesRegex("[-0-9a-f]{36}"));
  }
  EXPECT_EQ(run<bool>(toServer).place, Place::Caller);
  EXPECT_TRUE(logged("Failed to sync contacts to server: Quillfold not properly initialized"));
  makeReady();
  EXPECT_TRUE(run<bool>(toServer).result);
  EXPECT_TRUE(logged("Successfully synced 0 contacts to server"));
  // The name has the prefix only on the run that makes the identifier.
  platform.defaults->removeObjectForKey(defaults_keys::kDeviceIdentifier);
  service->registerContactSourceWithCompletion(nullptr);
  service->registerContactSourceWithCompletion(nullptr);
  platform.settle();
  const auto device = *platform.defaults->stringForKey(defaults_keys::kDeviceIdentifier);
  EXPECT_TRUE(logged("Successfully registered contact source: device_" + device));
  EXPECT_TRUE(logged("Successfully registered contact source: " + device));
}

TEST_F(SyncEngine, RunsOnceAtATimeAndSaysHowMuchItDid) {
  makeReady();
  EXPECT_TRUE(sync().result && logged("No contacts to sync"));
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 0u);
  makeReady(40);
  // The first and the second both register; the third starts within the first.
  interrupt(kUploadPath, 2, [this](FakeTask& task) {
    service->scheduleBackgroundSyncTask();
    task.answer(200, R"({"data":{"processed_count":11}})");
  });
  Recorded<bool> first;
  service->syncContacts(first.completion());
  EXPECT_EQ(sync().error, "com.quillfold.sync 0: Sync operation already in progress");
  EXPECT_TRUE(error("Background sync failed: Sync operation already in progress"));
  EXPECT_TRUE(first.result && logged("Found 40 contacts to sync"));
  EXPECT_TRUE(info("Processing batch 2 of 2 (20 contacts)") &&
              info("Sync completed: 31 contacts processed"));
  EXPECT_TRUE(sync().result && info("No contacts need syncing"));
  EXPECT_TRUE(logged("Successfully synced 0 contacts"));
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 3u);
  EXPECT_EQ(uploadSizes(), "20 20 ");
}

TEST_F(SyncEngine, KeepsTheBatchesBeforeAFailureOrACancellation) {
  makeReady(45);
  service->cancelSync();
  EXPECT_TRUE(info("No sync operation in progress to cancel"));
  interrupt(kUploadPath, 2, [](FakeTask& task) { task.fail(NSURLErrorTimedOut, "late"); });
  auto outcome = startSync();
  EXPECT_EQ(outcome.result, 20);
  EXPECT_THAT(outcome.error, StartsWith("com.quillfold.api "));
  EXPECT_TRUE(error("Sync failed: " + outcome.failure->localizedDescription()));
  // Cancelled while the second batch of the rest is on the way.
  interrupt(kUploadPath, 4, [this](FakeTask&) {
    service->cancelSync();
    EXPECT_FALSE(service->syncInProgress());
  });
  outcome = startSync();
  EXPECT_TRUE(info("Sync operation cancelled"));
  EXPECT_TRUE(outcome.result == 20 && outcome.failure && outcome.place == Place::MainQueue);
  platform.serveBackend();
  EXPECT_EQ(startSync().result, 5);
  EXPECT_EQ(uploadSizes(), "20 20 20 5 5 ");
  EXPECT_EQ(uploads()[4], std::vector<std::string>({"id40", "id41", "id42", "id43", "id44"}));
}

TEST_F(SyncEngine, ADuplicateSourceFailsUntilSomethingLinksTheClient) {
  makeReady(2);
  platform.serveBackend([](FakeTask& task) {
    const bool mine = task.path() == kRegistrationPath;
    if (mine) task.answer(500, "duplicate key value violates unique constraint");
    return mine;
  });
  for (int i = 0; i < 2; ++i) {
    const auto outcome = sync();
    EXPECT_THAT(outcome.error, ::testing::EndsWith("ContactService not connected to APIClient"));
    EXPECT_EQ(outcome.place, Place::Session);
  }
  EXPECT_TRUE(uploads().empty() && !service->apiClient());
  service->scheduleBackgroundSyncTask();
  platform.settle();
  EXPECT_TRUE(info("Background sync completed, processed 2 contacts"));
  EXPECT_TRUE(sync().result);
}

// For a power cut: once while the next batch is on its way, once before that is recorded.
TEST_F(SyncEngine, HasEachBatchSynchronizedBeforeTheNextIsRecorded) {
  makeReady(5);
  service->setBatchSize(2);
  interrupt(kUploadPath, 2, [this](FakeTask& task) {
    platform.files->journal += '2';
    task.answer(200, R"({"data":{"processed_count":2}})");
  });
  sync();
  EXPECT_EQ(platform.files->journal, "wwS2SwwSSwss");
}

TEST_F(SyncEngine, TakesAnyBatchSize) {
  makeReady(3);
  service->setBatchSize(0);
  EXPECT_EQ(startSync().result, 3);
  EXPECT_EQ(service->batchSize(), 20);
  service->clearSyncInfoCache();
  service->setBatchSize(INT64_MAX);
  EXPECT_EQ(startSync().result, 3);
  EXPECT_TRUE(info("Processing batch 1 of 1 (3 contacts)"));
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
  EXPECT_EQ(uploadSizes(), "3 3 0 0 0 ");
  // A negative start is huge to an upload, and outside the contacts to the walk.
  const QFContactList contacts(5, QFContact::initWithIdentifier("a"));
  const auto beyond =
      run<std::int64_t>([&](auto completion) { service->syncBatch(contacts, -1, 7, completion); });
  EXPECT_EQ(beyond.error + std::to_string(beyond.result), "7");
  EXPECT_THROW(service->processContactsInBatches(contacts, 2, -1, 0, {}), NSException);
  Recorded<std::int64_t> walk;
  service->processContactsInBatches(contacts, 2, 0, INT64_MAX, walk.completion());
  EXPECT_EQ(walk.result, INT64_MIN + 4);
  EXPECT_EQ(contacts[0]->lastSyncedAt(), platform.clock->seconds);
  EXPECT_TRUE(logged("Batch 3 complete, processed 1 contacts"));
  EXPECT_THAT([&] { service->processContactsInBatches(contacts, 0, 0, 0, {}); },
              ::testing::ThrowsMessage<NSException>("The batch size is 0."));
  service->setBatchSize(0);
  service->scheduleBackgroundSyncTask();
  EXPECT_EQ(service->batchSize(), 20);
}

}  // namespace
}  // namespace quillfold::testing
