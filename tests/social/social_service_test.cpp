// The join of follow lists with the contacts of the device.
#include "social/social_service.h"

#include <future>

#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

class SocialServiceTest : public SocialTest {
 protected:
  // Rows with these values under "contact_id"; empty for none.
  static QFPaginatedFollowListPtr listOf(const std::vector<std::string>& contactIds) {
    Array rows;
    for (const std::string& id : contactIds) {
      rows.emplace_back(object(id.empty() ? "{}" : R"({"contact_id":)" + id + "}"));
    }
    return QFPaginatedFollowList::initWithDictionary({{"data", rows}, {"total", 900}});
  }
  // The identifiers of the local contacts, "-" for none.
  static std::string locals(const QFPaginatedFollowListPtr& list) {
    std::vector<std::string> out;
    for (const auto& row : list->items()) {
      out.push_back(row->localContact() ? row->localContact()->identifier() : "-");
    }
    return fmt::format("({})", fmt::join(out, " "));
  }

  std::shared_ptr<QFSocialService> service = QFSocialService::initWithContactService(facade);
};

TEST_F(SocialServiceTest, JoinsAPageOfWhichSomeAreMissing) {
  addContact("a");
  addContact("b");
  const auto page = listOf({R"("b")", "", R"("gone")", R"("a")"})->toDictionary();
  EXPECT_EQ(end<QFPaginatedFollowListPtr>(
                200, *NSJSONSerialization::dataWithJSONObject(page),
                [&](auto done) { service->getFollowersWithUserId("u", 0, 200, done); },
                [](const auto& list) { return fmt::format("{} {}", locals(list), list->total()); }),
            "(b - - a) 900");
  // Three lines of the request, and one for the name that is not known.
  EXPECT_EQ(platform.log->lines().size(), 4u);
}

TEST_F(SocialServiceTest, JoiningLeavesTheInputAloneAndMayReleaseTheService) {
  addContact("b");
  addContact("5");
  const auto list = listOf({"", R"("b")", "null", "5", R"("gone")"});
  const std::weak_ptr<QFSocialService> watched = service;
  std::string joined;
  service->enrichWithLocalContacts(list, [&](const auto& enriched) {
    service.reset();
    joined += locals(enriched);
  });
  EXPECT_EQ(joined, "");
  platform.settle();
  EXPECT_EQ(joined, "(- b - 5 -)");
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(locals(list), "(- - - - -)");
  EXPECT_EQ(platform.log->lines(),
            (std::vector<std::string>{
                "Error fetching local contact for ID <null>: Failed to fetch contact",
                "Error fetching local contact for ID gone: Failed to fetch contact"}));
}

TEST_F(SocialServiceTest, JoiningEndsOnceWhateverStandsInTheWay) {
  addContact("b");
  const auto enriched = [this](const QFPaginatedFollowListPtr& list) {
    std::string ends;
    service->enrichWithLocalContacts(list, [&](const auto& result) {
      ends += result ? locals(result) : "null";
      if (FakePlatform::place() != Place::MainQueue) ends += " at once";
    });
    platform.settle();
    return ends;
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

TEST_F(SocialServiceTest, JoiningMayStartOnAnyThread) {
  addContact("b");
  std::atomic<int> ends = 0;
  const auto starter = std::async(std::launch::async, [&] {
    for (int round = 0; round < 100; ++round) {
      service->enrichWithLocalContacts(listOf({R"("b")", "", R"("b")"}), [&](const auto& list) {
        if (locals(list) == "(b - b)") ++ends;
      });
    }
  });
  while (starter.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
    platform.settle();
  platform.settle();
  EXPECT_EQ(ends, 100);
}

}  // namespace
}  // namespace quillfold::testing
