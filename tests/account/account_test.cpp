// Opening, closing, letting go, and what an account tells.
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr const char* kClosed = "com.quillfold.account 3: The account is closed";

class AccountLife : public AccountTest {
 protected:
  std::vector<std::string> changes;
  AccountSubscription watch(const Account& account) {
    return account.onChange([this](const AccountChange& change) {
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
      if (change.kind == AccountChange::Kind::AddressBook) return changes.push_back("book");
      changes.push_back(fmt::format(
          "{}{}{}{}", change.report->uploaded, change.report->stopped ? " stopped" : "",
          change.report->bookkeepingWritten ? "" : " unwritten", change.failure ? " failed" : ""));
    });
  }
  template <typename T>
  void expectFailure(const Operation<T>& operation, const std::string& start) {
    EXPECT_THAT(failureOf(operation), StartsWith("com.quillfold" + start + ": "));
  }
};

TEST_F(AccountLife, OneIsOpenAtATimeAndAFailedOpenFreesThePlace) {
  at("/validate-key", [](auto& task) { return answered(task, R"({"message":"bad key"})", 400); });
  EXPECT_EQ(failureOf(Account::open(configured())),
            "com.quillfold.api 3: Server error 400: bad key");
  EXPECT_FALSE(service->token() || service->userInfo());
  overrides = {};
  const auto first = Account::open(configured());
  expectFailure(Account::open(configured("bob")), ".account 1");
  const Account account = *end(first);
  EXPECT_EQ(failureOf(Account::open(configured("bob"))),
            "com.quillfold.account 1: An account is open; close it before the next");
  EXPECT_EQ(account.user().id, "ann");
  // The failed one has left no second observer behind.
  const auto watching = watch(account);
  post(CNContactStoreDidChangeNotification);
  EXPECT_THAT(changes, ElementsAre("book", "0"));
}

// At every moment: with its first run told of, and the place free.
TEST_F(AccountLife, AnOpeningThatIsCancelledStopsWhatItHasBegun) {
  addPeople(60);
  std::set<std::size_t> reached;
  // One question is not answered: the opening's last, or one of the first run's.
  int asked = 0;
  at("user-info", [&](auto&) { return ++asked == 2; });
  for (int at = 0; at < 120; ++at) {
    service->clearSyncInfoCache();
    asked = 0;
    std::int64_t uploaded = 0;
    auto configuration = configured();
    configuration.onChange = [&](const AccountChange& change) {
      if (change.report) uploaded += change.report->uploaded;
      EXPECT_FALSE(change.failure);
    };
    const auto opening = Account::open(configuration);
    for (int steps = 0; steps < at; ++steps)
      step();
    opening.cancel();
    const auto account = end(opening);
    if (account) {
      EXPECT_EQ(failureOf(account->close()), "");
    } else {
      EXPECT_EQ(told(account.failure()),
                "com.quillfold.account 3: The account was closed while it opened");
    }
    EXPECT_TRUE(at > 0 || platform.sessions->tasks.empty());
    EXPECT_EQ(uploaded, std::ssize(recorded())) << at;
    EXPECT_FALSE(service->syncInProgress() || service->isInitialized());
    reached.insert(recorded().size());
  }
  EXPECT_EQ(reached, (std::set<std::size_t>{0, 20, 40, 60}));
}

TEST_F(AccountLife, CloseLetsAnotherBeOpenedThoughHandlesAreLeft) {
  addPeople(1);
  std::optional<Account> ann = openedAtRest();
  const auto watching = watch(*ann);
  FakeTask* late = nullptr;
  at("/follow", [&](FakeTask& task) { return (late = &task) != nullptr; });
  const auto follow = ann->follow("cleo");
  platform.settle();
  ASSERT_TRUE(late);
  EXPECT_EQ(failureOf(ann->close()), "");
  EXPECT_EQ(failureOf(ann->close()), "");
  late->answer(401, "");
  // Not asked for once more in the name of whoever comes next.
  EXPECT_EQ(failureOf(follow), kClosed);
  EXPECT_FALSE(ann->isOpen());
  const auto bob = openedAtRest("bob");
  post(CNContactStoreDidChangeNotification);
  EXPECT_THAT(changes, ElementsAre());
  EXPECT_EQ(failureOf(ann->close()), "");
  EXPECT_EQ(failureOf(ann->sync()), kClosed);
  EXPECT_EQ(failureOf(ann->search("")), kClosed);
  EXPECT_EQ(failureOf(bob.sync()), "");
  // Nor do the last handle or the closing stop what runs afterwards.
  ann.reset();
  service->clearSyncInfoCache();
  post(CNContactStoreDidChangeNotification);
  EXPECT_EQ(recorded().size(), 1u);
  EXPECT_EQ(failureOf(bob.close()), "");
  makeReady();
  service->clearSyncInfoCache();
  service->syncContacts(nullptr);
  platform.settle();
  EXPECT_EQ(recorded().size(), 1u);
}

