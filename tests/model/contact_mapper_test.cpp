// From the address book to the record and back.
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactMapper : public ModelTest {};

const std::vector<CNKeyDescriptor> kNames = {
    "namePrefix", "givenName", "middleName",       "familyName",     "previousFamilyName",
    "nameSuffix", "nickname",  "organizationName", "departmentName", "jobTitle"};
const std::vector<CNKeyDescriptor> kImages = {"imageData", "thumbnailImageData",
                                              "imageDataAvailable"};

std::vector<CNKeyDescriptor> joined(std::initializer_list<std::vector<CNKeyDescriptor>> lists) {
  std::vector<CNKeyDescriptor> out = {CNContactFormatter::descriptorForRequiredKeysForStyle(0),
                                      "identifier"};
  for (const auto& list : lists)
    out.insert(out.end(), list.begin(), list.end());
  return out;
}

// The texts and the numbers are seen in the tests of the upload.
TEST_F(ContactMapper, ReadsImagesBirthdayAndLabels) {
  const auto contact = QFContactMapper::contactFromCNContact(fetched(fullDeviceContact()));
  EXPECT_EQ(contact->displayName(), "Ann Lee");
  EXPECT_EQ(contact->matchString(), contact->generateMatchString());
  EXPECT_EQ(contact->contactSection(), "#");
  EXPECT_TRUE(contact->dates().empty());
  EXPECT_EQ(contact->imageData(), Data("image"));
  EXPECT_EQ(contact->thumbnailImageData(), Data("thumb"));
  EXPECT_TRUE(contact->imageDataAvailable());
  EXPECT_EQ(toISOString(contact->birthday().value()), "1990-05-05T15:00:00.000Z");
  // The labels are the device's texts; a label of the user's own stays as it is.
  EXPECT_EQ(contact->phoneNumbers()[0]->type(), "mobile");
  EXPECT_EQ(contact->phoneNumbers()[0]->contactId(), "id-1");
  EXPECT_EQ(contact->phoneNumbers()[1]->type(), "Boat");
  EXPECT_EQ(contact->emailAddresses()[0]->type(), "work");
  EXPECT_EQ(contact->addresses()[0]->type(), "home");
  EXPECT_EQ(contact->urlAddresses()[0]->type(), "homepage");
  EXPECT_EQ(contact->instantMessageAddresses()[0]->type(), "home");
}

// The change hash decides what is uploaded again: it may never differ from one
// version of the library to the next.
TEST_F(ContactMapper, WorkedExampleKeepsItsMatchStringAndHash) {
  CNContactProperties device;
  device.identifier = "id";
  device.givenName = "Ann";
  device.familyName = "Lee";
  device.organizationName = "Acme";
  device.phoneNumbers = {{"_$!<Mobile>!$_", {"+1 (555) 010-0199"}}};
  device.emailAddresses = {{CNLabelWork, "Ann.Lee+Work@Mail"}};
  device.postalAddresses = {{CNLabelHome, {"1 Main St", "Springfield", "", "12345", "USA"}}};
  const auto contact = QFContactMapper::contactFromCNContact(fetched(device));
  EXPECT_EQ(contact->matchString(),
            "Ann  Lee   Acme   15550100199 ann.leework@mail 1 Main St Springfield  12345 USA");
  EXPECT_EQ(contact->generateContactHash(),
            "3c5e96e311aaad46464084e54635adda558bdf10e1452eee25516dd0faaceb7a");

  // An empty note is no change, whether it was fetched or not; a real one is.
  const auto keys = QFContactMapper::keysToFetch(false);
  const auto withoutNote = QFContactMapper::contactFromCNContact(fetched(device, keys));
  EXPECT_EQ(contact->notes(), "");
  EXPECT_EQ(withoutNote->notes(), std::nullopt);
  EXPECT_EQ(withoutNote->generateContactHash(), contact->generateContactHash());
  device.note = "x";
  EXPECT_NE(QFContactMapper::contactFromCNContact(fetched(device))->generateContactHash(),
            contact->generateContactHash());
}

