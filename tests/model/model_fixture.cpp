#include "tests/model/model_fixture.h"

#include <cstdlib>

#include "platform/json.h"

namespace quillfold::testing {

ModelTest::ModelTest() {
  ::setenv("TZ", "Asia/Tokyo", 1);
  ::setenv("LC_ALL", "en_US.UTF-8", 1);
}

CNContact fetched(CNContactProperties properties, const std::vector<CNKeyDescriptor>& keys) {
  return {std::make_shared<const CNContactProperties>(std::move(properties)),
          CNKeySet::fromKeys(keys)};
}

CNContactProperties fullDeviceContact() {
  CNContactProperties contact;
  contact.identifier = "id-1";
  contact.contactType = CNContactTypeOrganization;
  contact.namePrefix = "Dr";
  contact.givenName = "Ann";
  contact.middleName = "Bea";
  contact.familyName = "Lee";
  contact.previousFamilyName = "Old";
  contact.nameSuffix = "Jr";
  contact.nickname = "Nan";
  contact.organizationName = "Acme";
  contact.departmentName = "Labs";
  contact.jobTitle = "Chief";
  contact.note = "Met in Rome";
  contact.imageData = Data("image");
  contact.thumbnailImageData = Data("thumb");
  contact.birthday = NSDateComponents{1990, 5, 6};
  contact.phoneNumbers = {{"_$!<Mobile>!$_", {"+1 (555) 010-0199"}}, {"Boat", {"010-77"}}};
  contact.emailAddresses = {{CNLabelWork, "Ann.Lee+Work@Mail"}, {std::nullopt, "ann@home"}};
  contact.postalAddresses = {{CNLabelHome, {"1 Main St", "Springfield", "", "12345", "USA"}}};
  contact.urlAddresses = {{"_$!<HomePage>!$_", "Example.com"}};
  contact.socialProfiles = {{"unread", {"Chirp", "annlee", "https://chirp/ann"}}};
  contact.contactRelations = {{"_$!<Sister>!$_", {"Eve"}}};
  contact.instantMessageAddresses = {{CNLabelHome, {"Jabber", "ann@jab"}}};
  return contact;
}

QFContactPtr everyField(const std::string& identifier) {
  CNContactProperties device = fullDeviceContact();
  device.identifier = identifier;
  QFContactPtr contact = QFContactMapper::contactFromCNContact(fetched(device));
  contact->setDates(
      {QFContactDate::initWithContactId(identifier, contact->birthday(), "anniversary")});
  contact->setBio("Biography");
  contact->setLocation("Here");
  contact->setImageUrl("https://image");
  contact->setInterests({"chess", "Go"});
  contact->setAvatars({"avatar"});
  contact->setIsDeleted(true);
  contact->setDirtyTime(5);
  contact->setLastSyncedAt(6);
  contact->setContactSection("L");
  contact->setMatchString(contact->generateMatchString());
  contact->setParentContactId("parent");
  contact->setSourceId("source");
  contact->setCreatedAt(7);
  return contact;
}

Value parsed(const std::string& json) {
  return NSJSONSerialization::JSONObjectWithData(json).value();
}

std::string compact(const Value& value) {
  return NSJSONSerialization::dataWithJSONObject(value).value();
}

}  // namespace quillfold::testing