// Stopped in its second batch, with a sync and perhaps another one that wait for it.
TEST_F(AccountLife, CloseAndStopsEndTheLibrarysRunsTooAndWaitForThem) {
  addPeople(60);
  for (const std::string how : {"close", "close sync", "stop sync", "stop sync other"}) {
    service->clearSyncInfoCache();
    const auto before = platform.sessions->count(kUploadPath);
    const auto account = opened();
    const auto watching = watch(account);
    std::stop_source stop;
    std::optional<Operation<SyncReport>> sync, other;
    if (how != "close") sync.emplace(account.sync({.progress = {}, .stop = stop.get_token()}));
    if (how.ends_with("other")) other.emplace(account.sync());
    at(kUploadPath, [&](auto&) { return platform.sessions->count(kUploadPath) == before + 2; });
    while (platform.sessions->count(kUploadPath) < before + 2 && step()) {
    }
    ASSERT_TRUE(service->syncInProgress());
    if (how.starts_with("close")) end(account.close());
    stop.request_stop();
    if (sync) {
      const auto report = end(*sync);
      ASSERT_TRUE(report) << told(report.failure());
      // What the run that it waited for has done.
      EXPECT_TRUE(report->stopped && report->uploaded == 20 && report->read == 60) << how;
    }
    EXPECT_TRUE(other || !service->syncInProgress());
    EXPECT_EQ(recorded().size(), 20u) << how;
    platform.settle();
    EXPECT_EQ(std::exchange(changes, {}), other ? std::vector<std::string>({"20 stopped", "40"})
                                                : std::vector<std::string>({"20 stopped"}))
        << how;
    EXPECT_EQ(other ? end(*other)->uploaded : 60, 60);
    EXPECT_EQ(recorded().size(), other ? 60u : 20u);
    EXPECT_EQ(platform.sessions->count(kUploadPath) - before, other ? 4u : 2u) << how;
  }
}

TEST_F(AccountLife, LettingGoLeavesTheWorkUnderWay) {
  addPeople(1);
  EXPECT_EQ(failureOf(openedAtRest().sync()), "");
  std::string feed;
  opened().feed().then([&](const Result<std::shared_ptr<QFPaginatedEventList>>& page) {
    feed = page ? std::to_string(page->get()->total()) : told(page.failure());
  });
  EXPECT_EQ(feed, "");
  platform.settle();
  EXPECT_EQ(feed, "7");
  // Over with the last of it.
  EXPECT_FALSE(service->isInitialized());
  EXPECT_EQ(failureOf(openedAtRest("bob").deferSync()), "");
  // It comes when nobody is there.
  platform.clock->seconds += 900;
  platform.scheduler->clockHasMoved();
  platform.settle();
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
  EXPECT_TRUE(report->uploaded == 40 && !report->bookkeepingWritten);
  // Nor is it written when there is nothing left to send.
  EXPECT_FALSE(end(account.sync())->bookkeepingWritten);
  platform.files->writeError = nullptr;
  // Its file is spoilt, and its new one doesn't reach the disk.
  platform.files->contents[service->syncInfoFilePath()] = "no archive";
  service->setSyncInfoCache(nullptr);
  platform.files->synchronizeError = NSError::errorWithDomain("D", 1);
  report = end(account.sync());
  EXPECT_TRUE(report->uploaded == 40 && !report->bookkeepingRead && !report->bookkeepingWritten);
  platform.files->synchronizeError = nullptr;
  // A failure in the second batch.
  service->clearSyncInfoCache();
  at(kUploadPath, [n = 0](auto& task) mutable { return ++n == 2 && answered(task, "", 500); });
  expectFailure(account.sync(), ".api 3");
  overrides = {};
  report = end(account.sync());
  EXPECT_TRUE(report->uploaded == 20 && report->bookkeepingRead && report->bookkeepingWritten);
  platform.files->throwOnWrite = true;
  service->saveSyncInfoCache();
  EXPECT_FALSE(end(account.sync())->bookkeepingWritten);
  platform.contacts->status = CNAuthorizationStatusDenied;
  platform.contacts->statusAfterRequest = CNAuthorizationStatusDenied;
  const std::size_t asked = platform.sessions->tasks.size();
  expectFailure(account.sync(), " 1006");
  platform.settle();
  EXPECT_EQ(platform.sessions->tasks.size(), asked);
  EXPECT_THAT(changes, ElementsAre("40 unwritten", "0 unwritten", "0 unwritten", "40 unwritten",
                                   "20 failed", "20", "0 unwritten", "0 unwritten failed"));
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
  for (const auto& [seconds, online, sizes] : std::vector<std::tuple<int, bool, std::string>>{
           {899, true, ""}, {900, false, ""}, {900, true, "3 "}}) {
    *platform.networkIsUp = online;
    platform.clock->seconds = 1'700'000'000 + seconds;
    platform.scheduler->clockHasMoved();
    platform.settle();
    EXPECT_EQ(uploadSizes(), sizes);
  }
  EXPECT_EQ(platform.sessions->last(kUploadPath)->header("Authorization"), "Bearer bob");
}

