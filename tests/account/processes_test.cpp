// Users in turn, processes on one home, the quickstart, and what a host is told where the
// device or the backend is at fault.
#include <httplib.h>

#include <filesystem>

#include "tests/account/backend_test.h"
#include "tests/support/child_program.h"
#include "tests/support/loopback_server.h"

namespace quillfold::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Processes : public BackendTest {
 protected:
  std::string program(const std::string& user) const {
    ChildProgram child(ACCOUNT_PROGRAM, arguments(user));
    const std::string out = child.rest();
    EXPECT_EQ(child.exitStatus(), 0);
    return out;
  }
  std::vector<std::string> arguments(const std::string& user) const {
    return {folder.path("home"), folder.path("book"), backend.url(), user};
  }
  std::set<std::string> sourcesOf(const std::string& user) const {
    std::set<std::string> out;
    for (const auto& contact : backend.contacts(user))
      out.insert(contact["source_id"]);
    return out;
  }
};

class Users : public Processes, public ::testing::WithParamInterface<bool> {};

TEST_P(Users, EachHaveTheirOwnContactsAtTheBackendAndNothingTwice) {
  const bool inOneProcess = GetParam();
  if (inOneProcess) bringUp();
  std::vector<std::size_t> uploaded;
  for (const char* user : {"ann", "bob", "cleo", "ann", "bob", "cleo"}) {
    addCard(user);
    const auto before = uploads();
    if (inOneProcess) {
      const auto account = Account::open(configured(user)).get();
      account.sync().get();
      EXPECT_EQ(account.search("").get().total, std::ssize(backend.contacts(user)));
      account.close().get();
    } else {
      EXPECT_THAT(program(user), ::testing::MatchesRegex("[0-9]\n"));
    }
    uploaded.push_back(uploads() - before);
  }
  EXPECT_EQ(uploaded, (std::vector<std::size_t>{2, 3, 4, 2, 1, 0}));
  for (const char* user : {"ann", "bob", "cleo"}) {
    EXPECT_EQ(backend.contactCount(user), 4u);
    EXPECT_EQ(sourcesOf(user).size(), 1u);
  }
  const std::filesystem::path files = folder.path("home/quillfold/AppFrameworks/Quillfold");
  EXPECT_THAT(folder.read("home/quillfold/AppFrameworks/Quillfold/contact_sync_info.plist"),
              HasSubstr("bplist"));
  // A file and its twin for each user, and the lock.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files), {}), 7);
}

INSTANTIATE_TEST_SUITE_P(InTurn, Users, ::testing::Bool(), [](const auto& in) {
  return std::string(in.param ? "InOneProcess" : "InProcesses");
});

TEST_F(Processes, TheSecondOnAHomeIsToldWhoHoldsItUntilThatOneIsKilled) {
  ChildProgram holder(ACCOUNT_PROGRAM, [&] {
    auto all = arguments("ann");
    all.push_back("hold");
    return all;
  }());
  EXPECT_EQ(holder.line(), "1\n");
  bringUp();
  const auto open = [] { Account::open(configured("bob")).get(); };
  EXPECT_THAT(failureOf(open), AllOf(StartsWith("com.quillfold.account 2: " + folder.path("home")),
                                     HasSubstr(fmt::format("process {}", holder.id()))));
  holder.signal(SIGKILL);
  EXPECT_EQ(holder.exitStatus(), -1);
  // The first user's bookkeeping stays his, though this process has looked before.
  const auto account = Account::open(configured("bob")).get();
  account.sync().get();
  EXPECT_EQ(backend.contactCount("bob"), 1u);
  EXPECT_THAT(program("cleo"), HasSubstr(fmt::format("process {}", getpid())));
}

TEST_F(Processes, OneThatComesBackTakesUpWhatTheOthersHaveLeft) {
  bringUp();
  const auto sync = [] {
    const auto account = Account::open(configured()).get();
    account.sync().get();
    account.close().get();
  };
  sync();
  EXPECT_EQ(program("bob"), "1\n");
  addCard("more");
  EXPECT_EQ(program("ann"), "1\n");
  EXPECT_EQ(program("bob"), "1\n");
  sync();
  EXPECT_EQ(uploads(), 4u);
  addCard("most");
  sync();
  EXPECT_EQ(uploads(), 5u);
  EXPECT_EQ(sourcesOf("ann").size(), 1u);
  EXPECT_EQ(backend.contactCount("ann"), 3u);
}

