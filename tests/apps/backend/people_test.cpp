// Whom the backend finds by the addresses of contacts, and whom it invents.
#include "apps/backend/store/address_key.h"
#include "tests/apps/backend/backend_fixture.h"

namespace quillfold::backend {
namespace {

using namespace ::testing;

constexpr const char* kInvite = "client/shared-contacts-across-users";
constexpr const char* kAppUsers = "client/contacts-app-users";
constexpr const char* kMightKnow = "client/users-who-might-know-me";
constexpr const char* kFollowing = "social/following";

TEST(AddressKeyTest, TellsOneAddressFromAnother) {
  const std::map<std::string, std::string> keys = {{" Ann@X.Example\n", "ann@x.example"},
                                                   {"+49 (30) 123 45 67", "301234567"},
                                                   {"030/1234567", "301234567"},
                                                   {"12345", "12345"},
                                                   {"\xC3\xA9@x", "\xC3\xA9@x"}};
  for (const auto& [text, key] : keys)
    EXPECT_EQ(addressKey(text), key);
  for (const char* text : {"", "110", "@", "x@", "nobody"})
    EXPECT_EQ(addressKey(text), std::nullopt) << text;
}

class PeopleTest : public BackendTest {
 protected:
  void join(const std::string& user, const std::vector<json>& contacts) {
    signIn(user, {{"email", user + "@x.example"}, {"metadata", {{"of", user}}}});
    EXPECT_EQ(sync(contacts).status, 200);
  }
};

class RecommendationsTest : public PeopleTest {
 protected:
  void SetUp() override {
    join("cy", {contactWith("x", "", "0049 30 1234567"), contactWith("y", "shared@x.example")});
    join("dee", {contactWith("me", "ann@x.example")});
    join("bo", {contactWith("1", "cy@x.example", "030 1234567")});
    // Of another organization, where nobody is seen.
    join("eve", {contactWith("1", "ann@x.example"), contactWith("2", "alone@x.example"),
                 contactWith("3", "shared@x.example")});
    post(kKeyPath, keyRequest("other"));
    join("ann", {contactWith("c1", "BO@x.example "), contactWith("c2", "shared@x.example"),
                 contactWith("c3", "", "+49 (30) 1234567"), contactWith("c4", "alone@x.example"),
                 contactWith("c5", "ann@x.example"), contactWith("c6", "eve@x.example")});
  }
};

TEST_F(RecommendationsTest, AnswersTheThreeQuestions) {
  EXPECT_EQ(list(kInvite), json({"c3", "c2"}))
      << "Two others have c3, one has c2; the user's own card is no one to invite.";
  EXPECT_EQ(list(kInvite + std::string("?limit=1")), json({"c3"}));

  const json users = list(kAppUsers);
  ASSERT_EQ(users.size(), 1u);
  EXPECT_EQ(users[0]["source_contact_id"], "c1");
  EXPECT_NE(users[0]["contact_id"], "c1") << "The backend's identifier is not the device's.";
  json bo = json::parse(R"({"id": "bo", "organization_user_id": "bo", "email": "bo@x.example",
    "phone": null, "full_name": "bo", "avatar_url": null, "is_active": true,
    "created_at": "2023-11-14T22:13:20.250Z", "updated_at": "2023-11-14T22:13:20.250Z",
    "contact_metadata": {"of": "bo"}})");
  bo["organization_id"] = organization();
  EXPECT_EQ(users[0]["canonical_contact"], bo);

