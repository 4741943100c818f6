// Whom the backend finds by the addresses of contacts.
#include "backend/store/address_key.h"
#include "tests/backend/people_fixture.h"

namespace quillfold::backend {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AddressKeyTest, TellsOneAddressFromAnother) {
  const std::map<std::string, std::optional<std::string>> keys = {
      {" Ann@X.Example\n", "ann@x.example"},
      {"+49 (30) 123 45 67", "301234567"},
      {"030/1234567", "301234567"},
      {"110", std::nullopt},
      {"12345", "12345"},
      {"@", std::nullopt},
      {"x@", std::nullopt},
      {"nobody", std::nullopt},
      {"", std::nullopt},
      {"\xC3\xA9@x", "\xC3\xA9@x"}};
  for (const auto& [text, key] : keys)
    EXPECT_EQ(addressKey(text), key) << text;
}

class RecommendationsTest : public PeopleTest {
 protected:
  void SetUp() override {
    join("cy");
    sync({contactWith("x", {}, {"0049 30 1234567"}), contactWith("y", {"shared@x.example"})});
    join("dee");
    sync({contactWith("me", {"ann@x.example"})});
    join("bo", {{"fullName", "Bo"}, {"metadata", {{"bio", "b"}}}});
    sync(
        {contactWith("1", {"cy@x.example"}, {"030 1234567"}), contactWith("2", {"ann@x.example"})});
    // Of another organization, with everybody in the address book.
    join("eve");
    post(kKeyPath, keyRequest("other"));
    sync({contactWith("1", {"ann@x.example", "alone@x.example", "shared@x.example"})});
    join("ann");
    sync({contactWith("c1", {"BO@x.example "}), contactWith("c2", {"shared@x.example"}),
          contactWith("c3", {}, {"+49 (30) 1234567"}), contactWith("c4", {"alone@x.example"}),
          contactWith("c5", {"ann@x.example", "eve@x.example"})});
  }
};

TEST_F(RecommendationsTest, AnswersTheThreeQuestions) {
  const Reply invite = get("/api/v1/client/shared-contacts-across-users?limit=10");
  EXPECT_EQ(invite.body(), json({{"status", "success"}, {"data", {"c3", "c2"}}}))
      << "Two others have c3, one has c2; the user's own card is no one to invite.";
  EXPECT_EQ(recommended("shared-contacts-across-users?limit=1"), json({"c3"}));

  const json users = recommended("contacts-app-users?limit=10");
  ASSERT_EQ(users.size(), 1u);
  EXPECT_EQ(users[0]["source_contact_id"], "c1");
  EXPECT_NE(users[0]["contact_id"], "c1") << "The backend's identifier is not the device's.";
  EXPECT_EQ(users[0]["canonical_contact"], json({{"id", "bo"},
                                                 {"organization_id", organization()},
                                                 {"organization_user_id", "bo"},
                                                 {"email", "bo@x.example"},
                                                 {"phone", nullptr},
                                                 {"full_name", "Bo"},
                                                 {"avatar_url", nullptr},
                                                 {"is_active", true},
                                                 {"created_at", "2023-11-14T22:13:20.250Z"},
                                                 {"updated_at", "2023-11-14T22:13:20.250Z"},
                                                 {"contact_metadata", {{"bio", "b"}}}}));

  EXPECT_THAT(each(recommended("users-who-might-know-me"), "/id"), ElementsAre("dee", "cy"))
      << "Who has the user in the address book goes first.";
  follow("dee");
  EXPECT_THAT(each(recommended("users-who-might-know-me"), "/full_name"), ElementsAre("cy"));
}

TEST_F(RecommendationsTest, FollowsEveryChange) {
  sync({contactWith("c1", {"elsewhere@x.example"}), contactWith("c2", {"cy@x.example"})});
  EXPECT_THAT(each(recommended("contacts-app-users"), "/canonical_contact/id"), ElementsAre("cy"));
  EXPECT_EQ(recommended("shared-contacts-across-users"), json({"c3"}));
  join("cy", {{"email", "cy@new.example"}, {"phone", "+49 30 1234567"}});
  signIn("ann");
  EXPECT_THAT(each(recommended("contacts-app-users"), "/source_contact_id"), ElementsAre("c3"));
  EXPECT_EQ(recommended("shared-contacts-across-users"), json({"c2"}));
  post(kKeyPath, keyRequest("a third one"));
  for (const char* path :
       {"contacts-app-users", "shared-contacts-across-users", "users-who-might-know-me"}) {
    EXPECT_THAT(recommended(path), IsEmpty()) << path;
    for (const char* limit : {"?limit=-1", "?limit=x", "?limit=1.0", "?limit=9223372036854775808"})
      EXPECT_EQ(get(kClientPath + std::string(path) + limit).status, 422) << limit;
  }
}

}  // namespace
}  // namespace quillfold::backend
