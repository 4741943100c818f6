// Opening, closing, letting go, and what an account tells.
#include "events/event_wrapper_service.h"
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class AccountLife : public AccountTest {
 protected:
  std::vector<std::string> changes;
  AccountSubscription watch(const Account& account) {
    return account.onChange([this](const AccountChange& change) {
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
      if (change.kind == AccountChange::Kind::AddressBook) return changes.push_back("book");
      changes.push_back(fmt::format("{}{}{}", change.report->uploaded,
                                    change.report->stopped ? " stopped" : "",
                                    change.failure ? " failed" : ""));
    });
  }
};

TEST_F(AccountLife, OneIsOpenAtATimeAndAFailedOpenFreesThePlace) {
  overrides = [](FakeTask& task) {
    const bool validates = task.path().ends_with("/validate-key");
    if (validates) task.answer(400, R"({"message":"bad key"})");
    return validates;
  };
  EXPECT_EQ(failureOf(Account::open(configured())),
            "com.quillfold.api 3: Server error 400: bad key");
  overrides = {};
  auto first = Account::open(configured());
  EXPECT_THAT(failureOf(Account::open(configured("bob"))), StartsWith("com.quillfold.account 1: "));
  const Account account = *end(first);
  EXPECT_THAT(failureOf(Account::open(configured("bob"))), StartsWith("com.quillfold.account 1: "));
  EXPECT_EQ(account.user().id, "ann");
  // The failed one has left no second observer behind.
  const auto watching = watch(account);
  post(CNContactStoreDidChangeNotification);
  EXPECT_THAT(changes, ElementsAre("book", "0"));
}

TEST_F(AccountLife, CloseLetsAnotherBeOpenedThoughHandlesAreLeft) {
  addPeople(1);
  const auto ann = openedAtRest();
  const auto watching = watch(ann);
  FakeTask* late = nullptr;
  overrides = [&](FakeTask& task) {
    return task.path().ends_with("/follow") && (late = &task) != nullptr;
  };
  const auto follow = ann.follow("cleo");
  platform.settle();
  ASSERT_TRUE(late);
  EXPECT_EQ(failureOf(ann.close()), "");
  EXPECT_EQ(failureOf(ann.close()), "");
  late->answer(401, "");
  // Not asked for once more in the name of whoever comes next.
  EXPECT_THAT(failureOf(follow), StartsWith("com.quillfold.account 3: "));
  EXPECT_FALSE(ann.isOpen());
  const auto bob = openedAtRest("bob");
  EXPECT_TRUE(bob.isOpen());
  post(CNContactStoreDidChangeNotification);
  EXPECT_THAT(changes, ElementsAre());
  EXPECT_EQ(failureOf(ann.close()), "");
  EXPECT_THAT(failureOf(ann.sync()), StartsWith("com.quillfold.account 3: "));
  EXPECT_THAT(failureOf(ann.search("")), StartsWith("com.quillfold.account 3: "));
  EXPECT_EQ(failureOf(bob.sync()), "");
}

TEST_F(AccountLife, CloseEndsTheRunsOfOthersTooAndWaitsForThem) {
  addPeople(60);
  for (const bool ofItsOwn : {false, true}) {
    service->clearSyncInfoCache();
    const auto account = opened();
    const auto watching = watch(account);
    std::optional<Operation<SyncReport>> sync;
    if (ofItsOwn) sync.emplace(account.sync());
    while (recorded().empty() && step()) {
    }
    ASSERT_TRUE(service->syncInProgress());
    EXPECT_EQ(failureOf(account.close()), "");
    EXPECT_FALSE(service->syncInProgress());
    EXPECT_EQ(uploadSizes(), ofItsOwn ? "20 20 " : "20 ");
    EXPECT_EQ(recorded().size(), 20u);
    EXPECT_THAT(changes, ::testing::Contains("20 stopped"));
    if (sync) {
      const auto report = end(*sync);
      ASSERT_TRUE(report) << told(report.failure());
      EXPECT_TRUE(report->stopped);
      // What the run that it waited for has done.
      EXPECT_EQ(report->uploaded, 20);
      EXPECT_EQ(report->read, 60);
    }
    changes.clear();
  }
}

TEST_F(AccountLife, LettingGoLeavesTheWorkUnderWay) {
  addPeople(1);
  auto sync = openedAtRest().sync();
  EXPECT_EQ(failureOf(sync), "");
  std::string feed;
  {
    const auto ann = opened();
    ann.feed().then([&](const Result<std::shared_ptr<QFPaginatedEventList>>& page) {
      feed = page ? std::to_string(page->get()->total()) : told(page.failure());
    });
  }
  EXPECT_EQ(feed, "");
  platform.settle();
  EXPECT_EQ(feed, "7");
  // Over with the last of it.
  EXPECT_FALSE(service->isInitialized());
  EXPECT_TRUE(opened("bob").isOpen());
}

