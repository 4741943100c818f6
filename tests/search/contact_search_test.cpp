// The search service, from a host's side.
#include "search/contact_search_service.h"

#include <thread>

#include "search/blocking_call.h"
#include "sync/contact_sync_info.h"
#include "sync/sync_info_dictionary.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::Property;
using ::testing::Throws;

// What a completion was given, and where.
struct Answer {
  int calls = 0;
  std::optional<std::string> contacts;  // identifiers
  std::int64_t total = -1;
  ErrorPtr error;
  Place place = Place::Session;
  int copies = 0;  // of the completion
};

class ContactSearch : public ServiceTest {
 protected:
  // A contact of the address book that has gone up.
  void add(const std::string& id, const std::string& name, const std::string& match) {
    platform.contacts->add(MemoryContacts::person(id, name));
    const auto record = service->syncInfoForContactId(id);
    record->setDisplayNameForSort(name);
    record->setMatchString(match);
  }
  void addPeople() {
    add("j", "John Smith", "John Smith 5551234567");
    add("z", "Zoe", "Zoe Smith");
    add("a", "adam", "adam Smithers");
    add("e", "émile", "émile Jones");
  }
  QFContactSyncInfoPtr record(const std::string& id) { return service->syncInfoForContactId(id); }

  SearchCompletion into(Answer& answer) {
    return [&answer, copied = Copied(answer.copies)](std::optional<QFContactList> contacts,
                                                     std::int64_t total, ErrorPtr error) {
      ++answer.calls;
      if (contacts) answer.contacts = told(contacts);
      answer.total = total;
      answer.error = error;
      answer.place = FakePlatform::place();
    };
  }
  QuickSearchCompletion quickInto(Answer& answer) {
    return [completion = into(answer)](auto contacts, ErrorPtr error) {
      completion(contacts, -1, error);
    };
  }
  Answer search(const OptionalString& query, std::uint64_t field = QFSearchFieldTypeAll,
                std::int64_t offset = 0, std::int64_t limit = 100) {
    Answer answer;
    searcher->searchContactsWithQuery(query, field, offset, limit, into(answer));
    platform.settle();
    EXPECT_EQ(answer.calls, 1);
    EXPECT_EQ(answer.copies, 0);
    return answer;
  }
  std::string found(const OptionalString& query, std::uint64_t field = QFSearchFieldTypeAll) {
    const Answer answer = search(query, field);
    return fmt::format("{} of {}", answer.contacts.value_or("absent"), answer.total);
  }
  std::string quick(const OptionalString& query) {
    Answer answer;
    searcher->quickSearchWithQuery(query, quickInto(answer));
    platform.settle();
    EXPECT_EQ(answer.copies, 0);
    return answer.contacts.value_or("absent");
  }

  std::shared_ptr<QFContactSearchService> searcher =
      QFContactSearchService::initWithContactService(service);
};

TEST_F(ContactSearch, FindsByWordsAndByTheWholeQuery) {
  addPeople();
  EXPECT_EQ(found("SMITH john"), "j of 1");
  EXPECT_EQ(found("smith") + found("smith Smith"), "jza of 3jza of 3");
  EXPECT_EQ(found("555"), "j of 1");
  EXPECT_EQ(found("(555)") + found("emile"), " of 0 of 0");
  EXPECT_EQ(found("\u3000e\u0301MILE\n"), "e of 1");
  EXPECT_EQ(found("smith", QFSearchFieldTypeName), "j of 1");
  EXPECT_EQ(quick("SMITH john"), "");
  EXPECT_EQ(quick("\tJohn smith "), "j");
  EXPECT_EQ(quick("john  smith"), "");
  for (const std::uint64_t field : {2U, 4U, 8U, 16U, 32U})
    EXPECT_EQ(found("zoe", field), "z of 1");
  for (const std::uint64_t field :
       {std::uint64_t{0}, std::uint64_t{3}, std::uint64_t{5}, ~std::uint64_t{0}}) {
    EXPECT_EQ(found("zoe", field), " of 0") << field;
    EXPECT_EQ(found(" ", field), "jzae of 4") << "no word, no field";
  }
  EXPECT_EQ(found(std::nullopt) + found(""), "jzae of 4jzae of 4");
  EXPECT_EQ(quick(" \n") + "," + quick(std::nullopt), "jzae,jzae");
  EXPECT_EQ(searcher->tokenizeQuery(" Ann\u2003ÖZ.ann\tann "),
            (std::vector<std::string>{"ann", "öz.ann", "ann"}));
}

