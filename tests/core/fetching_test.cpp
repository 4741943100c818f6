// Reading the device's address book through the facade.
#include "model/contact_mapper.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kNotReady = "com.quillfold 1005: Quillfold not properly initialized";
constexpr const char* kDenied =
    "com.quillfold 1006: Contacts access denied. Please allow access in Settings.";

class Fetching : public ServiceTest {
 protected:
  // One outcome of any of the five operations: what came, as identifiers or a count.
  struct Answer {
    int calls = 0;
    std::vector<std::string> ids;
    bool absent = false;
    ErrorPtr error;
    Place place = Place::Caller;
  };

  ContactsCompletion into(Answer& answer) {
    return [&answer](const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
      answer = {answer.calls + 1, {}, !contacts, error, FakePlatform::place()};
      for (const auto& contact : contacts.value_or(QFContactList())) {
        answer.ids.push_back(contact->identifier());
      }
    };
  }

  using Operation = std::function<void(Answer* answer)>;
  // A null answer stands for an absent completion.
  std::vector<std::pair<std::string, Operation>> operations() {
    const auto list = [this](Answer* a) { return a ? into(*a) : ContactsCompletion(); };
    return {
        {"contacts", [=, this](Answer* a) { service->fetchContactsWithCompletion(list(a)); }},
        {"contacts", [=, this](Answer* a) { service->fetchContactsWithFieldType(1, list(a)); }},
        {"contacts", [=, this](Answer* a) { service->fetchContactsWithBatchSize(5, 0, list(a)); }},
        {"contact",
         [this](Answer* a) {
           service->fetchContactWithIdentifier(
               "a", !a ? ContactCompletion() : [a](const auto& contact, const auto& error) {
                 *a = {a->calls + 1, {}, !contact, error, FakePlatform::place()};
                 if (contact) a->ids = {contact->identifier()};
               });
         }},
        {"count", [this](Answer* a) {
           service->getContactsCountWithCompletion(
               !a ? CountCompletion() : [a](std::int64_t count, const ErrorPtr& error) {
                 *a = {a->calls + 1, {}, error != nullptr, error, FakePlatform::place()};
                 a->ids = {std::to_string(count)};
               });
         }}};
  }

  void SetUp() override {
    auto withAll = MemoryContacts::person("a", "Zoe", "+1 555 0100");
    withAll.emailAddresses.push_back({"_$!<Home>!$_", "zoe@example.com"});
    withAll.note = "likes tea";
    platform.contacts->add(withAll);
    platform.contacts->add(MemoryContacts::person("b", "Adam", "+1 555 0101"));
    platform.contacts->add(MemoryContacts::person("c", "Bob"), "work");
  }
};

TEST_F(Fetching, GuardsOnTheCallersThreadStateFirst) {
  platform.contacts->status = CNAuthorizationStatusDenied;
  for (const char* expected : {kNotReady, kDenied}) {
    for (const auto& [text, operation] : operations()) {
      Answer answer;
      operation(&answer);
      operation(nullptr);
      EXPECT_EQ(answer.calls, 1);
      EXPECT_TRUE(answer.absent);
      EXPECT_EQ(told(answer.error), expected);
      EXPECT_EQ(answer.place, Place::Caller);
    }
    makeReady();
  }
  platform.settle();
  EXPECT_EQ(platform.contacts->enumerations, 0);
}

TEST_F(Fetching, AnswersOnTheMainQueueAndWrapsEveryFailureOfTheStore) {
  makeReady();
  const auto run = [this](const Operation& operation) {
    Answer answer;
    operation(&answer);
    operation(nullptr);
    EXPECT_EQ(answer.calls, 0);
    platform.settle();
    EXPECT_EQ(answer.calls, 1);
    EXPECT_EQ(answer.place, Place::MainQueue);
    return answer;
  };
  for (const auto& [text, operation] : operations())
    EXPECT_EQ(run(operation).error, nullptr);

  platform.contacts->storeError = NSError::errorWithDomain(CNErrorDomain, 2);
  for (const auto& [text, operation] : operations()) {
    const Answer answer = run(operation);
    EXPECT_TRUE(answer.absent);
    const std::string verb = text == "count" ? "count contacts" : "fetch " + text;
    EXPECT_EQ(told(answer.error), "com.quillfold 1004: Failed to " + verb);
    EXPECT_EQ(answer.error->underlyingError(), platform.contacts->storeError);
  }

  platform.contacts->exception = NSException("AnyException", "no key");
  for (const auto& [text, operation] : operations()) {
    const Answer answer = run(operation);
    EXPECT_TRUE(answer.absent);
    const std::string verb = text == "count" ? "counting contacts" : "fetching " + text;
    EXPECT_EQ(told(answer.error), "com.quillfold 1004: Exception while " + verb + ": no key");
    EXPECT_EQ(answer.error->underlyingError(), nullptr);
  }
  EXPECT_TRUE(service->isInitialized());
}

