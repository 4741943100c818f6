// The invented people around whoever uploads contacts.
#include "tests/backend/people_fixture.h"

namespace quillfold::backend {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class DemoTest : public PeopleTest {
 protected:
  void SetUp() override { startDemo(); }
  void startDemo() {
    BackendOptions options;
    options.demo = true;
    startWith(options);
    join("ann");
  }
  void upload(int count) {
    std::vector<json> contacts = {contactWith("silent", {}, {"110"})};
    for (int i = 10; i < 10 + count; ++i) {
      const std::string id = std::to_string(i);
      contacts.push_back(i % 2 == 0 ? contactWith("c" + id, {id + "@x.example"})
                                    : contactWith("c" + id, {}, {"03012345" + id}));
    }
    EXPECT_EQ(sync(contacts).status, 200);
  }
  void expectNothing() {
    const json all = everything();
    for (const auto& [path, list] : all.items())
      EXPECT_THAT(list, IsEmpty()) << path;
  }
  json everything() {
    json all;
    for (const char* path :
         {"shared-contacts-across-users", "contacts-app-users", "users-who-might-know-me"}) {
      all[path] = recommended(path);
    }
    for (const char* path :
         {"followers", "following", "mutual-follows", "feed", "upcoming-events", "for-you"}) {
      all[path] = social(path)["data"];
    }
    for (const char* list : {"followers", "following"}) {
      for (json& row : all[list])
        row.erase("id");
    }
    return all;
  }
};

TEST_F(DemoTest, FillsEveryListAfterTheFirstUploadAndOnlyThen) {
  upload(0);  // None with an address yet.
  expectNothing();
  upload(20);
  const json first = everything();
  for (const auto& [path, list] : first.items())
    EXPECT_THAT(list, Not(IsEmpty())) << path;
  EXPECT_THAT(each(first["contacts-app-users"], "/source_contact_id"),
              ElementsAre("c11", "c15", "c19", "c23"));
  EXPECT_EQ(first["followers"].size(), 4u);
  EXPECT_THAT(each(first["following"], "/contact_id"), testing::UnorderedElementsAre("c11", "c15"));
  EXPECT_EQ(first["users-who-might-know-me"].size(), 4u);

  remove("/api/v1/social/unfollow/" + first["following"][0]["user_id"].get<std::string>());
  upload(24);
  EXPECT_EQ(everything()["following"].size(), 1u) << "What the user undid stays undone.";
  EXPECT_EQ(server().contactCount(), 25u) << "No contact is invented.";
  startDemo();
  upload(20);
  EXPECT_TRUE(everything() == first) << "The same contacts bring the same people.";
}

TEST_F(DemoTest, SharesStrangersAmongUsersAndIsOffUnlessAskedFor) {
  upload(1);
  EXPECT_THAT(recommended("contacts-app-users"), IsEmpty());
  const auto known = [&] { return each(recommended("users-who-might-know-me"), "/id"); };
  const auto ofAnn = known();
  EXPECT_THAT(recommended("shared-contacts-across-users"), ElementsAre("c10"));
  join("bo");
  upload(2);
  EXPECT_THAT(recommended("contacts-app-users"), Not(IsEmpty()));
  EXPECT_THAT(social("followers")["data"], Not(IsEmpty()));
  signIn("ann");
  for (const auto& id : ofAnn)
    EXPECT_THAT(known(), testing::Contains(id));

  startWith({});
  join("ann");
  upload(20);
  expectNothing();
}

}  // namespace
}  // namespace quillfold::backend
