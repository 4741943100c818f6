// The record itself and what is derived from it: display name, match string,
// section and display line.
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class Contact : public ModelTest {
 protected:
  const QFContactPtr contact = QFContact::initWithIdentifier("id");
};

TEST_F(Contact, StartsWithItsMatchStringAndTime) {
  EXPECT_EQ(contact->matchString(), "");
  EXPECT_EQ(contact->createdAt(), 1'700'000'000);
  platform.clock->seconds = 2000;
  contact->markAsDirty();
  EXPECT_EQ(contact->dirtyTime(), 2000);
}

TEST_F(Contact, CopySharesTheEntriesButNotTheLists) {
  const auto full = everyField();
  const auto copy = full->copyWithZone();
  EXPECT_TRUE(full->isEqualToContact(copy));
  copy->phoneNumbers().front()->setValue("changed");
  EXPECT_EQ(full->phoneNumbers().front()->value(), "changed");
  copy->setPhoneNumbers({});
  EXPECT_EQ(full->phoneNumbers().size(), 2u);
}

TEST_F(Contact, DisplayNameTakesTheFirstThingThereIs) {
  const auto named = [](OptionalString given, OptionalString family, OptionalString company,
                        std::optional<OptionalString> phone, std::optional<OptionalString> email) {
    const auto person = QFContact::initWithIdentifier("id");
    person->setGivenName(given);
    person->setFamilyName(family);
    person->setOrganizationName(company);
    if (phone) person->setPhoneNumbers(entries<QFContactPhoneNumber>({{*phone, {}}, {"2", {}}}));
    if (email)
      person->setEmailAddresses(entries<QFContactEmailAddress>({{*email, {}}, {"c@d", {}}}));
    person->updateDisplayInfo();
    return person->displayName();
  };
  EXPECT_EQ(named("Ann", "Lee", "Acme", "1", "a@b"), "Ann Lee");
  EXPECT_EQ(named("Ann", "", "Acme", "1", "a@b"), "Ann");
  EXPECT_EQ(named({}, "Lee", "Acme", "1", "a@b"), "Lee");
  EXPECT_EQ(named("", {}, "Acme", "1", "a@b"), "Acme");
  EXPECT_EQ(named({}, {}, "", "1", "a@b"), "1");
  EXPECT_EQ(named({}, {}, {}, {}, "a@b"), "a@b");
  EXPECT_EQ(named({}, {}, {}, {}, OptionalString()), "id");
  // The phone without a number hides the address.
  EXPECT_EQ(named({}, {}, {}, OptionalString(), "a@b"), "id");
  EXPECT_EQ(named({}, {}, {}, {}, {}), "id");
}

// The order of the fields is seen in the tests of the upload.
TEST_F(Contact, MatchStringAddsABlankForEmptyAndNothingForAbsent) {
  contact->setGivenName("A");
  contact->setFamilyName("B");
  contact->setPhoneNumbers(entries<QFContactPhoneNumber>({{{}, "x"}, {"none", {}}, {"", {}}}));
  contact->setEmailAddresses(entries<QFContactEmailAddress>({{{}, {}}, {"+", {}}, {"c@d", {}}}));
  contact->setAddresses({QFContactAddress::initWithContactId("id")});
  contact->setUrlAddresses(entries<QFContactURL>({{{}, "x"}, {"E", {}}}));
  EXPECT_EQ(contact->generateMatchString(), "A B    c@d E");

  // Blanks go from the ends, line ends do not.
  contact->setGivenName("\u00A0\t A");
  contact->setNotes("end\n \u3000");
  EXPECT_EQ(contact->generateMatchString(), "A B    c@d E end\n");
}

TEST_F(Contact, PhonesAndEmailsAreReducedForMatching) {
  const auto digits = [this](OptionalString n) {
    return contact->normalizePhoneNumberForMatching(n);
  };
  EXPECT_EQ(digits({}), "");
  EXPECT_EQ(digits("+1 (555) 010-0199 ١٢x٣"), "15550100199١٢٣");
  EXPECT_EQ(digits("1234567890123456789012345"), "12345678901234567890");

  const auto folded = [this](OptionalString e) { return contact->normalizeEmailForMatching(e); };
  const std::string letters(45, 'a');
  EXPECT_EQ(folded({}), "");
  EXPECT_EQ(folded("Ünal+Tag_1@Mail-b.C~;"), "naltag_1@mail-b.c");
  EXPECT_EQ(folded(letters + std::string(15, '+')), letters);
  EXPECT_EQ(folded(std::string(15, '+') + letters + "bcdefghij"), letters + "bcdef");
}

TEST_F(Contact, SectionIsTheFirstUnitOfTheFirstName) {
  const auto section = [this](OptionalString family, OptionalString given, OptionalString company) {
    contact->setFamilyName(std::move(family));
    contact->setGivenName(std::move(given));
    contact->setOrganizationName(std::move(company));
    return contact->contactSectionForName();
  };
  EXPECT_EQ(section("", "", {}), "#");
  EXPECT_EQ(section("lee", "Ann", "Zoo"), "L");
  EXPECT_EQ(section("", "ann", "Zoo"), "A");
  EXPECT_EQ(section({}, {}, "zoo"), "Z");
  EXPECT_EQ(section("1st", {}, {}) + section(" lee", {}, {}), "1 ");
  EXPECT_EQ(section("élan", {}, {}) + section("ßa", {}, {}), "ÉSS");
  EXPECT_EQ(section("\U0001F600", {}, {}), "\uFFFD");
}

// Takes away what is shown, one thing after another. A second phone number is
// never shown.
TEST_F(Contact, DisplayLineIsTheFirstThingThatIsLeft) {
  const auto full = everyField();
  const NSDate epoch;
  full->setAddresses({full->addresses()[0], QFContactAddress::initWithContactId("id")});
  full->setDates({QFContactDate::initWithContactId("id", epoch, "Anniversary"),
                  QFContactDate::initWithContactId("id", epoch, "anniversary")});
  const auto first = [](const auto& list) { return list.front(); };
  const std::pair<const char*, std::function<void()>> steps[] = {
      {"+1 (555) 010-0199", [&] { first(full->phoneNumbers())->setValue(""); }},
      {"Ann.Lee+Work@Mail", [&] { first(full->emailAddresses())->setValue({}); }},
      {"Springfield", [&] { first(full->addresses())->setState("IL"); }},
      {"Springfield, IL", [&] { first(full->addresses())->setCity(""); }},
      {"IL", [&] { first(full->addresses())->setState({}); }},
      {"Acme", [&] { full->setOrganizationName(""); }},
      {"Chief", [&] { full->setJobTitle({}); }},
      {"Nan", [&] { full->setNickname(""); }},
      {"Born May 6, 1990", [&] { full->setBirthday({}); }},
      {"Anniversary Jan 1, 1970", [&] { full->dates()[1]->setDate({}); }},
      {"Anniversary ", [&] { full->dates()[1]->setType({}); }},
      {"annlee", [&] { first(full->socialProfiles())->setUsername(""); }},
      {"ann@jab", [&] { full->setInstantMessageAddresses({}); }},
      {"Example.com", [&] { full->setUrlAddresses({}); }},
      {"Eve", [&] { first(full->relations())->setName(""); }},
      {"No details available", [] {}}};
  for (const auto& [line, takeAway] : steps) {
    EXPECT_EQ(full->displayInfo(), line);
    takeAway();
  }
}

}  // namespace
}  // namespace quillfold::testing
