// Users in turn, processes on one home, and what a host is told where the device or the backend
// is at fault.
#include <filesystem>

#include "tests/account/backend_test.h"
#include "tests/support/child_program.h"

namespace quillfold::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Processes : public BackendTest {
 protected:
  // The command line host as another process on the same home.
  ChildProgram program(const std::string& user, const std::string& command) const {
    return {
        HOST_PROGRAM,
        {"--home", folder.path("home"), "--book", folder.path("book"), "--backend", backend.url(),
         "--api-key", "key", "--batch-size", "1", "--json", "--user", user, command}};
  }
  std::string sync(const std::string& user) const { return program(user, "sync").rest(); }
  static std::string heldBy(pid_t process) { return fmt::format("process {}", process); }
};

TEST_F(Processes, UsersInTurnHereAndElsewhereHaveTheirOwnContactsAndNothingTwice) {
  bringUp();
  std::size_t cards = 1;
  std::map<std::string, std::string> sources;
  for (const std::string user : {"ann", "bob!", "ann!", "cleo", "bob", "ann", "cleo!", "ann"}) {
    addCard(fmt::format("card{}", ++cards));
    const std::string id = user.substr(0, user.find('!'));
    const auto before = uploads() - backend.contactCount(id);
    if (id != user) {
      EXPECT_THAT(sync(id), HasSubstr("\"success\":true"));
    } else {
      const auto account = Account::open(configured(id)).get();
      account.sync().get();
      EXPECT_EQ(account.search("").get().total, std::ssize(backend.contacts(id)));
      account.close().get();
    }
    EXPECT_EQ(backend.contactCount(id), cards);
    EXPECT_EQ(uploads() - cards, before) << user;
    for (const auto& contact : backend.contacts(id))
      EXPECT_EQ(sources.try_emplace(id, contact["source_id"]).first->second, contact["source_id"]);
  }
  // A file and its twin for each user, and the lock.
  const std::filesystem::path files = folder.path("home/quillfold/AppFrameworks/Quillfold");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files), {}), 7);
}

TEST_F(Processes, TheSecondOnAHomeIsToldWhoHoldsItUntilThatOneIsKilled) {
  auto holder = program("ann", "watch");
  EXPECT_THAT(holder.line(), HasSubstr("\"uploaded\":1"));
  bringUp();
  const auto open = [] { Account::open(configured("bob")).get(); };
  EXPECT_THAT(failureOf(open), AllOf(StartsWith("com.quillfold.account 2: " + folder.path("home")),
                                     HasSubstr(heldBy(holder.id()))));
  holder.signal(SIGKILL);
  EXPECT_EQ(holder.exitStatus(), -SIGKILL);
  // The first user's bookkeeping stays his, though this process has looked before.
  const auto account = Account::open(configured("bob")).get();
  account.sync().get();
  EXPECT_EQ(backend.contactCount("bob"), 1u);
  EXPECT_THAT(sync("cleo"), HasSubstr(heldBy(getpid())));
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
  EXPECT_THAT(sync("bob"), HasSubstr(heldBy(getpid())));
  // Nor is it in the way of the next account of this process.
  account = Account::open(configured("cleo")).get();
  EXPECT_FALSE(service->syncInProgress() && uploads() >= 10);
  account->close().get();
  EXPECT_THAT(sync("bob"), HasSubstr("\"uploaded\":10"));
}

TEST_F(Processes, WhatIsNotThereIsNamed) {
  folder.write("home", "a file");
  bringUp();
  const auto open = [](const char* user) { return Account::open(configured(user)).get(); };
  const std::string kept = folder.path("home/quillfold/AppFrameworks/Quillfold");
  EXPECT_EQ(failureOf([&] { open("ann"); }),
            "NSCocoaErrorDomain 512: " + kept + ": Not a directory");
  std::filesystem::remove(folder.path("home"));
  const std::string lock = kept + "/account.lock";
  std::filesystem::create_directories(lock);
  EXPECT_EQ(failureOf([&] { open("ann"); }),
            "NSCocoaErrorDomain 512: " + lock + ": Is a directory");
  std::filesystem::remove(lock);
  const auto account = open("ann");
  account.sync().get();
  backend.stop();
  const auto expect = [&](const auto& work, const std::string& path) {
    try {
      work();
      ADD_FAILURE() << path;
    } catch (const Failure& failure) {
      EXPECT_THAT(told(failure), StartsWith("com.quillfold.api 4: "));
      EXPECT_EQ(failure.address(), backend.url() + path);
      EXPECT_THAT(failure.cause(), HasSubstr("127.0.0.1"));
    }
  };
  expect([&] { account.sync().get(); }, "/api/v1/client/user-info");
  expect([&] { account.follow("bob").get(); }, "/api/v1/social/follow");
  account.close().get();
  expect([&] { open("bob"); }, "/api/v1/client/generate-token");
}

}  // namespace
}  // namespace quillfold::testing