TEST_F(Fetching, ReadsTheNoteWhereTheOptionsOrTheOperationAskForIt) {
  struct Row {
    std::set<std::int64_t> options;
    bool wholeStoreReadsNote;
  };
  for (const Row& row : {Row{{}, false}, Row{{5}, false}, Row{{0}, true}}) {
    service->initializeWithAPIKey(
        "KEY", "TOKEN", user(), QFQuillfoldOptions::initWithRestrictedKeysToFetch(row.options), {});
    platform.settle();
    const auto readsNote = [this](const Operation& operation) {
      operation(nullptr);
      platform.settle();
      const auto& keys = platform.contacts->lastKeys;
      return std::find(keys.begin(), keys.end(), CNContactNoteKey) != keys.end();
    };
    std::vector<bool> note;
    for (const auto& [text, operation] : operations())
      note.push_back(readsNote(operation));
    EXPECT_EQ(note, std::vector<bool>({row.wholeStoreReadsNote, false, true, true, false}));
    EXPECT_TRUE(readsNote(
        [this](Answer*) { service->fetchContactsWithFieldType(3, ContactsCompletion()); }));
    EXPECT_EQ(service->keysToFetch(), QFContactMapper::keysToFetch(row.wholeStoreReadsNote));
  }
}

TEST_F(Fetching, KeepsWhatHasTheFieldInTheStoresOrder) {
  makeReady();
  const std::vector<std::vector<std::string>> expected = {
      {"a", "b", "c"}, {"a", "b"}, {"a"}, {"a"}, {"a", "b", "c"}};
  for (std::size_t type = 0; type < expected.size(); ++type) {
    Answer answer;
    service->fetchContactsWithFieldType(static_cast<std::int64_t>(type), into(answer));
    platform.settle();
    EXPECT_EQ(answer.ids, expected[type]) << type;
  }
}

TEST_F(Fetching, CutsPagesFromTheWholeStore) {
  makeReady();
  struct Row {
    std::int64_t size, index;
    std::vector<std::string> ids;
    std::string error;
  };
  const std::string range = "com.quillfold 1004: Exception while fetching contacts: ";
  const Row rows[] = {{2, 0, {"a", "b"}, ""},
                      {2, 1, {"c"}, ""},
                      {3, 1, {}, ""},
                      {2, 9, {}, ""},
                      {0, 0, {}, ""},
                      {2, -1, {}, ""},
                      {-2, 1, {}, ""},
                      {-2, 0, {}, range},
                      {-2, -1, {}, range},
                      {1, 2, {"c"}, ""},
                      {INT64_MAX, 0, {"a", "b", "c"}, ""}};
  for (const Row& row : rows) {
    SCOPED_TRACE(fmt::format("{} {}", row.size, row.index));
    Answer answer;
    service->fetchContactsWithBatchSize(row.size, row.index, into(answer));
    platform.settle();
    EXPECT_EQ(answer.ids, row.ids);
    EXPECT_EQ(told(answer.error).substr(0, range.size()), row.error);
    EXPECT_EQ(answer.absent, !row.error.empty());
  }
}

TEST_F(Fetching, FindsOneCountsTheDefaultContainerAndWrapsAnUnknownIdentifier) {
  makeReady();
  Answer answer;
  const auto all = operations();
  all[3].second(&answer);
  platform.settle();
  EXPECT_THAT(answer.ids, ElementsAre("a"));
  all[4].second(&answer);
  platform.settle();
  EXPECT_THAT(answer.ids, ElementsAre("2"));

  Recorded<QFContactPtr> unknown;
  service->fetchContactWithIdentifier("nobody", unknown.completion());
  platform.settle();
  EXPECT_EQ(unknown.result, nullptr);
  EXPECT_EQ(unknown.error, "com.quillfold 1004: Failed to fetch contact");
  EXPECT_EQ(unknown.failure->underlyingError()->code(), CNErrorCodeRecordDoesNotExist);
}

}  // namespace
}  // namespace quillfold::testing
