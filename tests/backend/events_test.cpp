// Events and their lists.
#include "backend/identifiers.h"
#include "tests/backend/people_fixture.h"

namespace quillfold::backend {
namespace {

using testing::ElementsAre;

constexpr const char* kEvents = "/api/v1/social/events";

json eventRequest(const std::string& title = "T") {
  return {{"event_type", "party"}, {"title", title}, {"is_public", true}};
}

class EventsTest : public PeopleTest {
 protected:
  std::string create(const json& request) {
    const Reply reply = post(kEvents, request);
    EXPECT_EQ(reply.status, 200) << reply.text;
    return reply.body()["data"]["event_id"].get<std::string>();
  }
  static std::string at(const std::string& id) { return std::string(kEvents) + "/" + id; }
  std::vector<std::string> titles(const std::string& list) {
    return each(social(list)["data"], "/title");
  }
};

TEST(IsoTimeTest, TakesOnlyRealTimes) {
  const std::map<std::string, std::optional<double>> times = {
      {"2024-03-05T07:08:09.123Z", 1709622489.123},
      {"2024-03-05T07:08:09Z", 1709622489},
      {"2024-02-29T01:30:00.5+02:00", 1709163000.5},
      {"1969-12-31T23:59:59.750-00:00", -0.25},
      {"2023-02-29T00:00:00Z", std::nullopt},
      {"2024-13-01T00:00:00Z", std::nullopt},
      {"2024-03-05T24:00:00Z", std::nullopt},
      {"2024-03-05T07:08:60Z", std::nullopt},
      {"2024-03-05T07:08:09+24:00", std::nullopt},
      {"2024-03-05T07:08:09", std::nullopt},
      {"2024-03-05", std::nullopt},
      {"tomorrow", std::nullopt}};
  for (const auto& [text, seconds] : times) {
    ASSERT_EQ(parseIsoTime(text).has_value(), seconds.has_value()) << text;
    if (!seconds) continue;
    EXPECT_DOUBLE_EQ(*parseIsoTime(text), *seconds) << text;
    EXPECT_EQ(parseIsoTime(isoTime(*seconds)), seconds) << text;
  }
}

TEST_F(EventsTest, KeepsWhatTheClientMakes) {
  join("ann", {{"fullName", "Ann"}, {"avatarUrl", "https://ann"}});
  json full = eventRequest();
  full.update({{"description", "d"},
               {"location", "l"},
               {"start_time", "2024-03-05T09:08:09.123+02:00"},
               {"end_time", "2024-03-05T07:08:09.123Z"},
               {"metadata", {{"any", {1, nullptr}}}}});
  const std::string id = create(full);
  const json stored = get(at(id)).body()["data"];
  EXPECT_EQ(asRead<QFSocialEvent>(stored), stored) << "The client knows every member.";
  json expected = full;
  expected.update({{"start_time", "2024-03-05T07:08:09.123Z"},
                   {"id", id},
                   {"organization_id", organization()},
                   {"canonical_contact_id", "ann"},
                   {"user_id", "ann"},
                   {"created_at", "2023-11-14T22:13:20.250Z"},
                   {"updated_at", "2023-11-14T22:13:20.250Z"},
                   {"created_by", {{"name", "Ann"}, {"avatar_url", "https://ann"}}}});
  EXPECT_EQ(stored, expected);

  now = now + 1;
  EXPECT_EQ(put(at(id), json::object()).body()["data"]["updated"], false);
  EXPECT_EQ(get(at(id)).body()["data"], expected);
  const json updated = put(at(id), {{"is_public", false}, {"location", nullptr}}).body()["data"];
  EXPECT_TRUE(updated["updated"] == true && updated["success"] == true);
  expected["is_public"] = false;
  expected.erase("location");
  expected["updated_at"] = "2023-11-14T22:13:21.250Z";
  EXPECT_EQ(get(at(id)).body()["data"], expected);

  EXPECT_EQ(remove(at(id)).body()["data"]["deleted"], true);
  for (const Reply& reply : {get(at(id)), remove(at(id)), put(at(id), json::object())})
    EXPECT_EQ(reply.body()["message"], "Event not found") << reply.status;
}

TEST_F(EventsTest, RefusesWhatIsWrongOrSomeoneElses) {
  join("ann");
  json full = eventRequest();
  full["start_time"] = "2024-03-05T07:08:09Z";
  expectRefused(kEvents, full, "",
                {{"value_error.missing", {"/title", "/event_type", "/is_public"}},
                 {"value_error.datetime", {"/start_time=\"2024-02-30T00:00:00Z\"", "/end_time=7"}},
                 {"value_error.datetime.order", {"/end_time=\"2024-03-05T07:08:08Z\""}},
                 {"type_error.dict", {"/metadata=[]"}},
                 {"value_error.extra", {"/id=\"x\""}}});
  EXPECT_EQ(social("events")["total"], 0);
  const std::string open = create(full);
  const std::string secret = create(changed(full, "/is_public", "false"));
  for (const json& bad : {json({{"end_time", "2024-03-05T07:08:08Z"}}), json({{"title", ""}}),
                          json({{"event_type", "x"}})}) {
    EXPECT_EQ(put(at(open), bad).status, 422) << bad;
  }

  join("bo");
  EXPECT_EQ(get(at(open)).status, 200);
  for (const Reply& reply : {get(at(secret)), put(at(open), {{"title", "mine"}}), remove(at(open))})
    EXPECT_EQ(reply.status, 403) << reply.text;
  EXPECT_EQ(get(at(open)).body()["data"]["title"], "T");
  EXPECT_EQ(social("events?user_id=ann")["total"], 1);
  post(kKeyPath, keyRequest("other"));
  EXPECT_EQ(get(at(open)).status, 404);
}

TEST_F(EventsTest, FillsTheFeeds) {
  const auto addThree = [&](const std::string& user) {
    join(user);
    now = now + 1;
    json later = eventRequest(user + " later");
    later["start_time"] = isoTime(now + 1000);
    json running = eventRequest(user + " running");
    running.update({{"start_time", isoTime(now - 500)}, {"end_time", isoTime(now + 500)}});
    json over = eventRequest(user + " over");
    over.update({{"start_time", isoTime(now - 500)}, {"is_public", false}});
    for (const json& event : {later, running, over}) {
      create(event);
      now = now + 1;
    }
  };
  for (const char* user : {"dee", "cy", "bo", "ann"})
    addThree(user);
  sync({contactWith("c", {"shared@x.example"})});
  signIn("dee");
  sync({contactWith("c", {"shared@x.example"})});
  follow("ann", "bo");

  EXPECT_THAT(titles("events"), ElementsAre("ann over", "ann running", "ann later"));
  EXPECT_THAT(titles("events?user_id=bo"), ElementsAre("bo running", "bo later"));
  EXPECT_THAT(titles("feed"),
              ElementsAre("ann over", "ann running", "ann later", "bo running", "bo later"));
  EXPECT_THAT(titles("feed?skip=3&limit=1"), ElementsAre("bo running"));
  EXPECT_THAT(titles("upcoming-events"),
              ElementsAre("bo running", "ann running", "bo later", "ann later"));
  EXPECT_THAT(titles("for-you"), ElementsAre("dee running", "dee later", "cy running", "cy later"))
      << "Who shares contacts goes first.";
  now = now + 600;
  EXPECT_THAT(titles("upcoming-events"), ElementsAre("bo later", "ann later"));
  const json page = social("for-you?limit=2");
  EXPECT_EQ(asRead<QFPaginatedEventList>(page), page);
  EXPECT_EQ(page["total"], 4);
}

}  // namespace
}  // namespace quillfold::backend
