#include <algorithm>
#include <future>

#include "adapters/desktop/fetch_time.h"
#include "adapters/desktop/glib_thread.h"
#include "model/contact_mapper.h"
#include "quillfold/desktop.h"
#include "tests/adapters/desktop/desktop_session.h"
#include "tests/adapters/desktop/directory_server.h"
#include "tests/adapters/linux/contacts_fixture.h"

namespace quillfold {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using namespace std::literals;
using Clock = std::chrono::steady_clock;
using Identifiers = std::vector<std::string>;

constexpr std::chrono::seconds kLongest{20};

class Desktop : public ContactsFixture {
 protected:
  void start(std::chrono::milliseconds limit = kLongest) {
    limit_ = std::min<std::chrono::milliseconds>(limit, kLongest);
    Platform platform = makeLinuxPlatform({});
    platform.notifications = center;
    platform.userDefaults = defaults;
    desktopContacts({.timeLimit = limit})(platform);
    provider = platform.contacts;
    const auto made = platform.contacts->makeStore();
    store = {made.get(), [made, held = platform.contacts](auto*) {}};
    std::promise<bool> granted;
    store->requestAccessForEntityType(CNEntityTypeContacts,
                                      [&](bool answer, ErrorPtr) { granted.set_value(answer); });
    ASSERT_TRUE(granted.get_future().get());
    EXPECT_THAT(defaults->values, IsEmpty()) << "nobody was asked";
  }

