// How a host tests what it does with the library: no network, no address book, no waiting.
#include <gtest/gtest.h>
#include <quillfold/quillfold.h>
#include <quillfold/testing.h>

namespace {

using quillfold::Account;
using quillfold::Failure;
using quillfold::testing::FakePlatform;
using quillfold::testing::FakeTask;
using quillfold::testing::MemoryContacts;

// The code under test: what the host's status line says of a sync.
quillfold::Operation<std::string> statusLine(Account account) {
  try {
    const auto report = co_await account.sync();
    co_return std::to_string(report.uploaded) + " of " + std::to_string(report.read) + " uploaded";
  } catch (const Failure& failure) {
    const bool refused = failure.code() == quillfold::QFErrorCodeAccessDenied;
    co_return refused ? "May not read contacts" : "Not now";
  }
}

// Nothing happens by itself: settle() runs all that is to be done, answers included.
template <typename T>
T settled(FakePlatform& platform, const quillfold::Operation<T>& operation) {
  platform.settle();
  return operation.get();
}

// Cases share no state: ctest runs each in a process of its own.
class StatusLine : public ::testing::Test {
 protected:
  StatusLine() {
    platform.serveBackend([this](FakeTask& task) {
      if (uploadsFail && task.path() == kUpload) task.fail(quillfold::NSURLErrorTimedOut, "Late");
      return task.ended;
    });
    platform.contacts->add(MemoryContacts::person("1", "Ann", "+1 212 555 0100"));
    platform.contacts->add(MemoryContacts::person("2", "Bob"));
  }
  std::string shown() {
    const quillfold::AccountConfiguration configuration{
        .apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}};
    return settled(platform, statusLine(settled(platform, Account::open(configuration))));
  }

  static constexpr const char* kUpload = "/api/v1/client/contacts/sync";
  FakePlatform platform;
  bool uploadsFail = false;
};

TEST_F(StatusLine, CountsWhatWentUp) {
  EXPECT_EQ(shown(), "2 of 2 uploaded");
  const quillfold::Value body = platform.sessions->last(kUpload)->json();
  EXPECT_EQ(body.asDictionary()->at("contacts").asArray()->size(), 2u);
}

TEST_F(StatusLine, AsksForPatienceWhenTheNetworkFails) {
  uploadsFail = true;
  EXPECT_EQ(shown(), "Not now");
}

TEST_F(StatusLine, SaysThatTheUserRefused) {
  platform.contacts->status = quillfold::CNAuthorizationStatusNotDetermined;
  platform.contacts->statusAfterRequest = quillfold::CNAuthorizationStatusDenied;
  EXPECT_EQ(shown(), "May not read contacts");
  EXPECT_EQ(platform.sessions->count(kUpload), 0u);
}

}  // namespace
