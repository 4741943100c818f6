// Search, people and events: the host against a backend with invented people.
#include <filesystem>

#include "tests/apps/quillfold/host_fixture.h"

namespace quillfold::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class HostPeopleTest : public HostTest {
 protected:
  HostPeopleTest() : HostTest(true) {}

  void SetUp() override {
    HostTest::SetUp();
    fs::copy(QUILLFOLD_SAMPLE_BOOK, folder.path("book"),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    ASSERT_EQ(run({"sync"}).status, 0);
  }
  bool follows(const std::string& user) const {
    const json list = run({"following"}).output;
    return std::any_of(list.begin(), list.end(),
                       [&user](const json& row) { return row.value("followed_id", "") == user; });
  }
};

TEST_F(HostPeopleTest, FindsFollowsAndLetsGo) {
  for (const char* question : {"invite", "app-users", "might-know", "followers", "mutual"}) {
    const Outcome outcome = run({question});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(outcome.output.empty()) << question;
  }
  const std::string stranger = run({"might-know"}).output[0]["organization_user_id"];
  EXPECT_FALSE(follows(stranger));
  EXPECT_EQ(run({"follow", stranger}).output["success"], true);
  EXPECT_TRUE(follows(stranger));
  EXPECT_EQ(run({"unfollow", stranger}).output["success"], true);
  EXPECT_FALSE(follows(stranger));
  EXPECT_EQ(run({"follow", "nobody"}).output["error"]["text"], "Server error 404: User not found");
}

TEST_F(HostPeopleTest, AnEventComesChangesAndGoes) {
  const json created =
      run({"--title", "Tea", "--starts", "2026-12-24T18:00:00Z", "event", "create"}).output;
  EXPECT_EQ(created["success"], true);
  const std::string id = created["event_id"];
  EXPECT_EQ(run({"--place", "Home", "event", "change", id}).status, 0);
  const json shown = run({"event", "show", id}).output;
  EXPECT_EQ(shown["title"], "Tea");
  EXPECT_EQ(shown["location"], "Home");
  EXPECT_EQ(run({"events"}).output["total"], 1);
  EXPECT_EQ(run({"event", "delete", id}).status, 0);
  EXPECT_EQ(run({"event", "show", id}).status, 1);
  for (const char* feed : {"feed", "upcoming", "for-you"}) {
    EXPECT_GT(run({feed}).output["total"], 0) << feed;
  }
  EXPECT_EQ(run({"--title", "Tea", "--starts", "soon", "event", "create"}).status, 2);
}

TEST_F(HostPeopleTest, SearchesWithoutTheBackend) {
  backend.stop();
  const json found = run({"--limit", "2", "search", "ARCHER alma"}).output;
  EXPECT_EQ(found["total"], 3);
  ASSERT_EQ(found["contacts"].size(), 2u);
  EXPECT_EQ(found["contacts"][0]["display_name"], "Alma Archer");
  EXPECT_EQ(run({"--field", "1", "search", "555"}).output["total"], 0);
  EXPECT_EQ(run({"--quick", "search", "alma  archer"}).output["total"], 3);
}

}  // namespace
}  // namespace quillfold::testing