TEST_F(ContactSearch, FollowsTheRecords) {
  addPeople();
  EXPECT_EQ(found("smith"), "jza of 3");
  record("z")->setIsDeleted(true);
  record("a")->setMatchString(std::nullopt);
  record("a")->setDisplayNameForSort(std::nullopt);
  record("j")->setMatchString("");
  EXPECT_EQ(found("smith"), "a of 1") << "nothing is known not to match an absent text";
  EXPECT_EQ(found("q", QFSearchFieldTypeName), "a of 1");
  EXPECT_EQ(quick("anything"), "a");
  record("a")->setContactId(std::nullopt);
  EXPECT_EQ(found(""), "je of 3") << "nothing can be read without an identifier";
  service->setSyncInfoCache(SyncInfoDictionary::dictionary());
  EXPECT_EQ(found("a"), " of 0");
  record("e")->setMatchString("a");
  EXPECT_EQ(found("a"), "e of 1");
}

template <typename T>
constexpr bool kTakenLast = requires(QFContactSearchService& service, T last) {
  service.quickSearchWithQuery("", last);
}
|| requires(QFContactSearchService& service, T last) {
  service.searchContactsWithQuery("", 2, 0, 9, last);
};
static_assert(!kTakenLast<std::nullptr_t>, "a search that waits, or an empty completion?");

TEST_F(ContactSearch, CutsPagesAndRaisesForRangesThatAreNone) {
  addPeople();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  for (const OptionalString& query : {OptionalString("smith"), OptionalString()}) {
    EXPECT_EQ(search(query, 2, 1, 1).contacts, "z");
    EXPECT_EQ(search(query, 2, 2, kMost).contacts, query ? "a" : "ae");
    const Answer beyond = search(query, 2, 4, 1);
    EXPECT_EQ(beyond.contacts, "");
    EXPECT_EQ(beyond.total, query ? 3 : 4);
    EXPECT_EQ(beyond.place, Place::Caller);
    EXPECT_EQ(search(query, 2, 0, 0).place, Place::Caller);
    EXPECT_EQ(search(query, 2, 0, 1).place, Place::MainQueue);
    using Page = std::pair<std::int64_t, std::int64_t>;
    for (const auto& [offset, limit] :
         {Page{-1, 5}, Page{-1, 0}, Page{0, -1}, Page{-2, INT64_MIN}}) {
      const auto call = [&, begin = offset, most = limit] {
        searcher->searchContactsWithQuery(query, 2, begin, most, SearchCompletion());
      };
      EXPECT_THAT(call, Throws<NSException>(Property(&NSException::name, NSRangeException)));
    }
  }
  for (int i = 10; i < 40; ++i)
    add("b" + std::to_string(i), "b" + std::to_string(i), "many");
  EXPECT_EQ(search("many").total, 30);
  const std::string first = quick("many");
  EXPECT_EQ(first.size(), 20 * 3u);
  EXPECT_TRUE(first.ends_with("b29"));
  Answer all;
  searcher->loadContactsWithCompletion(quickInto(all));
  platform.settle();
  EXPECT_EQ(all.contacts->size(), 30 * 3u + 4);
  EXPECT_EQ(searcher->getTotalContactsCountWithError(nullptr), 34);
}