  EXPECT_THAT(each("/id", kMightKnow), ElementsAre("dee", "cy"))
      << "Who has the user in the address book goes first.";
  post("/api/v1/social/follow", {{"user_id", "dee"}});
  EXPECT_THAT(each("/full_name", kMightKnow), ElementsAre("cy"));
}

TEST_F(RecommendationsTest, FollowsEveryChange) {
  sync({contactWith("c1", "elsewhere@x.example"), contactWith("c2", "cy@x.example")});
  EXPECT_THAT(each("/canonical_contact/id", kAppUsers), ElementsAre("cy"));
  EXPECT_EQ(list(kInvite), json({"c3"}));
  signIn("cy", {{"email", "cy@new.example"}, {"phone", "+49 30 1234567"}});
  signIn("ann");
  EXPECT_THAT(each("/source_contact_id", kAppUsers), ElementsAre("c3"));
  EXPECT_EQ(list(kInvite), json({"c2"}));
  post(kKeyPath, keyRequest("a third one"));
  for (const std::string path : {kInvite, kAppUsers, kMightKnow}) {
    EXPECT_THAT(list(path), IsEmpty()) << path;
    for (const char* limit : {"?limit=-1", "?limit=x", "?limit=1.0", "?limit=9223372036854775808"})
      EXPECT_EQ(get("/api/v1/" + path + limit).status, 422) << limit;
  }
}

class DemoTest : public PeopleTest {
 protected:
  DemoTest() { options.demo = true; }
  // As many contacts with an address, and one without.
  void joinWith(const std::string& user, int count) {
    std::vector<json> contacts = {contactWith("silent", "", "110")};
    for (int i = 10; i < 10 + count; ++i)
      contacts.push_back(
          contactWith("c" + std::to_string(i), "", ("030123" + std::to_string(i)).c_str()));
    join(user, contacts);
  }
  json everything() {
    json all;
    for (const char* path :
         {"social/followers", kFollowing, "social/mutual-follows", "social/feed",
          "social/upcoming-events", "social/for-you", kInvite, kAppUsers, kMightKnow}) {
      all[path] = list(path);
      for (json& row : all[path])
        if (row.contains("follower")) row.erase("id");
    }
    return all;
  }
};

TEST_F(DemoTest, FillsEveryListAfterTheFirstUploadAndOnlyThen) {
  for (const bool demo : {false, true}) {
    options.demo = demo;
    restart();
    joinWith("ann", demo ? 0 : 20);
    EXPECT_THAT(everything(), Each(IsEmpty())) << demo;
  }
  joinWith("ann", 20);
  const json first = everything();
  EXPECT_THAT(first, Each(Not(IsEmpty())));
  EXPECT_THAT(each("/source_contact_id", kAppUsers), ElementsAre("c11", "c15", "c19", "c23"));
  EXPECT_EQ(first["social/followers"].size(), 4u);
  EXPECT_THAT(each("/contact_id", kFollowing), UnorderedElementsAre("c11", "c15"));
  EXPECT_EQ(first[kMightKnow].size(), 4u);

  remove("/api/v1/social/unfollow/" + each("/user_id", kFollowing)[0]);
  joinWith("ann", 24);
  EXPECT_EQ(list(kFollowing).size(), 1u) << "What the user undid stays undone.";
  EXPECT_EQ(server().contactCount(), 25u) << "No contact is invented.";
  restart();
  joinWith("ann", 20);
  EXPECT_TRUE(everything() == first) << "The same contacts bring the same people.";
}

TEST_F(DemoTest, TakesContactsWithOneAddressForOnePerson) {
  std::vector<json> contacts;
  for (const char* id : {"1", "2", "3", "4", "5", "6"})
    contacts.push_back(contactWith(id, "family@x.example"));
  join("ann", contacts);
  EXPECT_THAT(each("/canonical_contact/id", kAppUsers), SizeIs(6));
  EXPECT_EQ(list(kFollowing).size(), 2u);
}

TEST_F(DemoTest, SharesTheStrangersAmongUsers) {
  joinWith("ann", 1);
  const auto strangers = each("/id", kMightKnow);
  EXPECT_THAT(strangers, Not(IsEmpty()));
  EXPECT_THAT(list(kAppUsers), IsEmpty());
  EXPECT_EQ(list(kInvite), json({"c10"}));
  joinWith("bo", 2);
  EXPECT_THAT(each("/source_contact_id", kAppUsers), ElementsAre("c11"));
  signIn("ann");
  EXPECT_THAT(each("/id", kMightKnow), IsSupersetOf(strangers));
}

}  // namespace
}  // namespace quillfold::backend
