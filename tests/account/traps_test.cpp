// What a host of the services alone has to know in time, and one of an account need not.
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

using ::testing::AnyOf;
using ::testing::StartsWith;

class Traps : public AccountTest {
 protected:
  // The contacts that went up, by the user of the token and that of the source.
  std::map<std::string, std::set<std::string>> uploadsByUser() const {
    std::map<std::string, std::set<std::string>> out;
    for (const auto& task : platform.sessions->tasks) {
      if (task->path() != kUploadPath) continue;
      const Value body = task->json();
      for (const Value& contact : *find(*body.asDictionary(), "contacts")->asArray()) {
        out[task->header("Authorization").substr(7) + " " +
            *stringForKey(*contact.asDictionary(), "source_id")]
            .insert(*stringForKey(*contact.asDictionary(), "id"));
      }
    }
    return out;
  }
};

TEST_F(Traps, FacadeAndClientAreLinkedBeforeTheFirstRegistrationAndAskedForHealthBefore) {
  addPeople(3);
  QFContactService::checkHealthWithCompletion(nullptr);
  platform.settle();
  at(kRegistrationPath, [](FakeTask& task) {
    return answered(task, "duplicate key value violates unique constraint", 500);
  });
  const auto account = openedAtRest();
  EXPECT_TRUE(logged("Initial contact sync completed successfully"));
  EXPECT_EQ(uploadSizes(), "3 ");
  EXPECT_EQ(platform.sessions->last(kUploadPath)->header("Authorization"), "Bearer ann");
}

// Each account is closed a step later than the one before, then the next user comes.
TEST_F(Traps, EveryUserActsAsHimselfWhereverTheLastOneWasLeft) {
  addPeople(25);
  for (int steps = 0; steps < 60; ++steps) {
    {
      const auto account = opened(fmt::format("u{}", steps));
      // By `close` amid an operation, or by letting go of it.
      const bool closes = steps % 2 == 0;
      if (closes) static_cast<void>(account.feed());
      for (int i = 0; i < steps; ++i)
        step();
      if (closes) end(account.close());
    }
    const std::string next = fmt::format("v{}", steps);
    const auto account = opened(next);
    // Without what the last account has left under way.
    EXPECT_EQ(end(account.sync())->uploaded, 25) << steps;
    EXPECT_EQ(recorded().size(), 25u) << steps;
    EXPECT_EQ(stored(defaults_keys::kSourceId), "SRC-" + next);
  }
  const auto uploads = uploadsByUser();
  EXPECT_GE(uploads.size(), 60u + 20u);
  for (const auto& [userAndSource, contacts] : uploads) {
    const auto space = userAndSource.find(' ');
    EXPECT_EQ(userAndSource.substr(space), " SRC-" + userAndSource.substr(0, space));
    // Nothing that counts as sent went up under another.
    EXPECT_TRUE(userAndSource[0] == 'u' || contacts.size() == 25u) << userAndSource;
  }
}

TEST_F(Traps, ASecondSyncWaitsForWhoeverRuns) {
  addPeople(30);
  const auto account = openedAtRest();
  EXPECT_EQ(uploadSizes(), "20 10 ");
  // The run that began by itself is over, and the first report counts it in.
  EXPECT_EQ(end(account.sync())->uploaded, 30);
  EXPECT_EQ(end(account.sync())->uploaded, 0);
  for (const bool ofTheService : {false, true}) {
    service->clearSyncInfoCache();
    std::set<std::string> progress;
    // One that has only found another one under way is no run.
    const auto watching =
        account.onChange([](const AccountChange& change) { EXPECT_FALSE(change.failure); });
    const auto first = account.sync();
    if (ofTheService) service->scheduleBackgroundSyncTask();
    // Is told of to nobody.
    const auto plan = account.plan();
    const auto second = account.sync(
        {.progress =
             [&](const SyncProgress& p) {
               progress.insert(fmt::format("{} {} {} {}", p.read, p.toUpload, p.uploaded, p.batch));
             },
         .stop = {}});
    // Each of them counts the run that it has waited for.
    for (const auto* sync : {&first, &second}) {
      const auto report = end(*sync);
      ASSERT_TRUE(report) << told(report.failure());
      EXPECT_EQ(report->read, 30);
      EXPECT_EQ(report->uploaded, 30);
      EXPECT_EQ(report->batches, 2);
      EXPECT_TRUE(report->bytes > 1000 && report->bookkeepingWritten && !report->stopped);
      EXPECT_TRUE(report->seconds > 0 && report->seconds < 600);
    }
    EXPECT_THAT(progress, ::testing::ElementsAre("30 30 0 0", "30 30 20 1", "30 30 30 2"));
    EXPECT_LE(end(plan)->size(), 30u);
    platform.settle();
  }
  EXPECT_EQ(uploadSizes(), "20 10 20 10 20 10 ");
}

