// What each call of the social service sends, what it makes of each answer, and
// the join of follow lists with the contacts of the device.
#include "social/social_service.h"

#include <thread>

#include "tests/social/social_fixture.h"

namespace quillfold::testing {
namespace {

std::string shown(const QFPaginatedMutualFollowers& list) {
  return fmt::format("{} people of {}", list.items().size(), list.total());
}
template <typename Record>
std::string shown(const Record& record) {
  return description(record.toDictionary());
}

class SocialServiceTest : public SocialTest {
 protected:
  // What the call sends, and its ends with every answer. A list is taken as it is,
  // envelope and all.
  template <typename Record, typename Start>
  void check(const std::string& request, const std::string& ofObject, Start start,
             const std::string& ofArray = "nothing", bool isList = false) {
    SCOPED_TRACE(request);
    const auto ends = [&](std::int64_t answer, std::string text) {
      return end<std::shared_ptr<Record>>(answer, std::move(text), start,
                                          [](const auto& record) { return shown(*record); });
    };
    const std::string content = R"({"message":"M","success":true,"total":3})";
    EXPECT_EQ(ends(200, content), ofObject);
    EXPECT_EQ(lastRequest("/api/v1/social/"), request);
    EXPECT_EQ(ends(200, "[1]"), ofArray);
    const std::string wrapped = R"({"status":"error","total":3,"data":)";
    EXPECT_EQ(ends(200, wrapped + (isList ? "7}" : content + "}")), ofObject);
    EXPECT_EQ(ends(200, wrapped + "null}"), isList ? ofObject : "nothing");
    EXPECT_EQ(ends(200, "plain"), std::string(isList ? kUnreadable : "nothing"));
    EXPECT_EQ(ends(204, ""), kUnreadable);
    EXPECT_THAT(ends(500, R"({"message":"down"})"), ::testing::EndsWith("down"));
  }
  template <typename List, typename Start>
  void checkList(const std::string& request, const std::string& ofArray, Start start,
                 const char* ofObject = "{data: [], limit: 0, skip: 0, total: 3}") {
    check<List>("GET " + request + " Bearer T <null>", ofObject, start, ofArray, true);
  }

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

TEST_F(SocialServiceTest, EveryAnswerOfTheFollowGraph) {
  using Action = QFFollowActionResponse;
  using Rows = QFPaginatedFollowList;
  const char* const action =
      R"({already_following: false, message: "M", success: true, was_following: false})";
  const char* const invalid = "QFSocialService 1001 Invalid response format";
  check<Action>(R"(POST follow Bearer T {user_id: "a/b"})", action,
                [&](auto done) { service->followUser("a/b", done); });
  check<Action>("DELETE unfollow/a/b Bearer T <null>", action,
                [&](auto done) { service->unfollowUser("a/b", done); });
  check<QFFollowStatusResponse>("GET is-following/a Bearer T <null>", "{is_following: false}",
                                [&](auto done) { service->isFollowingUser("a", done); });
  checkList<Rows>("followers?limit=0&skip=-1", invalid,
                  [&](auto done) { service->getFollowersWithUserId({}, -1, 0, done); });
  checkList<Rows>("following?limit=20&skip=5&user_id=u", invalid,
                  [&](auto done) { service->getFollowingWithUserId("u", 5, 20, done); });
  checkList<QFPaginatedMutualFollowers>(
      "mutual-follows?limit=20&skip=5", invalid,
      [&](auto done) { service->getMutualFollowsWithSkip(5, 20, done); }, "0 people of 3");
  service->getFollowersWithUserId({}, 0, 1, {});
  platform.settle();
}

TEST_F(SocialServiceTest, EveryAnswerOfTheEvents) {
  using Action = QFEventActionResponse;
  using Events = QFPaginatedEventList;
  const char* const action =
      R"({created: false, deleted: false, message: "M", success: true, updated: false})";
  const auto create = QFCreateEventRequest::initWithEventType("E", "T", {}, {}, {}, {}, {}, false);
  const auto update = QFUpdateEventRequest::init();
  update->setIsPublic(false);
  check<Action>("PUT events/e Bearer T {is_public: false}", action,
                [&](auto done) { service->updateEvent("e", update, done); });
  check<Action>(R"(POST events Bearer T {event_type: "E", is_public: false, title: "T"})", action,
                [&](auto done) { service->createEvent(create, done); });
  check<QFSocialEvent>("GET events/e Bearer T <null>", "{is_public: false}",
                       [&](auto done) { service->getEvent("e", done); });
  check<Action>("DELETE events/e Bearer T <null>", action,
                [&](auto done) { service->deleteEvent("e", done); });
  checkList<Events>("events?limit=2&skip=1&user_id=u", "nothing",
                    [&](auto done) { service->getUserEventsWithUserId("u", 1, 2, done); });
  checkList<Events>("events?limit=2&skip=1", "nothing",
                    [&](auto done) { service->getUserEventsWithUserId({}, 1, 2, done); });
  checkList<Events>("feed?limit=2&skip=1", "nothing",
                    [&](auto done) { service->getFeedWithSkip(1, 2, done); });
  checkList<Events>("upcoming-events?limit=2&skip=1", "nothing",
                    [&](auto done) { service->getUpcomingEventsWithSkip(1, 2, done); });
  checkList<Events>("for-you?limit=2&skip=1", "nothing",
                    [&](auto done) { service->getForYouFeedWithSkip(1, 2, done); });
}

TEST_F(SocialServiceTest, JoinsAPageOf200RowsOfWhichSomeAreMissing) {
  std::vector<std::string> rows, expected;
  for (int i = 0; i < 200; ++i) {
    const std::string id = fmt::format("c{}", i);
    const bool known = i % 3 != 0, named = i % 10 != 0;
    if (known) addContact(id);
    rows.push_back(named ? "\"" + id + "\"" : "");
    expected.push_back(known && named ? id : "-");
  }
  const std::string page = *NSJSONSerialization::dataWithJSONObject(listOf(rows)->toDictionary());
  EXPECT_EQ(end<QFPaginatedFollowListPtr>(
                200, page, [&](auto done) { service->getFollowersWithUserId("u", 0, 200, done); },
                [](const auto& list) { return fmt::format("{} {}", locals(list), list->total()); }),
            fmt::format("({}) 900", fmt::join(expected, " ")));
  // Three lines of the request, and one for each of the names that are not known.
  EXPECT_EQ(platform.log->lines().size(), 63u);
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
  std::atomic<bool> running = true;
  std::thread starter([&] {
    for (int round = 0; round < 100; ++round) {
      service->enrichWithLocalContacts(listOf({R"("b")", "", R"("b")"}), [&](const auto& list) {
        if (locals(list) == "(b - b)") ++ends;
      });
    }
    running = false;
  });
  for (; running; platform.settle()) {
  }
  starter.join();
  platform.settle();
  EXPECT_EQ(ends, 100);
}

}  // namespace
}  // namespace quillfold::testing
