// Following and the lists of it.
#include "tests/backend/people_fixture.h"

namespace quillfold::backend {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PeopleTest, FollowsAndUnfollowsOnce) {
  join("bo");
  join("ann");
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

  join("eve");
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

TEST_F(PeopleTest, ListsFollowsAsTheClientReadsThem) {
  for (const char* user : {"cy", "dee"})
    join(user);
  join("bo", {{"fullName", "Bo"},
              {"avatarUrl", "https://bo"},
              {"metadata", {{"username", "bo"}, {"bio", "b"}, {"website", "w"}, {"age", 7}}}});
  join("ann");
  sync({contactWith("c1", {"bo@x.example"})});
  for (const char* follower : {"bo", "cy", "dee"}) {
    now = now + 1;
    follow(follower, "ann");
  }
  follow("bo", "cy");
  signIn("ann");
  EXPECT_EQ(social("followers?skip=3&limit=2"),
            json({{"total", 3}, {"skip", 3}, {"limit", 2}, {"data", json::array()}}));
  EXPECT_THAT(each(social("followers?skip=1&limit=1")["data"], "/user_id"), ElementsAre("cy"));
  follow("bo");
  const json page = social("followers");
  EXPECT_EQ(asRead<QFPaginatedFollowList>(page), page) << "The client knows every member.";
  EXPECT_THAT(each(page["data"], "/follower_id"), ElementsAre("dee", "cy", "bo"));
  json row = page["data"][2];
  EXPECT_FALSE(page["data"][1].contains("contact_id")) << "A null would be looked up.";
  for (const char* person : {"follower", "followed", "id"})
    row.erase(person);
  EXPECT_EQ(row, json({{"follower_id", "bo"},
                       {"followed_id", "ann"},
                       {"user_id", "bo"},
                       {"displayName", "Bo"},
                       {"photoURL", "https://bo"},
                       {"username", "bo"},
                       {"bio", "b"},
                       {"website", "w"},
                       {"created_at", "2023-11-14T22:13:21.250Z"},
                       {"is_following", true},
                       {"contact_id", "c1"}}));
  EXPECT_THAT(each(social("following?user_id=bo")["data"], "/followed/full_name"),
              testing::UnorderedElementsAre("ann", "cy"));
  const json mutual = social("mutual-follows");
  EXPECT_THAT(each(mutual["data"], "/organization_user_id"), ElementsAre("bo"));
  EXPECT_EQ(mutual["total"], 1);
  EXPECT_EQ(mutual["data"][0]["contact_metadata"]["age"], 7);
  EXPECT_THAT(mutual["data"][0]["created_at"], "2023-11-14T22:13:20.250Z");
  signIn("dee");
  EXPECT_THAT(social("mutual-follows")["data"], IsEmpty());
  EXPECT_EQ(social("followers?skip=-1")["detail"][0]["loc"], json({"query", "skip"}));
}

}  // namespace
}  // namespace quillfold::backend
