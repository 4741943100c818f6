// The deferred task, and how its sync differs from the facade's.
#include "api/api_client.h"
#include "api/contact_source.h"
#include "sync/contact_sync_info.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;

constexpr const char* kRegistered = "com.quillfold.backgroundTasksRegistered";

// A task and a scheduler that keep what they are told.
template <typename Base>
struct KeptTask : Base {
  const std::string& identifier() const override { return name; }
  void setExpirationHandler(std::function<void()>) override {}
  void setTaskCompletedWithSuccess(bool success) override { outcomes.push_back(success); }
  std::string name;
  std::vector<bool> outcomes;
};
struct KeptScheduler : BGTaskScheduler {
  bool registerForTaskWithIdentifier(const std::string&, std::shared_ptr<DispatchQueue>,
                                     LaunchHandler handler) override {
    launch = std::move(handler);
    return true;
  }
  bool submitTaskRequest(const BGProcessingTaskRequest&, ErrorPtr* error) override {
    *error = refusal;
    return false;
  }
  LaunchHandler launch;
  ErrorPtr refusal;
};

class DeferredTask : public ServiceTest {
 protected:
  void SetUp() override {
    makeReady();
    source = QFContactSource::initWithId("SOURCE", "Device", QFSourceTypeDevice, {}, {});
  }
  void setUp(std::int64_t batchSize) {
    platform.defaults->setObject("SAVED", "com.quillfold.source.id");
    source->setupSyncWithUserId("u1", batchSize);
  }
  Recorded<std::int64_t> run() {
    Recorded<std::int64_t> out;
    source->syncContactsWithCompletion(out.completion());
    platform.settle();
    EXPECT_EQ(out.calls, 1);
    EXPECT_FALSE(source->isRunning());
    return out;
  }
  bool saysInfo(const std::string& line) const {
    return logged("info ContactSyncManager: " + line);
  }
  bool saysError(const std::string& line) const {
    return logged("error ContactSyncManager: " + line);
  }
  void pass(double seconds) {
    platform.clock->seconds = platform.clock->seconds + seconds;
    platform.scheduler->clockHasMoved();
    platform.settle();
  }

  QFContactSourcePtr source;
};

TEST_F(DeferredTask, LimitsTheBatchAndHasAClientOfItsOwn) {
  for (const auto& [wanted, taken] :
       std::vector<std::pair<int, int>>{{500, 50}, {0, 0}, {-3, -3}}) {
    source->setRunning(true);
    source->setBackgroundTaskRegistered(true);
    source->setupSyncWithUserId("u1", wanted);
    EXPECT_EQ(source->batchSize(), taken);
    EXPECT_FALSE(source->isRunning() || source->backgroundTaskRegistered());
  }
  EXPECT_EQ(source->userId(), "u1");
  EXPECT_NE(source->apiClient(), QFAPIClient::sharedInstance());
  EXPECT_EQ(source->apiClient()->contactService(), nullptr);
}

TEST_F(DeferredTask, RunsNotBeforeItsTimeAndOnce) {
  makeReady(3);
  setUp(2);
  source->registerBackgroundTasks();
  EXPECT_TRUE(saysInfo("Successfully registered background task: com.quillfold.contact-sync"));
  source->registerBackgroundTasks();
  source->scheduleBackgroundSync();
  source->scheduleBackgroundSync();
  EXPECT_TRUE(saysInfo("Background sync task scheduled successfully"));
  pass(899);
  EXPECT_TRUE(uploads().empty());
  *platform.networkIsUp = false;
  pass(1);
  EXPECT_TRUE(uploads().empty()) << "There is no network yet.";
  *platform.networkIsUp = true;
  pass(0);
  EXPECT_THAT(uploads(), ElementsAre(ElementsAre("id00", "id01"), ElementsAre("id02")));
  EXPECT_TRUE(saysInfo("Starting sync for 3 contacts"));
  EXPECT_TRUE(saysInfo("Processing batch 2 of 2"));
  EXPECT_TRUE(saysInfo("Batch 2 complete, processed 1 contacts"));
  EXPECT_TRUE(saysInfo("Sync completed successfully, processed 3 contacts"));
  EXPECT_EQ(platform.files->journal.back(), 's') << "The records are on the disk.";
  EXPECT_TRUE(saysInfo("Background sync completed successfully: 3 contacts processed"));
  pass(10000);
  EXPECT_EQ(uploads().size(), 2u) << "One request, one run.";

  // Another source can't have the identifier too.
  const auto other = QFContactSource::initWithId("OTHER", "Device", QFSourceTypeDevice, {}, {});
  other->setupSyncWithUserId("u1", 2);
  other->registerBackgroundTasks();
  EXPECT_EQ(platform.log->count("error ContactSyncManager: Failed to register background task. "
                                "Please ensure the app has the proper entitlements and Info.plist "
                                "configuration."),
            1u);
  EXPECT_FALSE(other->backgroundTaskRegistered());
}