  // The identifiers, or the text of the failure. Never takes much longer than the limit.
  Identifiers fetch() {
    ErrorPtr error;
    const auto begin = Clock::now();
    Identifiers all = identifiers(*store, &error);
    EXPECT_LT(Clock::now() - begin, limit_ + std::chrono::seconds(3));
    if (!error) return all;
    EXPECT_EQ(error->domain(), CNErrorDomain);
    EXPECT_EQ(error->code(), CNErrorCodeDataAccessError);
    return {error->localizedDescription()};
  }
  // Fetches whenever a change is told, until what comes is as expected.
  testing::AssertionResult soon(const testing::Matcher<const Identifiers&>& expected) {
    Identifiers all;
    for (int i = 0; i < 50 && notified(); ++i) {
      all = fetch();
      if (expected.Matches(all)) return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << testing::PrintToString(all);
  }
  // The next lines of the log, behind as many fetches as they take.
  std::vector<std::string> logged(std::size_t count = 1) {
    std::vector<std::string> lines;
    const auto end = Clock::now() + kLongest;
    while (lines.size() < count && Clock::now() < end) {
      fetch();
      for (std::string& line : log->take())
        lines.push_back(std::move(line));
    }
    return lines;
  }
  std::size_t count(const std::string& container) {
    const auto predicate =
        CNContactPredicate::predicateForContactsInContainerWithIdentifier(container);
    return store->unifiedContactsMatchingPredicate(predicate, {}, nullptr).size();
  }

  std::shared_ptr<CNContactStore> store;
  std::weak_ptr<ContactsProvider> provider;  // Held by the store.

 private:
  std::chrono::milliseconds limit_{};
};

const std::vector<CNKeyDescriptor> kKeys = QFContactMapper::keysToFetch(true);

// All that a contact holds but its identifier.
auto contents(const CNContact& c) {
  return std::tuple(c.contactType(), c.namePrefix(), c.givenName(), c.middleName(), c.familyName(),
                    c.nameSuffix(), c.nickname(), c.organizationName(), c.departmentName(),
                    c.jobTitle(), c.note(), c.imageData(), c.birthday(), c.phoneNumbers(),
                    c.emailAddresses(), c.postalAddresses(), c.urlAddresses(), c.contactRelations(),
                    c.socialProfiles(), c.instantMessageAddresses());
}
auto contents(CNContactStore& store) {
  std::vector<decltype(contents(std::declval<CNContact>()))> all;
  store.enumerateContactsWithFetchRequest(
      {kKeys}, nullptr, [&](const CNContact& contact) { all.push_back(contents(contact)); });
  return all;
}

// The cards of the sample book but those of version 2.1, which the service can't read.
std::string sampleCards() {
  std::string cards;
  for (const auto& file : std::filesystem::recursive_directory_iterator(SAMPLE_BOOK)) {
    if (!file.is_regular_file()) continue;
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    for (std::size_t begin = 0; (begin = text.find("BEGIN:", begin)) != std::string::npos;) {
      const std::size_t end = std::min(text.find("END:VCARD", begin), text.size() - 9) + 9;
      const std::string card = text.substr(begin, end - begin);
      if (card.find("VERSION:2.1") == std::string::npos) cards += card + "\r\n";
      begin = end;
    }
  }
  return cards;
}

TEST_F(Desktop, ReadsCardsAsFromFiles) {
  const DesktopSession session;
  std::string cards = sampleCards();
  for (int i = 1000; i < 1060; ++i)
    cards += card("picture" + std::to_string(i), "PHOTO;ENCODING=b:/9j/" + std::to_string(i));
  const std::string none = ";VALUE=uri:file:///none\n", foreign = ";VALUE=uri:file:///bin/true\n";
  for (const std::string kind : {"PHOTO", "LOGO"})
    cards += card("of" + kind, kind + none + kind + foreign + kind + foreign);
  session.edit({"add", kPersonal, cards});
  session.edit({"add", kPersonal, card("list", "X-EVOLUTION-LIST:TRUE\r\nEMAIL:ann@example.com")});
  start(std::chrono::milliseconds::max());
  write("book.vcf", cards);
  const auto there = contents(*authorized(root / "book.vcf")->makeStore());
  EXPECT_GT(there.size(), 300u);
  EXPECT_TRUE(std::ranges::is_permutation(contents(*store), there));
  EXPECT_THAT(fetch(), testing::Contains("sample-0249"));
}

TEST_F(Desktop, ReadsSeveralBooksAndTellsTheirChanges) {
  const DesktopSession session;
  session.edit({"add", kPersonal, card("twin")});
  const std::string work = session.edit({"make", "Work", "0"});
  session.edit({"add", work, card("twin", "NOTE:other")});
  start();
  EXPECT_THAT(fetch(), SizeIs(2));
  auto first = std::exchange(store, nullptr);
  start();
  const std::string twin = work + "/twin", third = session.edit({"make", "Third", "0"});
  EXPECT_THAT(fetch(), UnorderedElementsAre("twin", twin));
  first.reset();
  EXPECT_EQ(count(store->defaultContainerIdentifier()), 1u);
  EXPECT_EQ(count(work), 1u);
  EXPECT_EQ(count("none"), 0u);
  ErrorPtr error;
  EXPECT_EQ(store->unifiedContactWithIdentifier(twin, kKeys, &error)->note(), "other");
  EXPECT_FALSE(store->unifiedContactWithIdentifier(work, kKeys, &error));
  EXPECT_EQ(error->code(), CNErrorCodeRecordDoesNotExist);

  const auto both = UnorderedElementsAre("twin", twin);
  const std::pair<Identifiers, testing::Matcher<const Identifiers&>> changes[] = {
      {{"add", work, card("new")}, UnorderedElementsAre("twin", twin, work + "/new")},
      {{"remove", work, "new"}, both},
      {{"add", third, card("t")}, UnorderedElementsAre("twin", twin, third + "/t")},
      {{"disable", work}, UnorderedElementsAre("twin", third + "/t")},
      {{"enable", work}, SizeIs(3)},
      {{"delete", third}, both},
      {{"change", work, card("twin", "NOTE:now")}, both}};
  for (const auto& [change, expected] : changes) {
    session.edit(change);
    EXPECT_TRUE(soon(expected)) << change[0] << ' ' << change[1];
  }
  EXPECT_EQ(store->unifiedContactWithIdentifier(twin, kKeys, &error)->note(), "now");
  const desktop::Owned<GSettings> settings(g_settings_new("org.gnome.Evolution.DefaultSources"));
  ChildProgram host(QUILLFOLD_HOST, {"--home", root / "home", "--book", "desktop", "plan"});
  EXPECT_THAT(host.rest(), testing::ContainsRegex("twin.*\\n.*twin"));
  EXPECT_EQ(host.exitStatus(), 0);
  g_settings_set_string(settings.get(), "default-address-book", work.c_str());
  // What is told may be an earlier change yet.
  for (int i = 0; i < 50 && count(kPersonal) == 0 && notified(); ++i) {
  }
  EXPECT_EQ(count(kPersonal), 1u);
  EXPECT_THAT(fetch(), both);
}

TEST_F(Desktop, LeavesOutDirectoriesThatAreOutOfReach) {
  DirectoryServer directory;
  directory.slow = true;
  const std::tuple<std::string, bool, std::size_t, const char*> cases[] = {
      {directory.port, true, 4, "it does not answer in time"},
      {directory.port, false, 4, "it does not answer in time"},
      {"1", false, 1, ".*(offline|No such source).*"}};
  for (const auto& [port, mute, count, reason] : cases) {
    const DesktopSession session;
    session.edit({"add", kPersonal, card("a")});
    for (std::size_t i = 0; i < count; ++i)
      session.edit({"make", "Directory", port});
    directory.mute = mute;
    start(std::chrono::seconds(8));
    EXPECT_THAT(fetch(), ElementsAre("a"));
    const auto lines = logged(count);
    EXPECT_THAT(lines, SizeIs(count));
    EXPECT_THAT(lines,
                testing::Each(testing::MatchesRegex("Directory .* is left out: "s + reason)));
    session.edit({"add", kPersonal, card("b")});
    EXPECT_TRUE(soon(SizeIs(2)));
    EXPECT_THAT(log->take(), IsEmpty()) << "they are not asked each time";
    store.reset();
  }
}

TEST(FetchTime, IsSharedByTheBooksThatAreLeft) {
  desktop::FetchTime time(80s);
  time.setBooks({"a", "b"});
  for (const auto& [done, share] : {std::pair("", 20s), std::pair("a", 40s), std::pair("b", 40s)}) {
    time.finish(done);
    const auto begin = Clock::now();
    const auto end = time.spend([](desktop::Deadline deadline) { return deadline; });
    EXPECT_LT(std::chrono::abs(end - begin - share), 5s) << done;
  }
}

TEST_F(Desktop, TellsADeadServiceFromASlowDirectory) {
  DirectoryServer directory;
  for (const int number : {SIGKILL, SIGSTOP}) {
    const DesktopSession session;
    session.edit({"add", kPersonal, card("a")});
    const std::string contact =
        session.edit({"make", "Zoo", directory.port}) + '/' + DirectoryServer::kContact;
    const auto both = UnorderedElementsAre("a", contact);
    directory.slow = true;
    start(std::chrono::seconds(8));
    directory.waiting = 0;
    auto result = std::async(std::launch::async, [this] { return fetch(); });
    while (directory.waiting == 0 && result.wait_for(10ms) != std::future_status::ready) {
    }
    EXPECT_EQ(provider.lock()->skippedContacts(), 0) << "or waits for the fetch";
    directory.slow = false;
    session.signal(kDaemons[1], number);
    if (number == SIGKILL) {
      EXPECT_THAT(result.get(), both);
    } else {
      EXPECT_THAT(result.get(), ElementsAre(HasSubstr("does not answer")));
      session.signal(kDaemons[1], SIGCONT);
      EXPECT_TRUE(soon(both));
    }
    EXPECT_THAT(log->take(), IsEmpty());

    directory.slow = true;
    session.signal(kDaemons[1], SIGKILL);
    EXPECT_TRUE(soon(both));
    EXPECT_THAT(logged(), ElementsAre(HasSubstr(" stays as it was read last: ")));
    store.reset();
  }
}

TEST_F(Desktop, LosesNothingToASlowDirectory) {
  const DesktopSession session;
  DirectoryServer directories[2];
  std::string made[2];
  for (const int i : {0, 1})
    made[i] = session.edit({"make", std::to_string(i), directories[i].port});
  start(4s);
  EXPECT_THAT(fetch(), SizeIs(2));
  directories[0].slow = true;
  for (const std::string& each : made)
    session.edit({"add", each, card("new")});
  EXPECT_TRUE(soon(SizeIs(2)));
  EXPECT_THAT(logged(), ElementsAre(HasSubstr(made[0] + ") stays as it was read last: ")));
  const int before = directories[0].waiting;
  session.edit({"rename", made[0]});
  session.edit({"add", made[0], card("newer")});
  while (directories[0].waiting == before && notified())
    EXPECT_THAT(fetch(), SizeIs(2));
  EXPECT_GT(directories[0].waiting, before) << "it is asked again once it tells";
  session.edit({"disable", made[0]});
  EXPECT_TRUE(soon(SizeIs(1)));
  session.edit({"enable", made[0]});
  EXPECT_TRUE(soon(SizeIs(2))) << "what was read is kept for its return";
}

TEST_F(Desktop, OutlivesDaemonsThatAreKilled) {
  const DesktopSession session;
  session.edit({"add", kPersonal, card("a")});
  start();
  EXPECT_THAT(fetch(), ElementsAre("a"));
  for (const char* daemon : kDaemons) {
    session.signal(daemon, SIGKILL);
    EXPECT_TRUE(soon(ElementsAre("a"))) << daemon;
    session.edit({"add", kPersonal, card("b")});
    EXPECT_TRUE(soon(UnorderedElementsAre("a", "b"))) << daemon;
    session.edit({"remove", kPersonal, "b"});
    EXPECT_TRUE(soon(ElementsAre("a"))) << daemon;
  }
}

TEST_F(Desktop, DoesNotHangWithDaemonsThatDo) {
  const DesktopSession session;
  session.edit({"add", kPersonal, card("a")});
  const auto silent = ElementsAre(testing::EndsWith("service does not answer in time"));
  const auto expectSilence = [&] {
    EXPECT_THAT(fetch(), silent);
    for (auto begin = Clock::now(), now = begin; now - begin < 300ms; now = Clock::now()) {
      EXPECT_THAT(fetch(), silent);
      EXPECT_LT(Clock::now() - now, 400ms) << "nobody waits twice";
    }
  };
  start(500ms);
  session.signalBus(SIGSTOP);
  expectSilence();
  session.signalBus(SIGCONT);
  EXPECT_TRUE(soon(ElementsAre("a")));
  store.reset();
  start(500ms);
  session.signal(kDaemons[0], SIGSTOP);
  expectSilence();
  session.signal(kDaemons[0], SIGCONT);
  EXPECT_TRUE(soon(ElementsAre("a")));

  session.edit({"add", kPersonal, card("b")});
  EXPECT_TRUE(notified());
  session.signal(kDaemons[1], SIGSTOP);
  expectSilence();
  session.signal(kDaemons[1], SIGCONT);
  EXPECT_TRUE(soon(UnorderedElementsAre("a", "b")));

  session.signal(kDaemons[1], SIGSTOP);
  EXPECT_THAT(fetch(), SizeIs(2)) << "what was read is what is there";
  store.reset();
}

TEST_F(Desktop, IsQuietAboutABookThatCannotBeRead) {
  const DesktopSession session;
  const std::string large = session.edit({"make", "Large", "0"});
  for (int i = 0; i < 2; ++i)
    session.edit({"fill", large, "20"});
  start(std::chrono::seconds(5));
  for (int i = 0; i < 2; ++i)
    EXPECT_THAT(fetch(), ElementsAre(HasSubstr("can't be read")));
  EXPECT_FALSE(notified({}));
  session.edit({"disable", large});
  EXPECT_TRUE(soon(IsEmpty()));
}

TEST_F(Desktop, SaysWhatIsMissing) {
  const auto needMemory = [](auto*) -> int { throw std::bad_alloc(); };
  EXPECT_THROW(desktop::GLibThread().call<int>(Clock::time_point::max(), needMemory, nullptr),
               std::bad_alloc);
  start();
  {
    const DesktopSession session(false);
    EXPECT_THAT(fetch(), ElementsAre(HasSubstr("(package evolution-data-server)")));
  }
  EXPECT_THAT(fetch(), ElementsAre(HasSubstr("there is no session bus")));
  DesktopSession session;
  // The host's own, of a context that it does not run.
  desktop::Owned<GDBusConnection> shared(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  EXPECT_TRUE(soon(IsEmpty()));
  session.end();
  const auto end = Clock::now() + kLongest;
  while (fetch().empty() && Clock::now() < end) {
  }
  const DesktopSession another;
  EXPECT_THAT(fetch(), ElementsAre(HasSubstr("session bus")));
  shared = nullptr;
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  EXPECT_TRUE(soon(IsEmpty()));
}

}  // namespace
}  // namespace quillfold
