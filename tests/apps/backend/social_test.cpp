// Follows, events and their lists, as the client's own records read them.
#include "apps/backend/identifiers.h"
#include "foundation/json.h"
#include "social/social_records.h"
#include "tests/apps/backend/backend_fixture.h"

namespace quillfold::backend {
namespace {

using ::testing::ElementsAre;

constexpr const char* kEvents = "/api/v1/social/events";

// What the client's record makes of an answer, as JSON again.
template <typename Record>
json asRead(const json& answer) {
  const auto decoded = NSJSONSerialization::JSONObjectWithData(answer.dump());
  const auto record = Record::initWithDictionary(*decoded->asDictionary());
  return json::parse(*NSJSONSerialization::dataWithJSONObject(record->toDictionary()));
}

class SocialTest : public BackendTest {
 protected:
  json social(const std::string& path) { return get("/api/v1/social/" + path).body(); }
  std::vector<std::string> titles(const std::string& path) {
    return each("/title", "social/" + path);
  }
  Reply follow(const std::string& user) {
    return post("/api/v1/social/follow", {{"user_id", user}});
  }
  std::string create(const json& request) {
    return post(kEvents, request).body()["data"]["event_id"].get<std::string>();
  }
  static std::string at(const std::string& id) { return std::string(kEvents) + "/" + id; }
};

TEST_F(SocialTest, FollowsAndUnfollowsOnce) {
  signIn("bo");
  signIn("ann");
  const auto answers = [&](const char* key, bool value, const Reply& reply) {
    EXPECT_EQ(reply.status, 200) << reply.text;
    EXPECT_EQ(reply.body()["status"], "success");
    EXPECT_EQ(reply.body()["data"][key], value) << key;
  };
  answers("is_following", false, get("/api/v1/social/is-following/bo"));
  answers("already_following", false, follow("bo"));
  answers("already_following", true, follow("bo"));
  answers("is_following", true, get("/api/v1/social/is-following/bo"));
  EXPECT_EQ(social("following")["total"], 1);
  answers("was_following", true, remove("/api/v1/social/unfollow/bo"));
  answers("was_following", false, remove("/api/v1/social/unfollow/bo"));
  answers("success", true, follow("bo"));

  signIn("eve");
  post(kKeyPath, keyRequest("other"));
  signIn("ann");
  EXPECT_EQ(follow("ann").status, 400);
  expectRefused("/api/v1/social/follow", {{"user_id", "bo"}}, "",
                {{"value_error.missing", {"/user_id"}}, {"value_error.extra", {"/name=\"x\""}}});
  for (const std::string user : {"nobody", "eve"}) {
    EXPECT_EQ(follow(user).status, 404) << user;
    EXPECT_EQ(remove("/api/v1/social/unfollow/" + user).status, 404);
    for (const char* path : {"is-following/", "followers?user_id=", "events?user_id="})
      EXPECT_EQ(social(path + user)["message"], "User not found") << path;
  }
}

TEST_F(SocialTest, ListsFollowsAsTheClientReadsThem) {
  signIn("ann");
  sync({contactWith("c1", "bo@x.example")});
  const json info = json::parse(R"({"fullName": "Bo", "avatarUrl": "https://bo",
    "email": "bo@x.example",
    "metadata": {"username": "bo", "bio": "b", "website": "w", "age": 7}})");
  for (const char* follower : {"bo", "cy", "dee"}) {
    signIn(follower, follower == std::string("bo") ? info : json());
    now = now + 1;
    EXPECT_EQ(follow("ann").status, 200);
  }
  EXPECT_EQ(follow("bo").status, 200);
  signIn("ann");
  EXPECT_EQ(social("followers?skip=3&limit=2"),
            json({{"total", 3}, {"skip", 3}, {"limit", 2}, {"data", json::array()}}));
  EXPECT_THAT(each("/user_id", "social/followers?skip=1&limit=1"), ElementsAre("cy"));
  follow("bo");
  const json page = social("followers");
  EXPECT_EQ(asRead<QFPaginatedFollowList>(page), page) << "The client knows every member.";
  EXPECT_THAT(each("/follower_id", "social/followers"), ElementsAre("dee", "cy", "bo"));
  json row = page["data"][2];
  EXPECT_FALSE(page["data"][1].contains("contact_id")) << "A null would be looked up.";
  for (const char* person : {"follower", "followed", "id"})
    row.erase(person);
  EXPECT_EQ(row, json::parse(R"({"follower_id": "bo", "followed_id": "ann", "user_id": "bo",
    "displayName": "Bo", "photoURL": "https://bo", "username": "bo", "bio": "b", "website": "w",
    "created_at": "2023-11-14T22:13:21.250Z", "is_following": true, "contact_id": "c1"})"));
  EXPECT_THAT(each("/followed/full_name", "social/following?user_id=dee"),
              ElementsAre("ann", "Bo"));
  const json mutual = social("mutual-follows");
  EXPECT_THAT(each("/organization_user_id", "social/mutual-follows"), ElementsAre("bo"));
  EXPECT_EQ(mutual["total"], 1);
  EXPECT_EQ(mutual["data"][0]["contact_metadata"], info["metadata"]);
  EXPECT_EQ(mutual["data"][0]["created_at"], "2023-11-14T22:13:20.250Z");
  EXPECT_EQ(social("followers?skip=-1")["detail"][0]["loc"], json({"query", "skip"}));
}

json eventRequest(const std::string& title = "T") {
  return {{"event_type", "party"}, {"title", title}, {"is_public", true}};
}

TEST(IsoTimeTest, TakesOnlyRealTimes) {
  const std::map<std::string, double> real = {{"2024-03-05T07:08:09.123Z", 1709622489.123},
                                              {"2024-03-05T07:08:09Z", 1709622489},
                                              {"2024-02-29T01:30:00.5+02:00", 1709163000.5},
                                              {"1969-12-31T23:59:59.750-00:00", -0.25}};
  for (const auto& [text, seconds] : real) {
    EXPECT_DOUBLE_EQ(parseIsoTime(text).value_or(0), seconds) << text;
    EXPECT_EQ(parseIsoTime(isoTime(seconds)), seconds) << text;
  }
  for (const char* text :
       {"2023-02-29T00:00:00Z", "2024-13-01T00:00:00Z", "2024-03-05T24:00:00Z",
        "2024-03-05T07:08:60Z", "2024-03-05T07:08:09+24:00", "2024-03-05T07:08:09", "2024-03-05"}) {
    EXPECT_EQ(parseIsoTime(text), std::nullopt) << text;
  }
}

TEST_F(SocialTest, KeepsWhatTheClientMakes) {
  signIn("ann", {{"fullName", "Ann"}, {"avatarUrl", "https://ann"}});
  json full = json::parse(R"({"event_type": "party", "title": "T", "is_public": true,
    "description": "d", "location": "l", "start_time": "2024-03-05T09:08:09.123+02:00",
    "end_time": "2024-03-05T07:08:09.123Z", "metadata": {"any": [1, null]}})");
  const std::string id = create(full);
  const json stored = get(at(id)).body()["data"];
  EXPECT_EQ(asRead<QFSocialEvent>(stored), stored) << "The client knows every member.";
  json expected = full;
  expected.update(json::parse(R"({"start_time": "2024-03-05T07:08:09.123Z", "user_id": "ann",
    "canonical_contact_id": "ann", "created_at": "2023-11-14T22:13:20.250Z",
    "updated_at": "2023-11-14T22:13:20.250Z",
    "created_by": {"name": "Ann", "avatar_url": "https://ann"}})"));
  expected.update({{"id", id}, {"organization_id", organization()}});
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

TEST_F(SocialTest, RefusesWhatIsWrongOrSomeoneElses) {
  signIn("ann");
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

  signIn("bo");
  EXPECT_EQ(get(at(open)).status, 200);
  for (const Reply& reply : {get(at(secret)), put(at(open), {{"title", "mine"}}), remove(at(open))})
    EXPECT_EQ(reply.status, 403) << reply.text;
  EXPECT_EQ(get(at(open)).body()["data"]["title"], "T");
  EXPECT_EQ(social("events?user_id=ann")["total"], 1);
  // Nothing of it is left in another organization, not even for its owner.
  for (const char* user : {"bo", "ann"}) {
    signIn(user);
    post(kKeyPath, keyRequest("other"));
    for (const Reply& reply : {get(at(open)), put(at(open), json::object()), remove(at(open))})
      EXPECT_EQ(reply.status, 404) << reply.text;
  }
}

TEST_F(SocialTest, FillsTheFeeds) {
  const auto addThree = [&](const std::string& user) {
    signIn(user);
    now = now + 1;
    json later = eventRequest(user + " later");
    json running = eventRequest(user + " running");
    json over = eventRequest(user + " over");
    later["start_time"] = isoTime(now + 1000);
    running["start_time"] = over["start_time"] = isoTime(now - 500);
    running["end_time"] = isoTime(now + 500);
    over["is_public"] = false;
    for (const json& event : {later, running, over}) {
      create(event);
      now = now + 1;
    }
  };
  for (const char* user : {"dee", "cy", "bo", "ann"})
    addThree(user);
  for (const char* user : {"dee", "ann"}) {
    signIn(user);
    sync({contactWith("c", "shared@x.example")});
  }
  follow("bo");

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
