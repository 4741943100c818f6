// What goes wrong beside an account: in the host's own code, at the backend, on the disk.
#include "account/user_records.h"
#include "api/contact_source.h"
#include "platform/dispatch.h"
#include "tests/account/account_fixture.h"

namespace quillfold::testing {
namespace {

using AccountTrouble = AccountTest;

TEST_F(AccountTrouble, AHandlerThatThrowsEndsNothingButItself) {
  addPeople(3);
  const auto account = openedAtRest();
  service->clearSyncInfoCache();
  int thrown = 0;
  const auto sync = account.sync({.progress = [](auto&) { throw std::runtime_error("host"); }});
  sync.then([](const auto&) { throw std::runtime_error("host"); });
  const std::function<bool()> goesOn = [&] {
    try {
      return step();
    } catch (const std::runtime_error&) {
      return ++thrown > 0;
    }
  };
  while (goesOn()) {
  }
  EXPECT_EQ(thrown, 3);
  EXPECT_TRUE(end(sync));
  EXPECT_EQ(recorded().size(), 3u);
  EXPECT_EQ(failureOf(account.sync()), "");
  EXPECT_EQ(failureOf(account.close()), "");
}

TEST_F(AccountTrouble, ClosingWaitsForARunThatIsStillRegistering) {
  addPeople(1);
  const auto account = openedAtRest();
  FakeTask* registration = nullptr;
  overrides = [&](FakeTask& task) {
    return task.path() == kRegistrationPath && (registration = &task) != nullptr;
  };
  const auto sync = account.sync();
  while (registration == nullptr && step()) {
  }
  bool closed = false;
  account.close().then([&](const Result<void>&) { closed = registration->ended; });
  platform.settle();
  EXPECT_TRUE(closed);
  EXPECT_TRUE(end(sync)->stopped);
}

TEST_F(AccountTrouble, AStopHidesNoFailureAndEndsTheQuestionForAccess) {
  addPeople(1);
  const auto account = openedAtRest();
  service->clearSyncInfoCache();
  std::stop_source stop;
  at(kUploadPath, [&](FakeTask& task) {
    task.fail(NSURLErrorTimedOut, "late");
    return stop.request_stop();
  });
  EXPECT_EQ(failureOf(account.sync({.stop = stop.get_token()})),
            "com.quillfold.api 4: Network error: late");
  overrides = {};
  // Nobody answers the question.
  platform.contacts->status = CNAuthorizationStatusNotDetermined;
  std::stop_source second;
  const auto asking = account.sync({.stop = second.get_token()});
  platform.mainQueue->runOne();
  second.request_stop();
  while (platform.mainQueue->runOne()) {
  }
  EXPECT_TRUE(asking.isDone());
  EXPECT_TRUE(end(asking)->stopped);
}

TEST_F(AccountTrouble, ADeferredSyncIsRefusedWhereTheHostHasTheTask) {
  const auto account = openedAtRest();
  platform.scheduler->registerForTaskWithIdentifier(QFContactSyncTaskIdentifier, platform.mainQueue,
                                                    {});
  EXPECT_EQ(failureOf(account.deferSync()),
            "BGTaskSchedulerErrorDomain 3: Another handler has com.quillfold.contact-sync");
}

TEST_F(AccountTrouble, ARefusedTokenIsTakenOnceOnlyInRunsThatNobodyAskedFor) {
  // The facade's events are gone with a reset.
  makeReady();
  service->resetWithCompletion({});
  const auto account = openedAtRest();
  const std::size_t tokens = platform.sessions->count(kTokenPath);
  at(kRegistrationPath,
     [n = 0](FakeTask& task) mutable { return ++n == 1 && answered(task, "", 401); });
  addPeople(1);
  post(CNContactStoreDidChangeNotification);
  EXPECT_TRUE(recorded().empty());
  post(CNContactStoreDidChangeNotification);
  EXPECT_EQ(recorded().size(), 1u);
  EXPECT_EQ(platform.sessions->count(kTokenPath), tokens + 1);
}

// A session that forgets what it was asked.
struct ForgetfulSession : NSURLSession {
  struct Task : NSURLSessionTask {
    void resume() override {}
    void cancel() override {}
  };
  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest,
                                                        URLCompletion) override {
    return std::make_shared<Task>();
  }
  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)>) override {}
};

