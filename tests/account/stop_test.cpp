// Stops at random moments of a run.
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

class Stops : public AccountTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  std::set<std::string> uploadedSince(std::size_t task) const {
    std::set<std::string> out;
    for (; task < platform.sessions->tasks.size(); ++task) {
      if (platform.sessions->tasks[task]->path() != kUploadPath) continue;
      const Value body = platform.sessions->tasks[task]->json();
      for (const Value& contact : *find(*body.asDictionary(), "contacts")->asArray())
        out.insert(*stringForKey(*contact.asDictionary(), "id"));
    }
    return out;
  }
};

TEST_P(Stops, LeaveATrueReportAndTheRestToTheNextRun) {
  constexpr int kPeople = 400;
  constexpr int kStops = 50;
  random.seed(GetParam());
  const auto account = openedAtRest();
  addPeople(kPeople);
  overrides = [](FakeTask& task) {
    return task.path() == kUploadPath && answered(task, R"({"data":{"processed_count":20}})");
  };
  std::set<std::int64_t> reached;
  for (int i = 0; i < kStops; ++i) {
    service->clearSyncInfoCache();
    std::stop_source stop;
    const auto sync = account.sync({.progress = {}, .stop = stop.get_token()});
    int stopAt = std::uniform_int_distribution(0, 330)(random);
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
    EXPECT_EQ(report->stopped, report->uploaded < kPeople);
    EXPECT_EQ(feed ? failureOf(*feed) : "", "");
    reached.insert(report->batches);

    const auto before = recorded();
    const auto task = platform.sessions->tasks.size();
    const auto rest = end(account.sync());
    EXPECT_EQ(rest->uploaded, kPeople - report->uploaded);
    const auto sent = uploadedSince(task);
    EXPECT_EQ(std::ssize(sent), kPeople - report->uploaded);
    EXPECT_TRUE(std::none_of(before.begin(), before.end(),
                             [&](const std::string& id) { return sent.contains(id); }));
    EXPECT_EQ(recorded().size(), 400u);
  }
  EXPECT_GE(reached.size(), 12u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Stops, ::testing::Values(1u, 2u, 3u, 4u));

}  // namespace
}  // namespace quillfold::testing
