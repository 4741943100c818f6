// What the tests of the contact model share.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

#include "foundation/json.h"
#include "model/contact_mapper.h"
#include "testing/fake_platform.h"

namespace quillfold::testing {

// A device in English, east of Greenwich: a local midnight there falls on the day
// before in UTC.
class ModelTest : public ::testing::Test {
 protected:
  ModelTest() {
    ::setenv("TZ", "Asia/Tokyo", 1);
    ::setenv("LC_ALL", "en_US.UTF-8", 1);
  }
  FakePlatform platform;
};

// The properties as a fetch with those keys gives them.
inline CNContact fetched(CNContactProperties properties, const std::vector<CNKeyDescriptor>& keys =
                                                             QFContactMapper::keysToFetch(true)) {
  return {std::make_shared<const CNContactProperties>(std::move(properties)),
          CNKeySet::fromKeys(keys)};
}

// A contact on the device with a value in every property.
inline CNContactProperties fullDeviceContact() {
  CNContactProperties contact;
  std::tie(contact.namePrefix, contact.givenName, contact.middleName, contact.familyName,
           contact.previousFamilyName, contact.nameSuffix, contact.nickname,
           contact.organizationName, contact.departmentName, contact.jobTitle, contact.note) =
      std::make_tuple("Dr", "Ann", "Bea", "Lee", "Old", "Jr", "Nan", "Acme", "Labs", "Chief",
                      "Met in Rome");
  contact.identifier = "id-1";
  contact.contactType = CNContactTypeOrganization;
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

// A record with a value of its own in every field.
inline QFContactPtr everyField() {
  QFContactPtr contact = QFContactMapper::contactFromCNContact(fetched(fullDeviceContact()));
  contact->setDates({QFContactDate::initWithContactId("id-1", contact->birthday(), "anniversary")});
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

// A list of entries that are made of a value (or name) and a type.
template <typename Entry>
EntryList<Entry> entries(
    const std::vector<std::pair<OptionalString, OptionalString>>& valuesAndTypes) {
  EntryList<Entry> list;
  for (const auto& [value, type] : valuesAndTypes) {
    list.push_back(Entry::initWithContactId("id-1", value, type));
  }
  return list;
}

// JSON text as a value, and a value as compact JSON text in the order of the keys.
inline Value parsed(const std::string& json) {
  return NSJSONSerialization::JSONObjectWithData(json).value();
}
inline std::string compact(const Value& value) {
  return NSJSONSerialization::dataWithJSONObject(value).value();
}

}  // namespace quillfold::testing