TEST_F(Processes, ARunThatAnAccountHasLeftKeepsTheHome) {
  for (int i = 0; i < 9; ++i)
    addCard(fmt::format("p{}", i));
  bringUp();
  std::optional<Account> account = Account::open(configured()).get();
  account->requestAccess().get();
  const auto service = QFContactService::sharedInstance();
  service->scheduleBackgroundSyncTask();
  ASSERT_TRUE(service->syncInProgress());
  account.reset();
  EXPECT_THAT(program("bob"), HasSubstr(fmt::format("process {}", getpid())));
  // Nor is it in the way of the next account of this process.
  account = Account::open(configured("cleo")).get();
  EXPECT_FALSE(service->syncInProgress() && uploads() >= 10);
  account->close().get();
  EXPECT_EQ(program("bob"), "10\n");
}

TEST_F(Processes, TheQuickstartRunsAgainAndAgain) {
  // It knows the built-in address alone: this stands in for the network between.
  LoopbackServer network([&](const LoopbackRequest& request) {
    httplib::Client client("127.0.0.1", backend.port());
    httplib::Request out;
    const auto space = request.head.find(' ');
    const auto path = request.head.find('/', space + 8);
    out.method = request.head.substr(0, space);
    out.path = request.head.substr(path, request.head.find(' ', path) - path);
    const auto bearer = request.head.find("Authorization: ");
    if (bearer != std::string::npos) {
      const auto value = bearer + 15;
      out.set_header("Authorization",
                     request.head.substr(value, request.head.find('\r', value) - value));
    }
    if (!request.body.empty()) out.set_header("Content-Type", "application/json");
    out.body = request.body;
    const auto answer = client.send(out);
    return LoopbackAnswer{.pieces = {httpText(answer->status, answer->body)}};
  });
  setenv("http_proxy", network.url("").c_str(), 1);
  setenv("no_proxy", "", 1);
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"})
    setenv(name, folder.path("home").c_str(), 1);
  std::filesystem::current_path(SOURCE_FOLDER);
  for (int i = 0; i < 10; ++i) {
    ChildProgram quickstart(QUICKSTART_PROGRAM, {});
    EXPECT_THAT(quickstart.rest(),
                ::testing::MatchesRegex((i == 0 ? "[1-9][0-9]+" : "0") +
                                        std::string(" uploaded\n(.*[aA]l.*\n)+")));
    EXPECT_EQ(quickstart.exitStatus(), 0);
  }
  EXPECT_GE(backend.contactCount("ann"), 300u);
  EXPECT_EQ(uploads(), (backend.contactCount("ann") + 19) / 20);
}

TEST_F(Processes, AHomeThatCanNotBeWrittenIsNamed) {
  folder.write("home", "a file");
  bringUp();
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(failureOf([] { Account::open(configured()).get(); }),
                AllOf(StartsWith("NSCocoaErrorDomain "), HasSubstr(folder.path("home/quillfold")),
                      HasSubstr("Not a directory")));
  }
}

TEST_F(Processes, ABackendThatIsDownIsNamedByItsAddress) {
  bringUp();
  const auto account = Account::open(configured()).get();
  account.sync().get();
  backend.stop();
  const auto expect = [&](const auto& work, const std::string& path) {
    try {
      work();
      ADD_FAILURE() << path;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.domain(), "com.quillfold.api");
      EXPECT_EQ(failure.code(), 4);
      EXPECT_EQ(failure.address(), backend.url() + path);
    }
  };
  expect([&] { account.sync().get(); }, "/api/v1/client/user-info");
  expect([&] { account.follow("bob").get(); }, "/api/v1/social/follow");
  account.close().get();
  expect([&] { Account::open(configured("bob")).get(); }, "/api/v1/client/generate-token");
}

}  // namespace
}  // namespace quillfold::testing
