// Stops at random moments of a run.
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

class Stops : public AccountTest, public ::testing::WithParamInterface<unsigned> {};

// Of a run of its own, or of one that the library has begun by itself.
TEST_P(Stops, LeaveATrueReportAndTheRestToTheNextRun) {
  constexpr int kPeople = 400;
  random.seed(GetParam());
  const auto account = openedAtRest();
  addPeople(kPeople);
  std::vector<std::string> sent;
  overrides = [&](FakeTask& task) {
    if (task.path() != kUploadPath) return false;
    const Value body = task.json();
    for (const Value& contact : *find(*body.asDictionary(), "contacts")->asArray())
      sent.push_back(*stringForKey(*contact.asDictionary(), "id"));
    return answered(task, R"({"data":{"processed_count":20}})");
  };
  std::set<std::int64_t> reached;
  for (int i = 0; i < 50; ++i) {
    sent.clear();
    service->clearSyncInfoCache();
    end(account.requestAccess());
    const bool waits = i % 2 == 0;
    if (waits) service->scheduleBackgroundSyncTask();
    std::stop_source stop;
    const auto sync = account.sync({.progress = {}, .stop = stop.get_token()});
    const int stopAt = std::uniform_int_distribution(0, 330)(random);
    const int askAt = std::uniform_int_distribution(0, stopAt)(random);
    std::optional<Operation<std::shared_ptr<QFPaginatedEventList>>> feed;
    for (int steps = 0; steps <= stopAt && !sync.isDone(); ++steps) {
      if (steps == askAt) feed.emplace(account.feed());
      step();
    }
    const bool underWay = service->syncInProgress();
    stop.request_stop();
    EXPECT_EQ(service->syncInProgress(), underWay);
    const auto report = end(sync);
    ASSERT_TRUE(report) << told(report.failure());
    EXPECT_FALSE(service->syncInProgress());
    EXPECT_EQ(report->uploaded, std::ssize(recorded()));
    EXPECT_EQ(report->uploaded, report->batches * 20);
    EXPECT_TRUE(report->stopped == (report->uploaded < kPeople) || (waits && report->stopped));
    EXPECT_EQ(feed ? failureOf(*feed) : "", "");
    reached.insert(report->batches);

    // What the backend has taken does not go up again.
    EXPECT_EQ(end(account.sync())->uploaded, kPeople - report->uploaded);
    std::sort(sent.begin(), sent.end());
    const auto all = recorded();
    EXPECT_EQ(sent, std::vector(all.begin(), all.end()));
    EXPECT_EQ(sent.size(), 400u);
  }
  EXPECT_GE(reached.size(), 12u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Stops, ::testing::Values(1u, 2u, 3u, 4u));

}  // namespace
}  // namespace quillfold::testing