TEST_F(DeferredTask, ExpiryCancelsTheFlagAloneAndTheRunGoesOn) {
  makeReady(1);
  setUp(2);
  source->registerBackgroundTasks();
  source->scheduleBackgroundSync();
  platform.serveBackend([](FakeTask& task) { return task.path() == kUploadPath; });
  pass(900);
  EXPECT_TRUE(source->isRunning());
  pass(600);
  EXPECT_TRUE(saysError("Background sync task expired"));
  EXPECT_TRUE(saysInfo("Sync operation cancelled"));
  EXPECT_FALSE(source->isRunning());
  platform.sessions->last(kUploadPath)->answer(200, R"({"data":{"processed_count":1}})");
  platform.settle();
  EXPECT_EQ(service->allSyncInfo().size(), 1u);
  EXPECT_TRUE(saysInfo("Background sync completed successfully: 1 contacts processed"));
}

TEST_F(DeferredTask, TellsFailuresToScheduleApart) {
  setUp(2);
  const std::pair<BackgroundExecution, const char*> refusals[] = {
      {BackgroundExecution::NotEntitled, "App is missing background processing entitlement"},
      {BackgroundExecution::DisabledByUser,
       "Background execution is disabled by user in Settings"}};
  for (const auto& [execution, line] : refusals) {
    platform.scheduler->setExecution(execution);
    // The kept flag makes it ask, and one of the answers takes the flag away.
    source->setBackgroundTaskRegistered(false);
    platform.defaults->setObject(true, kRegistered);
    source->scheduleBackgroundSync();
    EXPECT_TRUE(saysInfo(line) && source->backgroundTaskRegistered());
  }
  platform.scheduler->setExecution(BackgroundExecution::Allowed);
  source->scheduleBackgroundSync();
  EXPECT_TRUE(saysInfo("Background sync not enabled for this app"));
  EXPECT_FALSE(source->backgroundTaskRegistered());
  EXPECT_FALSE(platform.defaults->boolForKey(kRegistered));
}

TEST_F(DeferredTask, ReportsEachFailureInItsPlace) {
  setUp(2);
  // Nothing to do is success.
  const auto idle = std::make_shared<KeptTask<BGProcessingTask>>();
  source->handleBackgroundSyncTask(idle);
  platform.settle();
  EXPECT_TRUE(saysInfo("No contacts to sync"));
  EXPECT_THAT(idle->outcomes, ElementsAre(true));
  makeReady(3);
  using Row = std::tuple<std::function<void()>, std::int64_t, std::string>;
  for (const auto& [arrange, count, error] :
       {Row([&] { platform.contacts->storeError = NSError::errorWithDomain("D", 1); }, 0,
            " 1004: Failed to fetch contacts"),
        Row(
            [&] {
              platform.contacts->storeError = nullptr;
              interrupt(kUploadPath, 2,
                        [](FakeTask& task) { task.answer(400, R"({"message":"no"})"); });
            },
            2, ".api 3: Server error 400: no"),
        Row([&] { platform.defaults->removeObjectForKey("com.quillfold.source.id"); }, 0,
            ".api 3: Server error 500: ContactService not connected to APIClient")}) {
    arrange();
    const auto outcome = run();
    EXPECT_EQ(outcome.error, "com.quillfold" + error);
    EXPECT_TRUE(outcome.result == count && outcome.place == Place::MainQueue) << error;
  }
  EXPECT_TRUE(saysError("Error syncing batch 2: Server error 400: no"));
  EXPECT_TRUE(saysError("Sync failed: Server error 400: no"));
  Recorded<std::int64_t> negative;
  source->syncContactBatch(QFContactList(3), -1, 7, negative.completion());
  EXPECT_EQ(negative.error, "com.quillfold.sync 1: Invalid batch index: -1");
  EXPECT_EQ(negative.result, 7);
  source = QFContactSource::initWithId(JSONField(), "n", QFSourceTypeDevice, {}, {});
  const auto unknown = run();
  EXPECT_EQ(unknown.error + std::to_string(unknown.result),
            "com.quillfold.contactsource 1: Missing source ID0");
}

