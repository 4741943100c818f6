// What is derived from a contact: match string, section and display line.
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactText : public ModelTest {
 protected:
  const QFContactPtr contact = QFContact::initWithIdentifier("id");
};

TEST_F(ContactText, MatchStringHoldsTheFieldsInOrder) {
  EXPECT_EQ(everyField()->matchString(),
            "Ann Bea Lee Old Nan Acme Labs Chief 15550100199 01077 ann.leework@mail ann@home "
            "1 Main St Springfield  12345 USA annlee Chirp https://chirp/ann Eve sister "
            "ann@jab Jabber Example.com Met in Rome Biography Here");
}

TEST_F(ContactText, MatchStringAddsABlankForEmptyAndNothingForAbsent) {
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

  CNContactProperties device;
  device.phoneNumbers = {{std::nullopt, {"(1) 23"}}};
  EXPECT_EQ(QFContactMapper::contactFromCNContact(fetched(device))->matchString(), "123");
}

TEST_F(ContactText, PhonesAndEmailsAreReducedForMatching) {
  const auto digits = [this](OptionalString n) {
    return contact->normalizePhoneNumberForMatching(n);
  };
  EXPECT_EQ(digits({}), "");
  EXPECT_EQ(digits("+1 (555) 010-0199 ١٢x٣"), "15550100199١٢٣");
  EXPECT_EQ(digits("12345678901234567890"), "12345678901234567890");
  EXPECT_EQ(digits("1234567890123456789012345"), "12345678901234567890");

  const auto folded = [this](OptionalString e) { return contact->normalizeEmailForMatching(e); };
  const std::string letters(45, 'a');
  EXPECT_EQ(folded({}), "");
  EXPECT_EQ(folded("Ünal+Tag_1@Mail-b.C;"), "naltag_1@mail-b.c");
  EXPECT_EQ(folded(letters + std::string(15, '+')), letters);
  EXPECT_EQ(folded(std::string(15, '+') + letters + "bcdefghij"), letters + "bcdef");
}

TEST_F(ContactText, SectionIsTheFirstUnitOfTheFirstName) {
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

// Takes away what is shown, one thing after another.
TEST_F(ContactText, DisplayLineIsTheFirstThingThatIsLeft) {
  const auto full = everyField();
  const auto first = [](const auto& list) { return list.front(); };
  const std::pair<const char*, std::function<void()>> steps[] = {
      {"+1 (555) 010-0199", [&] { first(full->phoneNumbers())->setValue(""); }},
      // The second phone number is never shown.
      {"Ann.Lee+Work@Mail", [&] { first(full->emailAddresses())->setValue({}); }},
      {"Springfield", [&] { first(full->addresses())->setState("IL"); }},
      {"Springfield, IL", [&] { first(full->addresses())->setCity(""); }},
      {"IL", [&] { first(full->addresses())->setState({}); }},
      {"Acme", [&] { full->setOrganizationName(""); }},
      {"Chief", [&] { full->setJobTitle({}); }},
      {"Nan", [&] { full->setNickname(""); }},
      {"Born May 6, 1990", [&] { full->setBirthday({}); }},
      {"Anniversary May 6, 1990", [&] { first(full->dates())->setType("Anniversary"); }},
      {"annlee", [&] { first(full->socialProfiles())->setUsername(""); }},
      {"ann@jab", [&] { full->setInstantMessageAddresses({}); }},
      {"Example.com", [&] { full->setUrlAddresses({}); }},
      {"Eve", [&] { first(full->relations())->setName(""); }},
      {"No details available", [] {}}};
  for (const auto& [line, takeAway] : steps) {
    EXPECT_EQ(full->displayInfo(), line);
    takeAway();
  }
  // A later date may be the anniversary.
  Dates dates = full->dates();
  dates.push_back(QFContactDate::initWithContactId("id", NSDate::dateWithTimeIntervalSince1970(0),
                                                   "anniversary"));
  full->setDates(dates);
  EXPECT_EQ(full->displayInfo(), "Anniversary Jan 1, 1970");
}

}  // namespace
}  // namespace quillfold::testing