TEST_F(ContactSearch, ReadsWhatItCanAndKeepsTheFirstError) {
  addPeople();
  record("k")->setDisplayNameForSort("K");  // Not in the address book.
  const Answer answer = search("");
  EXPECT_EQ(answer.contacts, "j") << "later ones count as failed too";
  EXPECT_EQ(answer.total, 5);
  EXPECT_EQ(answer.error, nullptr);
  const std::string text = ": Error Domain=CNErrorDomain Code=200 \"(null)\"";
  for (const char* id : {"k", "z", "a", "e"}) {
    EXPECT_TRUE(platform.log->contains("Error fetching contact " + std::string(id) + text)) << id;
  }
  EXPECT_THAT(platform.contacts->lastKeys, ::testing::Not(::testing::Contains(CNContactNoteKey)));
  for (const auto& [reason, expected] :
       {std::pair{"broken", "com.quillfold.search -1: broken"},
        std::pair{"", "com.quillfold.search -1: Error fetching contacts"}}) {
    platform.contacts->exception = NSException(NSInvalidArgumentException, reason);
    const Answer failed = search("smith");
    EXPECT_FALSE(failed.contacts);
    EXPECT_EQ(failed.total, 3);
    EXPECT_EQ(told(failed.error), expected);
    EXPECT_EQ(failed.place, Place::MainQueue);
  }
}

TEST_F(ContactSearch, HasNoContactsWithoutItsService) {
  addPeople();
  searcher = QFContactSearchService::initWithContactService(nullptr);
  EXPECT_EQ(found("smith") + found("") + quick("smith"), " of 0 of 0");
  EXPECT_EQ(searcher->getTotalContactsCountWithError(nullptr), 0);
  ErrorPtr error;
  EXPECT_EQ(searcher->getTotalContactsCountWithError(&error), 0);
  EXPECT_EQ(told(error), "com.quillfold.search -1: Failed to retrieve contacts sync info");
  bool counted = false;
  searcher->getContactsCountWithCompletion(
      [&](std::int64_t count, const ErrorPtr& none) { counted = count == 0 && !none; });
  EXPECT_TRUE(counted);
  const auto shared = QFContactSearchService::sharedInstance();
  EXPECT_EQ(shared, QFContactSearchService::sharedInstance());
  EXPECT_EQ(shared->contactService(), service);
  EXPECT_NE(shared->contactStore(), searcher->contactStore());
  EXPECT_EQ(platform.log->count("Initializing QFContactSearchService class"), 1U);
  EXPECT_TRUE(shared->initialize());
  EXPECT_EQ(platform.log->count("Initializing search service instance"), 4U);
}

TEST_F(ContactSearch, BlocksUntilTheAnswerOrTheLimit) {
  addPeople();
  const auto earlier = NSError::errorWithDomain("earlier", 1);
  ErrorPtr error = earlier;
  EXPECT_TRUE(searcher->searchContactsWithQuery("nobody", 2, 0, 9, &error).empty());
  EXPECT_EQ(error, earlier) << "nothing to read, nothing to wait for, no error";
  const auto onThread = [&](auto call) {
    std::atomic<bool> done = false;
    std::jthread thread([&] {
      call();
      done = true;
    });
    const auto begin = std::chrono::steady_clock::now();
    while (!done)
      platform.settle();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9)) << "woken up";
  };
  onThread(
      [&] { EXPECT_EQ(told(searcher->searchContactsWithQuery("smith", 2, 1, 9, &error)), "za"); });
  onThread([&] { EXPECT_EQ(told(searcher->quickSearchWithQuery("smith")), "jza"); });
  EXPECT_EQ(error, earlier);
  platform.contacts->exception = NSException(NSInvalidArgumentException, "broken");
  onThread([&] { EXPECT_TRUE(searcher->quickSearchWithQuery("smith", &error).empty()); });
  EXPECT_EQ(error->localizedDescription(), "broken");
  platform.contacts->exception.reset();

  // Ten seconds each, that nobody spends.
  static std::chrono::nanoseconds waited{};
  BlockingCall::timedWait = [](auto&, auto&, auto&, std::chrono::nanoseconds limit) {
    waited += limit;
  };
  EXPECT_TRUE(searcher->searchContactsWithQuery("smith", 2, 0, 9, &error).empty());
  EXPECT_EQ(told(error), "com.quillfold.search -2: Search operation timed out");
  EXPECT_TRUE(searcher->quickSearchWithQuery("smith", &error).empty());
  EXPECT_EQ(error->localizedDescription(), "Quick search operation timed out");
  EXPECT_TRUE(searcher->quickSearchWithQuery("smith").empty());
  EXPECT_EQ(waited, std::chrono::seconds(30));
  platform.settle();  // The late answers find their slots.
}

}  // namespace
}  // namespace quillfold::testing
