// From the address book to the record and back.
#include "foundation/format.h"
#include "tests/model/model_fixture.h"

namespace quillfold::testing {
namespace {

class ContactMapper : public ModelTest {};

const std::string kNames =
    "namePrefix givenName middleName familyName previousFamilyName nameSuffix nickname "
    "organizationName departmentName jobTitle ";
const std::string kImages = "imageData thumbnailImageData imageDataAvailable ";

std::string line(const std::vector<CNKeyDescriptor>& keys) {
  return fmt::format("{} ", fmt::join(keys, " "));
}

// The texts and the numbers are seen in the tests of the upload.
TEST_F(ContactMapper, ReadsImagesBirthdayAndLabels) {
  const auto contact = QFContactMapper::contactFromCNContact(fetched(fullDeviceContact()));
  EXPECT_TRUE(contact->dates().empty());
  EXPECT_EQ(contact->imageData(), Data("image"));
  EXPECT_EQ(contact->thumbnailImageData(), Data("thumb"));
  EXPECT_EQ(toISOString(contact->birthday().value()), "1990-05-05T15:00:00.000Z");
  // The labels are the device's texts; a label of the user's own stays as it is.
  EXPECT_EQ(contact->phoneNumbers()[0]->contactId(), "id-1");
  EXPECT_EQ(contact->phoneNumbers()[1]->type(), "Boat");
}

// The change hash decides what is uploaded again: it may never differ from one
// version of the library to the next.
TEST_F(ContactMapper, WorkedExampleKeepsItsMatchStringAndHash) {
  CNContactProperties device;
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
  const auto withoutNote =
      QFContactMapper::contactFromCNContact(fetched(device, QFContactMapper::keysToFetch(false)));
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
  EXPECT_EQ(contact->phoneNumbers().size() + contact->emailAddresses().size(), 4u);
  EXPECT_TRUE(contact->addresses().empty() && contact->urlAddresses().empty() &&
              contact->socialProfiles().empty() && contact->relations().empty() &&
              contact->instantMessageAddresses().empty());
  EXPECT_FALSE(contact->birthday() || contact->notes());
  const CNContact sparse = fetched(fullDeviceContact(), {"note", "unknown"});
  EXPECT_TRUE(sparse.isKeyAvailable("identifier") &&
              sparse.isKeyAvailable(CNKeyDescriptor("note")));
  EXPECT_FALSE(sparse.isKeyAvailable("phoneNumbers") ||
               sparse.isKeyAvailable(CNKeyDescriptor("unknown")));

  // The names and the type are read without asking.
  const auto base = QFContactMapper::keysToFetchForFieldTypes({});
  for (std::ptrdiff_t i = 1; i < 12; ++i) {
    std::vector<CNKeyDescriptor> keys(base.begin() + 1, base.end());
    keys.erase(keys.begin() + i);
    const CNContact device = fetched(fullDeviceContact(), keys);
    EXPECT_THROW(QFContactMapper::contactFromCNContact(device), NSException) << base.begin()[i + 1];
  }
}

TEST_F(ContactMapper, KeyListsAreExact) {
  const std::string identity = "CNContactFormatter.fullName identifier " + kNames;
  const std::string full =
      identity +
      "phoneticGivenName phoneticMiddleName phoneticFamilyName phoneticOrganizationName "
      "birthday nonGregorianBirthday " +
      kImages +
      "contactType phoneNumbers emailAddresses "
      "postalAddresses dates urlAddresses contactRelations socialProfiles instantMessageAddresses ";
  EXPECT_EQ(line(QFContactMapper::keysToFetch(false)), full);
  EXPECT_EQ(line(QFContactMapper::keysToFetch(true)), full + "note ");

  const auto keysFor = [](const std::vector<std::int64_t>& types) {
    return line(QFContactMapper::keysToFetchForFieldTypes(types));
  };
  const std::string base = identity + "contactType " + kImages;
  EXPECT_EQ(keysFor({0}), full);
  EXPECT_EQ(keysFor({3, 0, 1}), full + "note ");
  EXPECT_EQ(keysFor({7, -1}), base);
  EXPECT_EQ(keysFor({2, 1}), base + "phoneNumbers emailAddresses ");
  EXPECT_EQ(keysFor({3, 3}), base + "note ");
}

TEST_F(ContactMapper, GivesBackLessThanItTook) {
  const auto contact = everyField();
  contact->phoneNumbers()[1]->setType(std::nullopt);
  contact->setAddresses({contact->addresses()[0], QFContactAddress::initWithContactId("id-1")});
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
  expected.postalAddresses.push_back({CNLabelOther, {}});
  expected.urlAddresses[0].label = "homepage";
  contact->emailAddresses()[1]->setValue({});
  expected.emailAddresses[1].value = "";
  EXPECT_TRUE(QFContactMapper::cnContactFromContact(*contact).properties() == expected);
  const auto nobody = QFContact::initWithIdentifier("x");
  EXPECT_TRUE(QFContactMapper::cnContactFromContact(*nobody).properties() == CNContactProperties());
}

}  // namespace
}  // namespace quillfold::testing