TEST_F(ContactMapper, LeavesWhatWasNotFetchedAtItsDefault) {
  const auto contact = QFContactMapper::contactFromCNContact(
      fetched(fullDeviceContact(), QFContactMapper::keysToFetchForFieldTypes({1, 2})));
  EXPECT_EQ(contact->phoneNumbers().size(), 2u);
  EXPECT_EQ(contact->emailAddresses().size(), 2u);
  EXPECT_TRUE(contact->imageDataAvailable());
  EXPECT_TRUE(contact->addresses().empty() && contact->urlAddresses().empty() &&
              contact->socialProfiles().empty() && contact->relations().empty() &&
              contact->instantMessageAddresses().empty());
  EXPECT_FALSE(contact->birthday() || contact->notes());

  // The names and the type are read without asking.
  std::vector<CNKeyDescriptor> needed = kNames;
  needed.emplace_back("contactType");
  for (const auto& missing : needed) {
    std::vector<CNKeyDescriptor> keys = needed;
    std::erase(keys, missing);
    EXPECT_THROW(QFContactMapper::contactFromCNContact(fetched(fullDeviceContact(), keys)),
                 NSException)
        << missing;
  }
}

TEST_F(ContactMapper, BirthdayIsADayOfTheDevicesCalendar) {
  ::setenv("LC_ALL", "th_TH.UTF-8", 1);
  CNContactProperties device;
  device.birthday = NSDateComponents{2533, 5, 6};
  auto contact = QFContactMapper::contactFromCNContact(fetched(device));
  EXPECT_EQ(toISOString(contact->birthday().value()), "1990-05-05T15:00:00.000Z");
  const auto wire = contact->toServerContactWithOrganizationId({}, {});
  EXPECT_EQ(stringForKey(wire, "birthday"), "2533-05-06");
}

TEST_F(ContactMapper, KeyListsAreExact) {
  const auto full =
      joined({kNames,
              {"phoneticGivenName", "phoneticMiddleName", "phoneticFamilyName",
               "phoneticOrganizationName", "birthday", "nonGregorianBirthday"},
              kImages,
              {"contactType", "phoneNumbers", "emailAddresses", "postalAddresses", "dates",
               "urlAddresses", "contactRelations", "socialProfiles", "instantMessageAddresses"}});
  auto withNote = full;
  withNote.emplace_back("note");
  EXPECT_EQ(QFContactMapper::keysToFetch(false), full);
  EXPECT_EQ(QFContactMapper::keysToFetch(true), withNote);

  const auto base = [](std::vector<CNKeyDescriptor> more) {
    return joined({kNames, {"contactType"}, kImages, std::move(more)});
  };
  const std::pair<std::vector<std::int64_t>, std::vector<CNKeyDescriptor>> rows[] = {
      {{0}, full},
      {{3, 0}, withNote},
      {{0, 3, 1}, withNote},
      {{}, base({})},
      {{7, -1}, base({})},
      {{2, 1}, base({"phoneNumbers", "emailAddresses"})},
      {{3, 3, 1}, base({"phoneNumbers", "note"})}};
  for (const auto& [types, keys] : rows) {
    EXPECT_EQ(QFContactMapper::keysToFetchForFieldTypes(types), keys);
  }
}

TEST_F(ContactMapper, GivesBackLessThanItTook) {
  const auto contact = everyField();
  contact->phoneNumbers()[1]->setType(std::nullopt);
  CNContactProperties expected = fullDeviceContact();
  expected.identifier = "";
  expected.thumbnailImageData.reset();
  expected.birthday.reset();
  expected.socialProfiles.clear();
  expected.contactRelations.clear();
  expected.instantMessageAddresses.clear();
  // A display text has become a label of the user's own.
  expected.phoneNumbers[0].label = "mobile";
  expected.phoneNumbers[1].label = CNLabelOther;
  expected.emailAddresses[0].label = "work";
  expected.emailAddresses[1].label = "";
  expected.postalAddresses[0].label = "home";
  expected.urlAddresses[0].label = "homepage";
  const CNMutableContact made = QFContactMapper::cnContactFromContact(*contact);
  EXPECT_TRUE(made.properties() == expected);
  EXPECT_EQ(made.copy().note(), "Met in Rome");

  const auto empty = QFContact::initWithIdentifier("id");
  EXPECT_TRUE(QFContactMapper::cnContactFromContact(*empty).properties() == CNContactProperties());
}

}  // namespace
}  // namespace quillfold::testing
