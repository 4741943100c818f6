#include "platform/contacts.h"

#include <algorithm>
#include <array>

#include "foundation/format.h"
#include "platform/platform.h"

namespace quillfold {

namespace {

constexpr std::string_view kFullNameDescriptor = "CNContactFormatter.fullName";

constexpr std::array<std::string_view, 30> kKeys = {
    CNContactIdentifierKey,
    CNContactTypeKey,
    CNContactNamePrefixKey,
    CNContactGivenNameKey,
    CNContactMiddleNameKey,
    CNContactFamilyNameKey,
    CNContactPreviousFamilyNameKey,
    CNContactNameSuffixKey,
    CNContactNicknameKey,
    CNContactOrganizationNameKey,
    CNContactDepartmentNameKey,
    CNContactJobTitleKey,
    CNContactPhoneticGivenNameKey,
    CNContactPhoneticMiddleNameKey,
    CNContactPhoneticFamilyNameKey,
    CNContactPhoneticOrganizationNameKey,
    CNContactBirthdayKey,
    CNContactNonGregorianBirthdayKey,
    CNContactNoteKey,
    CNContactImageDataKey,
    CNContactThumbnailImageDataKey,
    CNContactImageDataAvailableKey,
    CNContactPhoneNumbersKey,
    CNContactEmailAddressesKey,
    CNContactPostalAddressesKey,
    CNContactDatesKey,
    CNContactUrlAddressesKey,
    CNContactRelationsKey,
    CNContactSocialProfilesKey,
    CNContactInstantMessageAddressesKey,
};

constexpr std::array<std::string_view, 12> kFullNameKeys = {
    CNContactTypeKey,
    CNContactNamePrefixKey,
    CNContactGivenNameKey,
    CNContactMiddleNameKey,
    CNContactFamilyNameKey,
    CNContactPreviousFamilyNameKey,
    CNContactNameSuffixKey,
    CNContactNicknameKey,
    CNContactOrganizationNameKey,
    CNContactPhoneticGivenNameKey,
    CNContactPhoneticMiddleNameKey,
    CNContactPhoneticFamilyNameKey,
};

std::uint64_t bitOf(std::string_view key) {
  const auto it = std::find(kKeys.begin(), kKeys.end(), key);
  return it == kKeys.end() ? 0 : std::uint64_t{1} << (it - kKeys.begin());
}

}  // namespace

CNKeyDescriptor CNContactFormatter::descriptorForRequiredKeysForStyle(std::int64_t) {
  return CNKeyDescriptor(kFullNameDescriptor);
}

std::string localizedStringForLabel(const std::optional<std::string>& label) {
  if (!label) return "";
  return Platform::current().contacts->localizedLabel(*label);
}

CNKeySet CNKeySet::fromKeys(const std::vector<CNKeyDescriptor>& keys) {
  std::uint64_t bits = bitOf(CNContactIdentifierKey);
  for (const CNKeyDescriptor& key : keys) {
    bits |= bitOf(key);
    if (key == kFullNameDescriptor) {
      for (const std::string_view part : kFullNameKeys)
        bits |= bitOf(part);
    }
  }
  return CNKeySet(bits);
}

bool CNKeySet::contains(std::string_view key) const {
  return (bits_ & bitOf(key)) != 0;
}

const CNContactProperties& CNContact::fetched(const char* key) const {
  if (!isKeyAvailable(key)) {
    throw NSException(
        CNPropertyNotFetchedExceptionName,
        fmt::format("A property was not requested when contact was fetched: {}", key));
  }
  return *properties_;
}

std::int64_t CNContact::contactType() const {
  return fetched(CNContactTypeKey).contactType;
}
const std::string& CNContact::namePrefix() const {
  return fetched(CNContactNamePrefixKey).namePrefix;
}
const std::string& CNContact::givenName() const {
  return fetched(CNContactGivenNameKey).givenName;
}
const std::string& CNContact::middleName() const {
  return fetched(CNContactMiddleNameKey).middleName;
}
const std::string& CNContact::familyName() const {
  return fetched(CNContactFamilyNameKey).familyName;
}
const std::string& CNContact::previousFamilyName() const {
  return fetched(CNContactPreviousFamilyNameKey).previousFamilyName;
}
const std::string& CNContact::nameSuffix() const {
  return fetched(CNContactNameSuffixKey).nameSuffix;
}
const std::string& CNContact::nickname() const {
  return fetched(CNContactNicknameKey).nickname;
}
const std::string& CNContact::organizationName() const {
  return fetched(CNContactOrganizationNameKey).organizationName;
}
const std::string& CNContact::departmentName() const {
  return fetched(CNContactDepartmentNameKey).departmentName;
}
const std::string& CNContact::jobTitle() const {
  return fetched(CNContactJobTitleKey).jobTitle;
}
const std::string& CNContact::note() const {
  return fetched(CNContactNoteKey).note;
}
const std::optional<Data>& CNContact::imageData() const {
  return fetched(CNContactImageDataKey).imageData;
}
const std::optional<Data>& CNContact::thumbnailImageData() const {
  return fetched(CNContactThumbnailImageDataKey).thumbnailImageData;
}
bool CNContact::imageDataAvailable() const {
  return fetched(CNContactImageDataAvailableKey).imageData.has_value();
}
const std::optional<NSDateComponents>& CNContact::birthday() const {
  return fetched(CNContactBirthdayKey).birthday;
}
const std::vector<CNLabeledValue<CNPhoneNumber>>& CNContact::phoneNumbers() const {
  return fetched(CNContactPhoneNumbersKey).phoneNumbers;
}
const std::vector<CNLabeledValue<std::string>>& CNContact::emailAddresses() const {
  return fetched(CNContactEmailAddressesKey).emailAddresses;
}
const std::vector<CNLabeledValue<CNPostalAddress>>& CNContact::postalAddresses() const {
  return fetched(CNContactPostalAddressesKey).postalAddresses;
}
const std::vector<CNLabeledValue<std::string>>& CNContact::urlAddresses() const {
  return fetched(CNContactUrlAddressesKey).urlAddresses;
}
const std::vector<CNLabeledValue<CNSocialProfile>>& CNContact::socialProfiles() const {
  return fetched(CNContactSocialProfilesKey).socialProfiles;
}
const std::vector<CNLabeledValue<CNContactRelation>>& CNContact::contactRelations() const {
  return fetched(CNContactRelationsKey).contactRelations;
}
const std::vector<CNLabeledValue<CNInstantMessageAddress>>& CNContact::instantMessageAddresses()
    const {
  return fetched(CNContactInstantMessageAddressesKey).instantMessageAddresses;
}

CNContact CNMutableContact::copy() const {
  return {std::make_shared<const CNContactProperties>(properties_), CNKeySet::all()};
}

}  // namespace quillfold