// Both drivers on the same three contacts, side by side.
TEST_F(DeferredTask, DiffersFromTheSyncOfTheFacade) {
  makeReady(3);
  setUp(2);
  service->setBatchSize(2);
  service->enableBackgroundSync();

  // Guard, text and client: both may run at once, each refuses a second run.
  Recorded<std::int64_t> facade, facadeAgain, route, routeAgain;
  service->startSyncWithSourceId("device_X", "u1", facade.completion());
  service->startSyncWithSourceId("device_X", "u1", facadeAgain.completion());
  source->syncContactsWithCompletion(route.completion());
  source->syncContactsWithCompletion(routeAgain.completion());
  EXPECT_EQ(facadeAgain.error, "com.quillfold.sync 0: Sync operation already in progress");
  EXPECT_EQ(routeAgain.error + std::to_string(routeAgain.result),
            "com.quillfold.sync 0: Sync operation is already in progress0");
  platform.settle();
  EXPECT_EQ(facade.result + route.result, 6) << "Each has uploaded all of them.";
  EXPECT_EQ(platform.sessions->count(kRegistrationPath), 0u);
  EXPECT_EQ(run().error + std::to_string(run().result), "0");
  EXPECT_TRUE(saysInfo("No contacts have changed since last sync"));

  // A failing second batch: one has recorded the first, the other nothing.
  for (const bool deferred : {false, true}) {
    service->clearSyncInfoCache();
    interrupt(kUploadPath, platform.sessions->count(kUploadPath) + 2,
              [](FakeTask& task) { task.fail(NSURLErrorTimedOut, "late"); });
    Recorded<std::int64_t> outcome;
    if (deferred) {
      source->syncContactsWithCompletion(outcome.completion());
    } else {
      service->startSyncWithSourceId("device_X", "u1", outcome.completion());
    }
    platform.settle();
    EXPECT_EQ(outcome.result, 2);
    const auto records = service->allSyncInfo();
    EXPECT_EQ(std::count_if(records.begin(), records.end(),
                            [](const auto& record) { return record->contactHash().has_value(); }),
              deferred ? 0 : 2);
  }

  // What is stamped on the contacts, and when.
  const auto contact = QFContact::initWithIdentifier("c");
  source->syncContactBatch({contact}, 0, 0, [](std::int64_t, const ErrorPtr&) {});
  platform.settle();
  EXPECT_EQ(contact->lastSyncedAt(), platform.clock->seconds);
  const auto other = QFContact::initWithIdentifier("d");
  service->syncBatch({other}, 0, 0, [](std::int64_t, const ErrorPtr&) {});
  platform.settle();
  EXPECT_EQ(other->lastSyncedAt(), 0);
  service->processBatch({other}, [](std::int64_t, const ErrorPtr&) {});
  EXPECT_EQ(other->lastSyncedAt(), platform.clock->seconds);
}

TEST(DeferredTaskAlone, GoesByTheFirstKnownTextAndAnswersEachLaunch) {
  const auto scheduler = std::make_shared<KeptScheduler>();
  const FakePlatform platform(scheduler);
  const auto lastLine = [&platform] { return platform.log->lines().back(); };
  const auto source = QFContactSource::initWithId("S", "n", QFSourceTypeDevice, {}, {});
  source->setupSyncWithUserId("u1", 2);
  const std::string information = "info ContactSyncManager: ";
  source->scheduleBackgroundSync();
  EXPECT_EQ(lastLine(), information +
                            "Background sync not scheduled: tasks are not registered. This is "
                            "normal if background sync was not enabled.");
  source->registerBackgroundTasks();
  const std::string entitled = "Missing background mode entitlement";
  for (const auto& [text, line] :
       {std::pair("Background execution" + entitled,
                  "App is missing background processing entitlement"),
        std::pair(std::string("Other"), "Could not schedule background sync: Other"),
        std::pair(entitled + "No launch handler registered",
                  "Background sync not enabled for this app")}) {
    scheduler->refusal = NSError::errorWithDomain("D", 1, {{NSLocalizedDescriptionKey, text}});
    source->scheduleBackgroundSync();
    EXPECT_EQ(lastLine(), information + line);
  }
  const auto task = std::make_shared<KeptTask<BGProcessingTask>>();
  scheduler->launch(task);
  EXPECT_EQ(lastLine(),
            "error ContactSyncManager: Background sync failed: Quillfold not properly "
            "initialized");
  const auto wrong = std::make_shared<KeptTask<BGTask>>();
  scheduler->launch(wrong);
  EXPECT_EQ(lastLine(), "error ContactSyncManager: Received unexpected task type");
  EXPECT_THAT(task->outcomes, ElementsAre(false));
  EXPECT_THAT(wrong->outcomes, ElementsAre(false));
}

}  // namespace
}  // namespace quillfold::testing