TEST_F(Traps, AStopReachesItsOwnRequestAloneAndTheGuardStaysUntilTheEnd) {
  const auto account = openedAtRest();
  addPeople(50);
  std::stop_source stop;
  for (const bool byOperation : {false, true}) {
    const auto mine = account.sync({.progress = {}, .stop = stop.get_token()});
    const auto beside = account.feed();
    // Its end while it waits is no other's.
    const auto waiting = account.sync();
    FakeTask* feed = nullptr;
    overrides = [&, batches = 0](FakeTask& task) mutable {
      if (task.path().find("/feed") != std::string::npos) return (feed = &task) != nullptr;
      if (task.path() != kUploadPath) return false;
      if (++batches == 1) waiting.cancel();
      if (batches == 1) return false;
      byOperation ? mine.cancel() : static_cast<void>(stop.request_stop());
      return service->syncInProgress();
    };
    const auto report = end(mine);
    overrides = {};
    ASSERT_TRUE(feed != nullptr && !feed->ended);
    feed->answer(200, "{}");
    ASSERT_TRUE(report) << told(report.failure());
    EXPECT_TRUE(report->stopped && !service->syncInProgress());
    EXPECT_EQ(report->uploaded, 20);
    EXPECT_TRUE(end(beside) && end(waiting)->stopped);
    stop = {};
  }
  EXPECT_EQ(recorded().size(), 40u);
  // Nor does it reach a run of the host's that it waits for.
  service->syncContacts({});
  FakeTask* upload = nullptr;
  at(kUploadPath, [&](FakeTask& task) { return stop.request_stop() && (upload = &task); });
  const auto report = end(account.sync({.stop = stop.get_token()}));
  EXPECT_TRUE(report->stopped && report->read == 50 && report->seconds > 0);
  ASSERT_TRUE(upload != nullptr && !upload->ended);
  upload->answer(200, R"({"data":{"processed_count":10}})");
  EXPECT_EQ(end(account.sync())->uploaded, 10);
  // The library goes on to begin runs by itself.
  service->clearSyncInfoCache();
  post(CNContactStoreDidChangeNotification);
  EXPECT_EQ(recorded().size(), 50u);
}

TEST_F(Traps, ARefusedTokenIsRenewedOnce) {
  addPeople(1);
  const auto account = openedAtRest();
  struct Refusal {
    std::int64_t status;
    const char* body;
    const char* end;
  };
  for (const Refusal& refusal :
       {Refusal{401, R"({"message":"no"})", "3: Server error 401: no"}, Refusal{401, "", "5: "},
        Refusal{403, "gone", "3: Server error 403: Raw response: gone"}, Refusal{403, "", "6: "},
        Refusal{500, "", "3: "}}) {
    for (const bool forGood : {false, true}) {
      const std::size_t renewals = refusal.status == 500 ? 0 : 1;
      const auto ends = [&](const auto& ask, bool fetches = false) {
        overrides = {};
        EXPECT_TRUE(end(account.feed()));
        if (fetches) QFAPIClient::sharedInstance()->setToken(std::nullopt);
        const auto before = platform.sessions->count(kTokenPath);
        overrides = [&, refusals = forGood ? 100 : 1](FakeTask& task) mutable {
          return task.path() != kTokenPath && refusals-- > 0 &&
                 answered(task, refusal.body, refusal.status);
        };
        const std::string failure = failureOf(ask());
        EXPECT_EQ(platform.sessions->count(kTokenPath) - before, renewals + fetches) << refusal.end;
        const bool succeeds = renewals == 1 && !forGood;
        EXPECT_THAT(failure,
                    StartsWith(succeeds ? "" : std::string("com.quillfold.api ") + refusal.end));
        EXPECT_EQ(failure.empty(), succeeds);
      };
      ends([&] { return account.feed(); });
      ends([&] { return account.feed(); }, true);
      ends([&] { return account.follow("bob"); });
      ends([&] { return account.followers(); });
      ends([&] { return account.sync(); });
      platform.settle();
    }
  }
}

TEST_F(Traps, OrganizationAndSourceAreNeverAnotherUsers) {
  addPeople(1);
  at("/user-info", [this](FakeTask& task) {
    const std::string user = task.header("Authorization").substr(7);
    EXPECT_THAT(stored(defaults_keys::kOrganizationId), AnyOf("(none)", "of " + user));
    EXPECT_THAT(stored(defaults_keys::kSourceId), AnyOf("(none)", "SRC-" + user));
    return answered(task, R"({"organization_id":"of )" + user + "\"}");
  });
  for (const std::string user : {"ann", "bob", "ann"}) {
    const auto account = openedAtRest(user);
    EXPECT_EQ(stored(defaults_keys::kOrganizationId), "of " + user);
    EXPECT_EQ(stored(defaults_keys::kSourceId), "SRC-" + user);
    EXPECT_EQ(stored(defaults_keys::kUserPhone), "(none)");
    platform.defaults->setObject("555", defaults_keys::kUserPhone);
  }
}

TEST_F(Traps, WhatCanNotBeIsRefusedByName) {
  using Change = std::function<void(AccountConfiguration&)>;
  for (const auto& [change, text] : std::vector<std::pair<Change, std::string>>{
           {[](auto& c) { c.batchSize = 0; }, "batchSize is not from 1 to 1000"},
           {[](auto& c) { c.batchSize = 1001; }, "batchSize is not from 1 to 1000"},
           {[](auto& c) { c.apiKey = ""; }, "apiKey is empty"},
           {[](auto& c) { c.user.id = ""; }, "user.id is empty"},
           {[](auto& c) { c.user.email = ""; }, "user has neither email nor phone"},
           // The service would go on with what it has of the last user.
           {[](auto& c) {
              c.user.metadata = Dictionary{{"k", Data("bytes")}};
            },
            "user.metadata can't be expressed as JSON"}}) {
    auto configuration = configured();
    change(configuration);
    EXPECT_EQ(failureOf(Account::open(configuration)), "com.quillfold.account 4: " + text);
  }
  EXPECT_TRUE(platform.sessions->tasks.empty());
  auto largest = configured();
  largest.batchSize = 1000;
  EXPECT_EQ(failureOf(Account::open(largest)), "");
}

}  // namespace
}  // namespace quillfold::testing
