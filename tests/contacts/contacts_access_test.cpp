// The permission to read contacts, and reading them through the facade.
#include "contacts/contacts_authorization.h"
#include "events/view_controller.h"
#include "model/contact_mapper.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {
namespace {

using ::testing::_;
using ::testing::ElementsAre;
using Texts = std::vector<std::string>;

class ContactsAccess : public ServiceTest {
 protected:
  template <typename Completion>
  void call(int operation, Completion completion) {
    if (operation == 0) service->fetchContactsWithCompletion(completion);
    if (operation == 1) service->fetchContactsWithFieldType(QFContactFieldTypePhone, completion);
    if (operation == 2) service->fetchContactsWithBatchSize(5, 0, completion);
    if (operation == 3) service->fetchContactWithIdentifier("b", completion);
    if (operation == 4) service->getContactsCountWithCompletion(completion);
  }
  // A completion of any form that writes down where it ran, what it got, and what was
  // read for it.
  auto into(std::string& out) {
    return [this, &out](const auto& result, const ErrorPtr& error) {
      constexpr const char* kPlaces[] = {"caller ", "main ", "global ", "session "};
      out += kPlaces[static_cast<int>(FakePlatform::place())];
      if (error) {
        EXPECT_TRUE(result == std::decay_t<decltype(result)>());
        const ErrorPtr& cause = error->underlyingError();
        out += told(error) + (cause ? " for " + told(cause) : "");
        return;
      }
      const auto& keys = platform.contacts->lastKeys;
      const bool note = std::find(keys.begin(), keys.end(), CNContactNoteKey) != keys.end();
      const bool alone = keys == std::vector<CNKeyDescriptor>{CNContactIdentifierKey};
      out += told(result) + (note ? " with note" : alone ? " by identifier" : "");
    };
  }
  // What each operation answers, with an absent completion tried as well.
  Texts answers() {
    Texts out(5);
    for (int i = 0; i < 5; ++i) {
      call(i, nullptr);
      call(i, into(out[static_cast<std::size_t>(i)]));
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
};

TEST_F(ContactsAccess, IsWhatThePlatformSaysAtThatMoment) {
  platform.contacts->status = 0;
  for (const std::int64_t status : {0, 4, 3, 1, 3, 3}) {
    EXPECT_EQ(service->contactsAccessStatus(), status) << platform.contacts->status;
    EXPECT_EQ(service->authorizationService()->hasContactsReadAccess(), status == 1);
    EXPECT_EQ(service->authorizationService()->shouldShowSettingsAlert(), status >= 3);
    ++platform.contacts->status;
  }
}

TEST_F(ContactsAccess, IsRequestedThroughAStoreOfItsOwnAndAnsweredOnTheMainQueue) {
  platform.contacts->requestError = NSError::errorWithDomain("D", 7);
  const int storesBefore = platform.contacts->storesMade;
  Recorded<std::int64_t> asked;
  std::string granted;
  const auto ask = [&] {
    service->requestContactsAccessWithCompletion(
        [&](bool may) { granted += may ? "yes " : "no "; });
  };
  int copies = 0;
  service->authorizationService()->requestAccessWithCompletion(
      [record = asked.completion(), counted = Copied(copies)](
          std::int64_t status, const ErrorPtr& error) { record(status, error); });
  ask();
  service->requestContactsAccessWithCompletion(nullptr);
  ask();
  EXPECT_EQ(platform.contacts->storesMade, storesBefore + 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(platform.globalQueue->runOne());
  // What counts is the status at the end, not what the request was told. It changes with
  // each look, and the facade has one of its own.
  platform.contacts->onUse = [&status = platform.contacts->status] {
    status = status == CNAuthorizationStatusDenied ? CNAuthorizationStatusAuthorized
                                                   : CNAuthorizationStatusDenied;
  };
  platform.settle();
  EXPECT_EQ(asked.result, QFContactsAuthorizationStatusDenied);
  EXPECT_EQ(asked.failure, platform.contacts->requestError);
  EXPECT_TRUE(asked.calls == 1 && asked.place == Place::MainQueue);
  EXPECT_EQ(copies, 0) << "A copy could die off the main queue.";
  EXPECT_EQ(granted, "no yes ");
}

TEST_F(ContactsAccess, GuardsOnTheCallersThreadAndReadsForTheMainQueue) {
  platform.contacts->status = CNAuthorizationStatusDenied;
  EXPECT_EQ(answers(), Texts(5, "caller com.quillfold 1005: Quillfold not properly initialized"));
  makeReady();
  const std::string denied = "Contacts access denied. Please allow access in Settings.";
  EXPECT_EQ(answers(), Texts(5, "caller com.quillfold 1006: " + denied));
  EXPECT_EQ(platform.contacts->enumerations, 0);
  platform.contacts->status = CNAuthorizationStatusAuthorized;
  for (const std::int64_t wanted : {5, 0}) {
    const auto options = QFQuillfoldOptions::initWithRestrictedKeysToFetch({wanted});
    service->initializeWithAPIKey("KEY", "TOKEN", user(), options, {});
    platform.settle();
    EXPECT_EQ(answers(), Texts({wanted == 0 ? "main abc with note" : "main abc", "main ab",
                                "main abc with note", "main b with note", "main 2 by identifier"}));
    EXPECT_EQ(service->keysToFetch(), QFContactMapper::keysToFetch(wanted == 0));
  }
}

TEST_F(ContactsAccess, WrapsEveryFailureOfTheStore) {
  makeReady();
  Texts failed, raised;
  for (const std::string what : {"contacts", "contacts", "contacts", "contact", "count"}) {
    const bool count = what == "count";
    failed.push_back("main com.quillfold 1004: Failed to " +
                     (count ? "count contacts" : "fetch " + what) + " for CNErrorDomain 2: busy");
    raised.push_back("main com.quillfold 1004: Exception while " +
                     (count ? "counting contacts: why" : "fetching " + what + ": why"));
  }
  platform.contacts->storeError =
      NSError::errorWithDomain(CNErrorDomain, 2, {{NSLocalizedDescriptionKey, "busy"}});
  EXPECT_EQ(answers(), failed);
  // A read of all contacts has failed if the store says so, not if there is an error.
  platform.contacts->complete = true;
  EXPECT_THAT(answers(), ElementsAre("main abc", "main ab", "main abc with note", _, _));
  platform.contacts->storeError = nullptr;
  platform.contacts->complete = false;
  const std::string silent = "main com.quillfold 1004: Failed to fetch contacts";
  EXPECT_THAT(answers(), ElementsAre(silent, silent, silent, _, _));
  platform.contacts->exception = NSException("AnyException", "why");
  EXPECT_EQ(answers(), raised);
  // Exceptions of another kind are not caught.
  platform.contacts->onUse = [] {
    if (FakePlatform::place() == Place::GlobalQueue) throw std::runtime_error("other");
  };
  for (int i = 0; i < 5; ++i) {
    call(i, nullptr);
    EXPECT_THROW(platform.settle(), std::runtime_error) << i;
  }
}

TEST_F(ContactsAccess, SelectsByFieldAndCutsPages) {
  makeReady();
  const std::string note = " with note";
  const std::string byType[] = {"main abc", "main ab", "main a", "main a with note", "main abc"};
  for (std::int64_t type = 0; type < 5; ++type) {
    std::string answer;
    service->fetchContactsWithFieldType(type, into(answer));
    platform.settle();
    EXPECT_EQ(answer, byType[type]) << type;
  }
  const std::string range =
      "com.quillfold 1004: Exception while fetching contacts: The range lies outside the contacts.";
  using Row = std::tuple<std::int64_t, std::int64_t, std::string>;
  for (const auto& [size, index, start] :
       {Row{2, 0, "ab" + note}, Row{2, 1, "c" + note}, Row{3, 1, note}, Row{2, 9, note},
        Row{0, 0, note}, Row{2, -1, note}, Row{-2, 1, note}, Row{-2, 0, range}}) {
    std::string answer;
    service->fetchContactsWithBatchSize(size, index, into(answer));
    platform.settle();
    EXPECT_EQ(answer, "main " + start) << size << ' ' << index;
  }
}

TEST_F(ContactsAccess, LeadsToTheSettingsOnlyWhereAccessIsRefused) {
  UIViewController screen;
  const auto& alerts = platform.interface->alerts;
  for (const std::int64_t open :
       {CNAuthorizationStatusNotDetermined, CNAuthorizationStatusAuthorized}) {
    platform.contacts->status = open;
    service->authorizationService()->showSettingsAlertViewFromViewController(screen);
    EXPECT_TRUE(alerts.empty());
  }
  platform.contacts->status = CNAuthorizationStatusDenied;
  service->authorizationService()->showSettingsAlertViewFromViewController(screen);
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(platform.interface->presentedFrom, &screen);
  EXPECT_TRUE(platform.interface->wasAnimated);
  EXPECT_EQ(alerts[0]->title() + ": " + alerts[0]->message(),
            "Contacts Access Required: This app requires access to your contacts. Please enable "
            "contacts access in Settings.");
  const auto& actions = alerts[0]->actions();
  std::string styles = std::to_string(alerts[0]->preferredStyle());
  for (const auto& action : actions)
    styles += fmt::format(", {} {}{}", action.title, action.style, action.handler ? "!" : "");
  ASSERT_EQ(styles, "1, Cancel 1, Settings 0!");
  platform.interface->opens = false;
  actions[1].handler();
  EXPECT_TRUE(platform.interface->opened.empty());
  platform.interface->opens = true;
  actions[1].handler();
  EXPECT_EQ(platform.interface->opened,
            std::vector<std::string>{UIApplicationOpenSettingsURLString});
}

}  // namespace
}  // namespace quillfold::testing
