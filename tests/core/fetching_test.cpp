// Reading the device's address book through the facade.
#include "model/contact_mapper.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using Texts = std::vector<std::string>;

std::string text(std::int64_t count) {
  return std::to_string(count);
}
std::string text(const QFContactPtr& contact) {
  return contact->identifier();
}
std::string text(const std::optional<QFContactList>& contacts) {
  std::string out;
  for (const auto& contact : *contacts)
    out += contact->identifier();
  return out;
}

class Fetching : public ServiceTest {
 protected:
  static constexpr int kOperations = 5;

  template <typename Completion>
  void call(int operation, Completion completion) {
    switch (operation) {
      case 0:
        return service->fetchContactsWithCompletion(completion);
      case 1:
        return service->fetchContactsWithFieldType(QFContactFieldTypePhone, completion);
      case 2:
        return service->fetchContactsWithBatchSize(5, 0, completion);
      case 3:
        return service->fetchContactWithIdentifier("b", completion);
      default:
        return service->getContactsCountWithCompletion(completion);
    }
  }

  // A completion of any form that writes down what it got.
  auto into(std::string& out) {
    return [this, &out](const auto& result, const ErrorPtr& error) {
      failure = error;
      out += (FakePlatform::place() == Place::MainQueue ? "main " : "caller ") +
             (error ? told(error) : text(result));
    };
  }

  // What each operation answers, with an absent completion tried as well.
  Texts answers() {
    Texts out;
    for (int i = 0; i < kOperations; ++i) {
      call(i, into(out.emplace_back()));
      call(i, nullptr);
      platform.settle();
    }
    return out;
  }

  void SetUp() override {
    auto full = MemoryContacts::person("a", "Zoe", "+1 555 0100");
    full.emailAddresses.push_back({"_$!<Home>!$_", "zoe@example.com"});
    full.note = "likes tea";
    platform.contacts->add(full);
    platform.contacts->add(MemoryContacts::person("b", "Adam", "+1 555 0101"));
    platform.contacts->add(MemoryContacts::person("c", "Bob"), "work");
  }

  ErrorPtr failure;
};

TEST_F(Fetching, GuardsOnTheCallersThreadThenAnswersOnTheMainQueue) {
  platform.contacts->status = CNAuthorizationStatusDenied;
  EXPECT_EQ(answers(), Texts(5, "caller com.quillfold 1005: Quillfold not properly initialized"));
  makeReady();
  EXPECT_EQ(answers(), Texts(5,
                             "caller com.quillfold 1006: Contacts access denied. Please allow "
                             "access in Settings."));
  EXPECT_EQ(platform.contacts->enumerations, 0);
  platform.contacts->status = CNAuthorizationStatusAuthorized;
  EXPECT_EQ(answers(), Texts({"main abc", "main ab", "main abc", "main b", "main 2"}));
}

TEST_F(Fetching, WrapsEveryFailureOfTheStore) {
  makeReady();
  platform.contacts->storeError = NSError::errorWithDomain(CNErrorDomain, 2);
  Texts failed, raised;
  for (const std::string noun : {"contacts", "contacts", "contacts", "contact"}) {
    failed.push_back("main com.quillfold 1004: Failed to fetch " + noun);
    raised.push_back("main com.quillfold 1004: Exception while fetching " + noun + ": why");
  }
  failed.push_back("main com.quillfold 1004: Failed to count contacts");
  raised.push_back("main com.quillfold 1004: Exception while counting contacts: why");
  EXPECT_EQ(answers(), failed);
  EXPECT_EQ(failure->underlyingError(), platform.contacts->storeError);
  platform.contacts->exception = NSException("AnyException", "why");
  EXPECT_EQ(answers(), raised);
  EXPECT_EQ(failure->underlyingError(), nullptr);
}

TEST_F(Fetching, ReadsTheNoteWhereTheOptionsOrTheOperationAskForIt) {
  for (const std::set<std::int64_t>& options : {std::set<std::int64_t>{}, {5}, {0}}) {
    service->initializeWithAPIKey("KEY", "TOKEN", user(),
                                  QFQuillfoldOptions::initWithRestrictedKeysToFetch(options), {});
    platform.settle();
    std::vector<bool> note;
    for (int i = 0; i < kOperations; ++i) {
      call(i, nullptr);
      platform.settle();
      const auto& keys = platform.contacts->lastKeys;
      note.push_back(std::find(keys.begin(), keys.end(), CNContactNoteKey) != keys.end());
    }
    EXPECT_EQ(note, std::vector<bool>({options.contains(0), false, true, true, false}));
    EXPECT_EQ(service->keysToFetch(), QFContactMapper::keysToFetch(options.contains(0)));
  }
}

TEST_F(Fetching, SelectsByFieldAndCutsPages) {
  makeReady();
  const Texts byType = {"main abc", "main ab", "main a", "main a", "main abc"};
  for (std::size_t type = 0; type < byType.size(); ++type) {
    std::string answer;
    service->fetchContactsWithFieldType(static_cast<std::int64_t>(type), into(answer));
    platform.settle();
    EXPECT_EQ(answer, byType[type]) << type;
  }
  using Row = std::tuple<std::int64_t, std::int64_t, std::string>;
  const std::string range = "com.quillfold 1004: Exception while fetching contacts: ";
  for (const Row& row :
       {Row{2, 0, "ab"}, Row{2, 1, "c"}, Row{3, 1, ""}, Row{2, 9, ""}, Row{0, 0, ""},
        Row{2, -1, ""}, Row{-2, 1, ""}, Row{-2, 0, range}, Row{INT64_MAX, 0, "abc"}}) {
    const auto& [size, index, start] = row;
    std::string answer;
    service->fetchContactsWithBatchSize(size, index, into(answer));
    platform.settle();
    EXPECT_EQ(answer.substr(0, 5 + range.size()), "main " + start) << size << ' ' << index;
  }
}

}  // namespace
}  // namespace quillfold::testing