TEST_F(AccountTrouble, ARunThatIsLostWithItsGuardIsNotWaitedFor) {
  const auto account = openedAtRest();
  addPeople(1);
  service->syncContacts([](bool, const ErrorPtr&) { FAIL() << "Nobody can have called back"; });
  while (!service->syncInProgress() && step()) {
  }
  const auto client = QFAPIClient::sharedInstance();
  const auto session = client->session();
  client->setSession(std::make_shared<ForgetfulSession>());
  platform.settle();
  client->setSession(session);
  EXPECT_TRUE(service->syncInProgress());
  EXPECT_EQ(failureOf(account.sync()), "com.quillfold.sync 0: Sync operation already in progress");
}

TEST_F(AccountTrouble, ARunThatIsStoppedReportsNeitherWhatItDidNotReadNorWhatItDidNotSend) {
  addPeople(2);
  const auto account = openedAtRest();
  EXPECT_EQ(end(account.sync())->read, 2);
  // At once, and behind each of its requests.
  for (int at = 0; at < 6; ++at) {
    service->clearSyncInfoCache();
    std::stop_source stop;
    if (at == 0) stop.request_stop();
    bool sent = false;
    overrides = [&, left = at](const FakeTask& task) mutable {
      sent |= task.path() == kUploadPath;
      if (--left == 0) platform.mainQueue->async([&stop] { stop.request_stop(); });
      return false;
    };
    const auto report = *end(account.sync({.stop = stop.get_token()}));
    EXPECT_TRUE(at > 0 || (report.stopped && report.read == 0));
    EXPECT_EQ(report.bytes > 0, sent) << at;
  }
}

TEST_F(AccountTrouble, LostSettingsGiveNobodyTheBookkeepingOfAnother) {
  addPeople(2);
  EXPECT_EQ(failureOf(openedAtRest().close()), "");
  EXPECT_EQ(recorded().size(), 2u);
  EXPECT_EQ(stored("quillfold.account.owner"), "ann");
  // Nor is anything made up in the place of those that can't be read now.
  platform.defaults->synchronizeFails = true;
  EXPECT_EQ(failureOf(Account::open(configured("bob"))),
            "NSCocoaErrorDomain 512: User defaults can't be read or written");
  EXPECT_NE(platform.defaults->stringForKey(defaults_keys::kUserId), "bob");
  platform.defaults->synchronizeFails = false;
  for (const char* key : {"quillfold.account.owner", defaults_keys::kUserId})
    platform.defaults->removeObjectForKey(key);
  const auto bob = opened("bob");
  EXPECT_EQ(end(bob.sync())->uploaded, 2);
}

// Whose identifier of the contact source is there after a change of users that ended anywhere.
TEST_F(AccountTrouble, AnInterruptedChangeOfUsersMixesNoSources) {
  struct Killed {};
  NSUserDefaults& defaults = *platform.defaults;
  const auto sourceFor = [&](const char* user) {
    adoptUser(*service, user);
    return defaults.stringForKey(defaults_keys::kSourceId);
  };
  for (const char* user : {"ann", "bob"}) {
    adoptUser(*service, user);
    defaults.setObject(std::string("of ") + user, defaults_keys::kSourceId);
  }
  int steps = 0;
  for (bool interrupted = true; interrupted; ++steps) {
    EXPECT_EQ(sourceFor("ann"), "of ann") << steps;
    platform.defaults->beforeChange = [left = steps]() mutable {
      if (left-- == 0) throw Killed();
    };
    try {
      adoptUser(*service, "bob");
      interrupted = false;
    } catch (const Killed&) {
    }
    platform.defaults->beforeChange = {};
    EXPECT_EQ(sourceFor(steps % 2 == 0 ? "ann" : "bob"), steps % 2 == 0 ? "of ann" : "of bob")
        << steps;
  }
  EXPECT_GT(steps, 4);
  EXPECT_TRUE(defaults.objectForKey("quillfold.account.sources"));
  // One that the user has got since stays.
  EXPECT_EQ(sourceFor("ann"), "of ann");
  defaults.setObject(std::string("newer"), defaults_keys::kSourceId);
  EXPECT_EQ(sourceFor("ann"), "newer");
}

}  // namespace
}  // namespace quillfold::testing
