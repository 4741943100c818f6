// The join of follow lists with the contacts of the device.
#include <thread>

#include "platform/error.h"
#include "social/social_service.h"
#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

class EnrichmentTest : public SocialTest {
 protected:
  // Rows with these values under "contact_id"; empty for none.
  static QFPaginatedFollowListPtr listOf(const std::vector<std::string>& contactIds) {
    std::vector<std::string> rows;
    for (const std::string& id : contactIds) {
      rows.push_back(fmt::format(R"({{"id":"row{}"{}{}}})", rows.size(),
                                 id.empty() ? "" : R"(,"contact_id":)", id));
    }
    return QFPaginatedFollowList::initWithDictionary(
        object(fmt::format(R"({{"data":[{}],"total":900}})", fmt::join(rows, ","))));
  }

  // The identifiers of the local contacts, "-" for none.
  static std::string locals(const QFPaginatedFollowListPtr& list) {
    std::vector<std::string> out;
    for (const auto& row : list->items()) {
      out.push_back(row->localContact() ? row->localContact()->identifier() : "-");
    }
    return fmt::format("{}", fmt::join(out, " "));
  }

  void addContacts(const std::vector<std::string>& identifiers) {
    for (const auto& id : identifiers)
      platform.contacts->add(MemoryContacts::person(id, "N" + id));
  }

  std::shared_ptr<QFSocialService> service = QFSocialService::initWithContactService(facade);
};

TEST_F(EnrichmentTest, JoinsAPageOf200RowsOfWhichSomeAreMissing) {
  std::vector<std::string> rows, expected;
  for (int i = 0; i < 200; ++i) {
    const bool known = i % 3 != 0;
    if (known) addContacts({fmt::format("c{}", i)});
    // Every tenth row names nobody.
    rows.push_back(i % 10 == 0 ? "" : fmt::format(R"("c{}")", i));
    expected.push_back(known && i % 10 != 0 ? fmt::format("c{}", i) : "-");
  }
  status = 200;
  body = *NSJSONSerialization::dataWithJSONObject(listOf(rows)->toDictionary());
  std::vector<QFPaginatedFollowListPtr> lists;
  service->getFollowersWithUserId("u", 0, 200, [&](const auto& list, const ErrorPtr& error) {
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
    lists.push_back(list);
  });
  platform.settle();
  ASSERT_EQ(lists.size(), 1u);
  EXPECT_EQ(locals(lists[0]), fmt::format("{}", fmt::join(expected, " ")));
  EXPECT_EQ(lists[0]->items()[199]->identifier().string(), "row199");
  EXPECT_EQ(lists[0]->total(), 900);
  // One lookup for each row with an identifier, one line for each that failed.
  const auto logged = platform.log->lines();
  EXPECT_EQ(std::count_if(logged.begin(), logged.end(),
                          [](const auto& line) { return line.starts_with("Error fetching"); }),
            60);
}

TEST_F(EnrichmentTest, LeavesTheInputAloneAndTellsNullFromAbsent) {
  addContacts({"b", "5"});
  const auto list = listOf({"", R"("b")", "null", "5", R"("gone")"});
  const auto before = list->toDictionary();
  std::string joined;
  service->enrichWithLocalContacts(list, [&](const auto& enriched) { joined += locals(enriched); });
  EXPECT_EQ(joined, "");
  platform.settle();
  EXPECT_EQ(joined, "- b - 5 -");
  EXPECT_EQ(locals(list), "- - - - -");
  EXPECT_EQ(list->toDictionary(), before);
  EXPECT_EQ(platform.log->lines(),
            (std::vector<std::string>{
                "Error fetching local contact for ID <null>: Failed to fetch contact",
                "Error fetching local contact for ID gone: Failed to fetch contact"}));
}

TEST_F(EnrichmentTest, EndsOnceWhateverStandsInTheWay) {
  addContacts({"b"});
  const auto enriched = [this](const QFPaginatedFollowListPtr& list) {
    std::vector<std::string> ends;
    service->enrichWithLocalContacts(list, [&](const auto& result) {
      ends.push_back(result ? fmt::format("({})", locals(result)) : "null");
      if (FakePlatform::place() != Place::MainQueue) ends.back() += " at once";
    });
    platform.settle();
    return fmt::format("{}", fmt::join(ends, " and "));
  };
  EXPECT_EQ(enriched(listOf({})), "()");
  EXPECT_EQ(enriched(listOf({"", ""})), "(- -)");
  EXPECT_EQ(enriched(nullptr), "null");
  EXPECT_TRUE(platform.log->lines().empty());
  // Lookups that fail before they return.
  platform.contacts->status = CNAuthorizationStatusDenied;
  EXPECT_EQ(enriched(listOf({R"("b")", R"("b")"})), "(- -)");
  EXPECT_EQ(platform.log->count("Error fetching local contact for ID b: Contacts access denied. "
                                "Please allow access in Settings."),
            2u);
  service = QFSocialService::initWithContactService(nullptr);
  EXPECT_EQ(enriched(listOf({R"("b")"})), "(-) at once");
  EXPECT_TRUE(platform.log->contains(
      "ContactService not initialized, returning list without local contacts"));
}

TEST_F(EnrichmentTest, OutlivesTheServiceAndItsCallback) {
  addContacts({"b"});
  const std::weak_ptr<QFSocialService> watched = service;
  std::string joined;
  service->enrichWithLocalContacts(listOf({R"("b")"}), [&](const auto& enriched) {
    service.reset();
    joined += locals(enriched);
  });
  platform.settle();
  EXPECT_EQ(joined, "b");
  EXPECT_TRUE(watched.expired());
}

TEST_F(EnrichmentTest, MayStartOnSeveralThreads) {
  addContacts({"b"});
  std::atomic<int> ends = 0;
  std::atomic<int> running = 4;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 25; ++round) {
        service->enrichWithLocalContacts(listOf({R"("b")", "", R"("b")"}), [&](const auto& list) {
          if (locals(list) == "b - b") ++ends;
        });
      }
      --running;
    });
  }
  while (running > 0)
    platform.settle();
  for (auto& thread : threads)
    thread.join();
  platform.settle();
  EXPECT_EQ(ends, 100);
}

}  // namespace
}  // namespace quillfold::testing
