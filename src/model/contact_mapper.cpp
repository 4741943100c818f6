#include "model/contact_mapper.h"

#include <algorithm>

namespace quillfold {

namespace {

template <typename Entry, typename Source, typename Map>
EntryList<Entry> mapEntries(const std::vector<CNLabeledValue<Source>>& list, Map map) {
  EntryList<Entry> out;
  out.reserve(list.size());
  for (const auto& entry : list)
    out.push_back(map(entry.value, entry.label));
  return out;
}

void mapNames(const CNContact& from, QFContact& to) {
  to.setContactType(from.contactType());
  to.setNamePrefix(from.namePrefix());
  to.setGivenName(from.givenName());
  to.setMiddleName(from.middleName());
  to.setFamilyName(from.familyName());
  to.setPreviousFamilyName(from.previousFamilyName());
  to.setNameSuffix(from.nameSuffix());
  to.setNickname(from.nickname());
  to.setOrganizationName(from.organizationName());
  to.setDepartmentName(from.departmentName());
  to.setJobTitle(from.jobTitle());
}

void mapNoteImagesAndBirthday(const CNContact& from, QFContact& to) {
  if (from.isKeyAvailable(CNContactNoteKey)) to.setNotes(from.note());
  if (from.isKeyAvailable(CNContactImageDataKey) && from.imageData()) {
    to.setImageData(from.imageData());
  }
  if (from.isKeyAvailable(CNContactThumbnailImageDataKey) && from.thumbnailImageData()) {
    to.setThumbnailImageData(from.thumbnailImageData());
  }
  if (from.isKeyAvailable(CNContactImageDataAvailableKey)) {
    to.setImageDataAvailable(from.imageDataAvailable());
  }
  if (from.isKeyAvailable(CNContactBirthdayKey) && from.birthday()) {
    to.setBirthday(NSCalendar::currentCalendar().dateFromComponents(*from.birthday()));
  }
}

std::shared_ptr<QFContactAddress> mapAddress(const std::string& contactId,
                                             const CNPostalAddress& value,
                                             const OptionalString& label) {
  auto address = QFContactAddress::initWithContactId(contactId);
  address->setStreet(value.street);
  address->setCity(value.city);
  address->setState(value.state);
  address->setPostalCode(value.postalCode);
  address->setCountry(value.country);
  address->setType(localizedStringForLabel(label));
  return address;
}

void mapReachableAt(const CNContact& from, QFContact& to) {
  const std::string& id = to.identifier();
  if (from.isKeyAvailable(CNContactPhoneNumbersKey)) {
    to.setPhoneNumbers(mapEntries<QFContactPhoneNumber>(
        from.phoneNumbers(), [&id](const CNPhoneNumber& number, const OptionalString& label) {
          return QFContactPhoneNumber::initWithContactId(id, number.stringValue,
                                                         localizedStringForLabel(label));
        }));
  }
  if (from.isKeyAvailable(CNContactEmailAddressesKey)) {
    to.setEmailAddresses(mapEntries<QFContactEmailAddress>(
        from.emailAddresses(), [&id](const std::string& value, const OptionalString& label) {
          return QFContactEmailAddress::initWithContactId(id, value,
                                                          localizedStringForLabel(label));
        }));
  }
  if (from.isKeyAvailable(CNContactPostalAddressesKey)) {
    to.setAddresses(mapEntries<QFContactAddress>(
        from.postalAddresses(), [&id](const CNPostalAddress& value, const OptionalString& label) {
          return mapAddress(id, value, label);
        }));
  }
  if (from.isKeyAvailable(CNContactUrlAddressesKey)) {
    to.setUrlAddresses(mapEntries<QFContactURL>(
        from.urlAddresses(), [&id](const std::string& value, const OptionalString& label) {
          return QFContactURL::initWithContactId(id, value, localizedStringForLabel(label));
        }));
  }
}

void mapSocial(const CNContact& from, QFContact& to) {
  const std::string& id = to.identifier();
  if (from.isKeyAvailable(CNContactSocialProfilesKey)) {
    to.setSocialProfiles(mapEntries<QFContactSocialProfile>(
        from.socialProfiles(), [&id](const CNSocialProfile& value, const OptionalString&) {
          auto profile = QFContactSocialProfile::initWithContactId(id, value.service);
          profile->setUsername(value.username);
          profile->setUrlString(value.urlString);
          return profile;
        }));
  }
  if (from.isKeyAvailable(CNContactRelationsKey)) {
    to.setRelations(mapEntries<QFContactRelation>(
        from.contactRelations(),
        [&id](const CNContactRelation& value, const OptionalString& label) {
          return QFContactRelation::initWithContactId(id, value.name,
                                                      localizedStringForLabel(label));
        }));
  }
  if (from.isKeyAvailable(CNContactInstantMessageAddressesKey)) {
    to.setInstantMessageAddresses(mapEntries<QFContactInstantMessage>(
        from.instantMessageAddresses(),
        [&id](const CNInstantMessageAddress& value, const OptionalString& label) {
          auto message =
              QFContactInstantMessage::initWithContactId(id, value.service, value.username);
          message->setType(localizedStringForLabel(label));
          return message;
        }));
  }
}

// A display text doesn't turn back into the platform's label: it goes as it is.
template <typename T, typename Entry, typename ValueOf>
std::vector<CNLabeledValue<T>> labelledValues(const EntryList<Entry>& list, ValueOf valueOf) {
  std::vector<CNLabeledValue<T>> out;
  for (const auto& entry : list) {
    out.push_back(CNLabeledValue<T>::labeledValueWithLabel(entry->type().value_or(CNLabelOther),
                                                           valueOf(*entry)));
  }
  return out;
}

// What every fetch begins with.
std::vector<CNKeyDescriptor> identityAndNameKeys() {
  return {CNContactFormatter::descriptorForRequiredKeysForStyle(0),
          CNContactIdentifierKey,
          CNContactNamePrefixKey,
          CNContactGivenNameKey,
          CNContactMiddleNameKey,
          CNContactFamilyNameKey,
          CNContactPreviousFamilyNameKey,
          CNContactNameSuffixKey,
          CNContactNicknameKey,
          CNContactOrganizationNameKey,
          CNContactDepartmentNameKey,
          CNContactJobTitleKey};
}

}  // namespace

QFContactPtr QFContactMapper::contactFromCNContact(const CNContact& source) {
  QFContactPtr contact = QFContact::initWithIdentifier(source.identifier());
  mapNames(source, *contact);
  mapNoteImagesAndBirthday(source, *contact);
  mapReachableAt(source, *contact);
  mapSocial(source, *contact);
  contact->updateDisplayInfo();
  contact->setMatchString(contact->generateMatchString());
  return contact;
}

CNMutableContact QFContactMapper::cnContactFromContact(const QFContact& contact) {
  CNMutableContact out;
  CNContactProperties& to = out.properties();
  to.contactType = contact.contactType();
  to.namePrefix = contact.namePrefix().value_or("");
  to.givenName = contact.givenName().value_or("");
  to.middleName = contact.middleName().value_or("");
  to.familyName = contact.familyName().value_or("");
  to.previousFamilyName = contact.previousFamilyName().value_or("");
  to.nameSuffix = contact.nameSuffix().value_or("");
  to.nickname = contact.nickname().value_or("");
  to.organizationName = contact.organizationName().value_or("");
  to.departmentName = contact.departmentName().value_or("");
  to.jobTitle = contact.jobTitle().value_or("");
  to.note = contact.notes().value_or("");
  to.imageData = contact.imageData();
  const auto text = [](const QFContactValueEntry& entry) { return entry.value().value_or(""); };
  to.phoneNumbers = labelledValues<CNPhoneNumber>(
      contact.phoneNumbers(), [&text](const auto& entry) { return CNPhoneNumber{text(entry)}; });
  to.emailAddresses = labelledValues<std::string>(contact.emailAddresses(), text);
  to.postalAddresses =
      labelledValues<CNPostalAddress>(contact.addresses(), [](const QFContactAddress& entry) {
        return CNPostalAddress{entry.street().value_or(""), entry.city().value_or(""),
                               entry.state().value_or(""), entry.postalCode().value_or(""),
                               entry.country().value_or("")};
      });
  to.urlAddresses = labelledValues<std::string>(contact.urlAddresses(), text);
  return out;
}

std::vector<CNKeyDescriptor> QFContactMapper::keysToFetch(bool includeNote) {
  std::vector<CNKeyDescriptor> keys = identityAndNameKeys();
  keys.insert(keys.end(),
              {CNContactPhoneticGivenNameKey, CNContactPhoneticMiddleNameKey,
               CNContactPhoneticFamilyNameKey, CNContactPhoneticOrganizationNameKey,
               CNContactBirthdayKey, CNContactNonGregorianBirthdayKey, CNContactImageDataKey,
               CNContactThumbnailImageDataKey, CNContactImageDataAvailableKey, CNContactTypeKey,
               CNContactPhoneNumbersKey, CNContactEmailAddressesKey, CNContactPostalAddressesKey,
               CNContactDatesKey, CNContactUrlAddressesKey, CNContactRelationsKey,
               CNContactSocialProfilesKey, CNContactInstantMessageAddressesKey});
  if (includeNote) keys.emplace_back(CNContactNoteKey);
  return keys;
}

std::vector<CNKeyDescriptor> QFContactMapper::keysToFetchForFieldTypes(
    const std::vector<std::int64_t>& fieldTypes) {
  const auto asked = [&fieldTypes](std::int64_t type) {
    return std::find(fieldTypes.begin(), fieldTypes.end(), type) != fieldTypes.end();
  };
  if (asked(QFContactFieldTypeAll)) return keysToFetch(asked(QFContactFieldTypeNotes));
  std::vector<CNKeyDescriptor> keys = identityAndNameKeys();
  keys.insert(keys.end(), {CNContactTypeKey, CNContactImageDataKey, CNContactThumbnailImageDataKey,
                           CNContactImageDataAvailableKey});
  if (asked(QFContactFieldTypePhone)) keys.emplace_back(CNContactPhoneNumbersKey);
  if (asked(QFContactFieldTypeEmail)) keys.emplace_back(CNContactEmailAddressesKey);
  if (asked(QFContactFieldTypeNotes)) keys.emplace_back(CNContactNoteKey);
  return keys;
}

}  // namespace quillfold