TEST_F(AccountLife, TheFirstUserKeepsTheFileAndTheOthersHaveTheirOwn) {
  const std::string usual = service->defaultSyncInfoFilePath();
  // A home from before there were accounts.
  platform.files->contents[usual] = "";
  platform.defaults->setObject("old", defaults_keys::kUserId);
  std::map<std::string, std::string> files;
  for (const char* user : {"ann", "old", "bob", "ann"}) {
    const std::string asked = Account::bookkeepingPath(user);
    const auto account = openedAtRest(user);
    const std::string path = service->syncInfoFilePath();
    EXPECT_EQ(path, asked);
    EXPECT_EQ(files.try_emplace(user, path).first->second, path);
  }
  EXPECT_EQ(files["old"], usual);
  EXPECT_EQ(files["ann"], usual.substr(0, usual.rfind('.')) + "-49915e0d7d4b402e.plist");
  EXPECT_NE(files["ann"], files["bob"]);
}

TEST_F(AccountLife, LooksForPeopleAsTheyAreTyped) {
  platform.contacts->add(MemoryContacts::person("a", "Ann", "+1 (212) 555-0199"));
  platform.contacts->add(MemoryContacts::person("b", "Al 555"));
  const auto account = openedAtRest();
  for (const auto& [text, found] :
       {std::pair("212-555", "a"), std::pair("(212) 555.019", "a"), std::pair("al 555", "b"),
        std::pair("5-55", "ba"), std::pair("5-5", "")}) {
    const auto page = end(account.search(text));
    EXPECT_EQ(told(std::optional(page->contacts)), found) << text;
    EXPECT_EQ(page->total, std::ssize(std::string_view(found))) << text;
  }
  EXPECT_EQ(end(account.search("", {.offset = 1, .limit = 1}))->total, 2);
  EXPECT_EQ(told(*end(account.contact("b"))), "b");
  expectFailure(account.contact("z"), " 1004");
  EXPECT_EQ(end(account.plan())->size(), 0u);
  EXPECT_EQ(end(account.contacts())->size(), 2u);
}

TEST_F(AccountLife, PassesOnHowTheServicesFail) {
  addPeople(2);
  const auto account = openedAtRest();
  overrides = [](FakeTask& task) { return answered(task, "[]"); };
  for (const auto& failure : {failureOf(account.follow("u")), failureOf(account.isFollowing("u"))})
    EXPECT_EQ(failure, "com.quillfold.api 8: The answer is empty");
  EXPECT_EQ(failureOf(account.search("", {.offset = -1, .limit = 5})),
            "NSRangeException 0: The page of 5 contacts from -1 on is no part of 2 contacts.");
  platform.contacts->exception = NSException(NSInvalidArgumentException, "broken");
  EXPECT_EQ(failureOf(account.search("")), "com.quillfold.search -1: broken");
  // None of that is the token's fault.
  EXPECT_EQ(QFAPIClient::sharedInstance()->token(), "ann");
  // Behind the back of an account.
  service->resetWithCompletion({});
  EXPECT_EQ(failureOf(account.feed()), kClosed);
  EXPECT_EQ(failureOf(account.peopleToInvite(1)), kClosed);
}

}  // namespace
}  // namespace quillfold::testing
