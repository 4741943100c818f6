// Tokens, keys, the user, and whom the backend refuses.
#include "tests/apps/backend/backend_fixture.h"

namespace quillfold::backend {
namespace {

using ::testing::ContainsRegex;
using ::testing::MatchesRegex;

TEST_F(BackendTest, GoesTheWholeRoadToASource) {
  EXPECT_EQ(get("/health").text, R"({"status":"success"})");
  signIn();
  EXPECT_THAT(authorization.begin()->second, MatchesRegex("Bearer [0-9a-f]{64}"));
  const json valid = post(kKeyPath, keyRequest("k")).body();
  EXPECT_EQ(valid["status"], "success");
  EXPECT_EQ(valid["data"]["valid"], true);
  const json user = get(kUserPath).body();
  EXPECT_EQ(user["user_id"], "u1");
  EXPECT_EQ(user["organization_id"], valid["data"]["organization_id"]);
  EXPECT_FALSE(user.contains("data"));

  const json source = post(kSourcePath, sourceRequest(user["organization_id"])).body()["data"];
  const std::string uuid = "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";
  EXPECT_THAT(source["id"].get<std::string>(), MatchesRegex(uuid));
  EXPECT_EQ(source["created_at"], "2023-11-14T22:13:20.250Z");
  EXPECT_EQ(source["canonical_contact_id"], "u1");
  EXPECT_EQ(source["settings"]["contact_authorization_status"], "authorized");
  EXPECT_TRUE(source.contains("last_sync_at") && source["last_sync_at"].is_null());

  const Reply again = post(kSourcePath, sourceRequest(user["organization_id"]));
  EXPECT_EQ(again.status, 500);
  EXPECT_THAT(again.text, ContainsRegex("duplicate key value violates unique constraint "
                                        ".*contact_sources_organization_id_canonical_contact_id_"
                                        "source_key"));
  EXPECT_EQ(post(kSourcePath, sourceRequest(user["organization_id"], "device_D2")).status, 200);
}

TEST_F(BackendTest, ATokenLivesAsLongAsAskedForAndNoLonger) {
  json asked = tokenRequest();
  asked["expiry_seconds"] = 10.5;
  const json data = post(kTokenPath, asked).body()["data"];
  EXPECT_EQ(data["expires_at"], 1700000010);
  EXPECT_TRUE(data["expires_at"].is_number_integer());
  authorization.emplace("Authorization", "Bearer " + data["token"].get<std::string>());
  now = 1700000009.9;
  EXPECT_EQ(get(kUserPath).status, 200);
  now = 1700000010;
  const Reply expired = get(kUserPath);
  EXPECT_EQ(expired.status, 401);
  EXPECT_EQ(expired.body()["message"], "Token has expired");

  asked["expiry_seconds"] = 1e300;
  EXPECT_LT(post(kTokenPath, asked).body()["data"]["expires_at"], 2100000000);

  options.tokenSeconds = 0;
  restart();
  signIn();
  EXPECT_EQ(get(kUserPath).body()["message"], "Token has expired");
}

TEST_F(BackendTest, RefusesWhoeverIsNotSignedIn) {
  const std::string unknown(64, '0');
  for (const std::string header : {"", "Bearer", "Basic x", "Bearer ", "bearer x"}) {
    authorization.clear();
    if (!header.empty()) authorization.emplace("Authorization", header);
    for (const char* path : {kKeyPath, kSourcePath, kSyncPath}) {
      // Whoever is not known learns nothing about the body.
      const Reply reply = postText(path, "not JSON");
      EXPECT_EQ(reply.status, 401) << header << path;
      EXPECT_EQ(reply.body()["status"], "error");
      EXPECT_TRUE(reply.body()["message"].is_string());
      EXPECT_EQ(reply.headers.find("WWW-Authenticate")->second, "Bearer");
    }
    EXPECT_EQ(get(kUserPath).status, 401) << header;
  }
  authorization = {{"Authorization", "Bearer " + unknown}};
  EXPECT_EQ(get(kUserPath).body()["message"], "Invalid token");
}

TEST_F(BackendTest, KeysDecideAboutTheOrganization) {
  options.apiKeys = {"first", "second"};
  signIn();
  const std::string byDefault = organization();
  const json refused = post(kKeyPath, keyRequest("third")).body();
  EXPECT_FALSE(refused["data"].contains("valid"));
  EXPECT_TRUE(refused["data"]["message"].is_string());
  EXPECT_EQ(organization(), byDefault);

  EXPECT_EQ(post(kKeyPath, keyRequest("second")).body()["data"]["valid"], true);
  const std::string ofSecond = organization();
  EXPECT_NE(ofSecond, byDefault);
  EXPECT_TRUE(get(kUserPath).body()["user_info"].is_null());
  // A further token of the same user keeps it, and a new start names it the same.
  json asked = tokenRequest();
  asked["user_info"] = {{"userId", "u1"}, {"fullName", "Ann \xF0\x9F\x98\x80"}};
  post(kTokenPath, asked);
  signIn();
  EXPECT_EQ(organization(), ofSecond);
  EXPECT_EQ(get(kUserPath).body()["user_info"], asked["user_info"]);
  restart();
  signIn();
  EXPECT_EQ(organization(), byDefault);
}

TEST_F(BackendTest, NamesWhatIsWrongWithABody) {
  signIn();
  expectRefused(kTokenPath, tokenRequest(), "",
                {{"value_error.missing", {"/user_id"}},
                 {"value_error.any_str.min_length", {"/user_id=\"\""}},
                 {"type_error.none.not_allowed", {"/user_id=null"}},
                 {"type_error.dict", {"/device_info=[]", "/user_info=\"x\""}},
                 {"value_error.number.not_gt", {"/expiry_seconds=0", "/expiry_seconds=\"60\""}}});
  expectRefused(kKeyPath, keyRequest("k"), "",
                {{"value_error.any_str.min_length", {"/api_key=\"\""}},
                 {"value_error.missing", {"/user_info/userId", "/device_info"}},
                 {"type_error.str", {"/user_info/email=7"}}});
  expectRefused(kSourcePath, sourceRequest("o1"), "",
                {{"value_error.missing", {"/organization_user_id"}},
                 {"type_error.bool", {"/source_data/is_active=1"}},
                 {"type_error.enum", {"/source_data/source_type=\"phone\""}},
                 {"type_error.str", {"/source_data/settings/device_info/platform=[]"}}});
}

}  // namespace
}  // namespace quillfold::backend