TEST_F(AccountLife, TheReportIsTheTruthAboutEveryRunInIt) {
  const auto account = openedAtRest();
  addPeople(40);
  const auto watching = watch(account);
  // A run of the service's is waited for, and can't write.
  platform.files->writeError = NSError::errorWithDomain("D", 1);
  service->scheduleBackgroundSyncTask();
  auto report = end(account.sync());
  EXPECT_EQ(report->uploaded, 40);
  EXPECT_FALSE(report->bookkeepingWritten);
  platform.files->writeError = nullptr;
  // A failure in the second batch.
  service->clearSyncInfoCache();
  overrides = [batches = 0](FakeTask& task) mutable {
    const bool fails = task.path() == kUploadPath && ++batches == 2;
    if (fails) task.answer(500, "");
    return fails;
  };
  EXPECT_THAT(failureOf(account.sync()), StartsWith("com.quillfold.api 3: "));
  overrides = {};
  report = end(account.sync());
  EXPECT_EQ(report->uploaded, 20);
  EXPECT_TRUE(report->bookkeepingWritten);
  platform.contacts->status = CNAuthorizationStatusDenied;
  platform.contacts->statusAfterRequest = CNAuthorizationStatusDenied;
  EXPECT_THAT(failureOf(account.sync()), StartsWith("com.quillfold 1006: "));
  platform.settle();
  EXPECT_THAT(changes, ElementsAre("40", "0", "20 failed", "20", "0 failed"));
}

TEST_F(AccountLife, ADeferredSyncIsThatOfWhoeverIsOpen) {
  {
    const auto ann = openedAtRest();
    EXPECT_EQ(failureOf(ann.deferSync()), "");
    EXPECT_EQ(failureOf(ann.deferSync()), "");
    platform.scheduler->setExecution(BackgroundExecution::DisabledByUser);
    EXPECT_THAT(failureOf(ann.deferSync()), StartsWith("BGTaskSchedulerErrorDomain 1: "));
    EXPECT_EQ(failureOf(ann.close()), "");
  }
  const auto bob = openedAtRest("bob");
  addPeople(3);
  platform.clock->seconds = platform.clock->seconds + 899;
  platform.scheduler->clockHasMoved();
  platform.settle();
  EXPECT_EQ(uploadSizes(), "");
  platform.clock->seconds = platform.clock->seconds + 1;
  platform.scheduler->clockHasMoved();
  platform.settle();
  EXPECT_EQ(uploadSizes(), "3 ");
  EXPECT_EQ(platform.sessions->last(kUploadPath)->header("Authorization"), "Bearer bob");
}

TEST_F(AccountLife, TheFirstUserKeepsTheFileAndTheOthersHaveTheirOwn) {
  const std::string usual = service->defaultSyncInfoFilePath();
  // A home from before there were accounts.
  platform.files->contents[usual] = "";
  platform.defaults->setObject("old", defaults_keys::kUserId);
  std::map<std::string, std::string> files;
  for (const char* user : {"ann", "old", "bob", "ann"}) {
    const auto account = openedAtRest(user);
    const std::string path = service->syncInfoFilePath();
    EXPECT_TRUE(files.try_emplace(user, path).first->second == path);
  }
  EXPECT_EQ(files["old"], usual);
  EXPECT_THAT(files["ann"], StartsWith(usual.substr(0, usual.rfind('.')) + "-"));
  EXPECT_NE(files["ann"], files["bob"]);
}

TEST_F(AccountLife, LooksForPeopleAsTheyAreTyped) {
  platform.contacts->add(MemoryContacts::person("a", "Ann", "+1 (212) 555-0100"));
  platform.contacts->add(MemoryContacts::person("b", "Al 555"));
  const auto account = openedAtRest();
  for (const auto& [text, found] : std::map<std::string, std::string>{
           {"212-555", "a"}, {"(212) 555.01", "a"}, {"al 5", "b"}, {"55", "ba"}, {"nobody", ""}}) {
    const auto page = end(account.search(text));
    EXPECT_EQ(told(std::optional(page->contacts)), found) << text;
    EXPECT_EQ(page->total, std::ssize(found)) << text;
  }
  EXPECT_EQ(end(account.search("", {.offset = 1, .limit = 1}))->total, 2);
  EXPECT_EQ(told(*end(account.contact("b"))), "b");
  EXPECT_THAT(failureOf(account.contact("z")), StartsWith("com.quillfold 1004: "));
  EXPECT_EQ(end(account.plan())->size(), 0u);
  EXPECT_EQ(end(account.contacts())->size(), 2u);
}

}  // namespace
}  // namespace quillfold::testing
