// The address book's own contact: an immutable record of which only the fetched
// properties can be read.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date_formatter.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

// A property, or a group of properties, that a fetch asks for.
using CNKeyDescriptor = std::string;

inline constexpr const char* CNContactIdentifierKey = "identifier";
inline constexpr const char* CNContactTypeKey = "contactType";
inline constexpr const char* CNContactNamePrefixKey = "namePrefix";
inline constexpr const char* CNContactGivenNameKey = "givenName";
inline constexpr const char* CNContactMiddleNameKey = "middleName";
inline constexpr const char* CNContactFamilyNameKey = "familyName";
inline constexpr const char* CNContactPreviousFamilyNameKey = "previousFamilyName";
inline constexpr const char* CNContactNameSuffixKey = "nameSuffix";
inline constexpr const char* CNContactNicknameKey = "nickname";
inline constexpr const char* CNContactOrganizationNameKey = "organizationName";
inline constexpr const char* CNContactDepartmentNameKey = "departmentName";
inline constexpr const char* CNContactJobTitleKey = "jobTitle";
inline constexpr const char* CNContactPhoneticGivenNameKey = "phoneticGivenName";
inline constexpr const char* CNContactPhoneticMiddleNameKey = "phoneticMiddleName";
inline constexpr const char* CNContactPhoneticFamilyNameKey = "phoneticFamilyName";
inline constexpr const char* CNContactPhoneticOrganizationNameKey = "phoneticOrganizationName";
inline constexpr const char* CNContactBirthdayKey = "birthday";
inline constexpr const char* CNContactNonGregorianBirthdayKey = "nonGregorianBirthday";
inline constexpr const char* CNContactNoteKey = "note";
inline constexpr const char* CNContactImageDataKey = "imageData";
inline constexpr const char* CNContactThumbnailImageDataKey = "thumbnailImageData";
inline constexpr const char* CNContactImageDataAvailableKey = "imageDataAvailable";
inline constexpr const char* CNContactPhoneNumbersKey = "phoneNumbers";
inline constexpr const char* CNContactEmailAddressesKey = "emailAddresses";
inline constexpr const char* CNContactPostalAddressesKey = "postalAddresses";
inline constexpr const char* CNContactDatesKey = "dates";
inline constexpr const char* CNContactUrlAddressesKey = "urlAddresses";
inline constexpr const char* CNContactRelationsKey = "contactRelations";
inline constexpr const char* CNContactSocialProfilesKey = "socialProfiles";
inline constexpr const char* CNContactInstantMessageAddressesKey = "instantMessageAddresses";

class QUILLFOLD_EXPORT CNContactFormatter {
 public:
  // What a full name (style 0) is made of: the name and organization properties
  // and the contact type, as one descriptor.
  static CNKeyDescriptor descriptorForRequiredKeysForStyle(std::int64_t style);
};

enum CNContactType : std::int64_t { CNContactTypePerson = 0, CNContactTypeOrganization = 1 };

// Labels of the platform have the form _$!<Mobile>!$_; every other text is a
// label of the user's own.
inline constexpr const char* CNLabelHome = "_$!<Home>!$_";
inline constexpr const char* CNLabelWork = "_$!<Work>!$_";
inline constexpr const char* CNLabelOther = "_$!<Other>!$_";

// The text that the device shows for a label. A label that is not the platform's
// own comes back unchanged, an absent one as "".
QUILLFOLD_EXPORT std::string localizedStringForLabel(const std::optional<std::string>& label);

// One entry of a list, with its label.
template <typename T>
struct CNLabeledValue {
  std::optional<std::string> label;
  T value;

  static CNLabeledValue labeledValueWithLabel(std::optional<std::string> label, T value) {
    return {std::move(label), std::move(value)};
  }
  friend bool operator==(const CNLabeledValue&, const CNLabeledValue&) = default;
};

struct CNPhoneNumber {
  std::string stringValue;  // As the user typed it.
  friend bool operator==(const CNPhoneNumber&, const CNPhoneNumber&) = default;
};

struct CNPostalAddress {
  std::string street;
  std::string city;
  std::string state;
  std::string postalCode;
  std::string country;
  friend bool operator==(const CNPostalAddress&, const CNPostalAddress&) = default;
};

// Profiles, relations and messengers: what the user left empty is "" or absent.
struct CNSocialProfile {
  std::optional<std::string> service;
  std::optional<std::string> username;
  std::optional<std::string> urlString;
  friend bool operator==(const CNSocialProfile&, const CNSocialProfile&) = default;
};

struct CNContactRelation {
  std::string name;
  friend bool operator==(const CNContactRelation&, const CNContactRelation&) = default;
};

struct CNInstantMessageAddress {
  std::string service;
  std::string username;
  friend bool operator==(const CNInstantMessageAddress&, const CNInstantMessageAddress&) = default;
};

// Everything that a contact holds. A string that the user left empty is "".
struct CNContactProperties {
  std::string identifier;
  std::int64_t contactType = CNContactTypePerson;
  std::string namePrefix, givenName, middleName, familyName, previousFamilyName, nameSuffix;
  std::string nickname;
  std::string organizationName, departmentName, jobTitle;
  std::string note;
  std::optional<Data> imageData, thumbnailImageData;
  std::optional<NSDateComponents> birthday;
  std::vector<CNLabeledValue<CNPhoneNumber>> phoneNumbers;
  std::vector<CNLabeledValue<std::string>> emailAddresses;
  std::vector<CNLabeledValue<CNPostalAddress>> postalAddresses;
  std::vector<CNLabeledValue<std::string>> urlAddresses;
  std::vector<CNLabeledValue<CNSocialProfile>> socialProfiles;
  std::vector<CNLabeledValue<CNContactRelation>> contactRelations;
  std::vector<CNLabeledValue<CNInstantMessageAddress>> instantMessageAddresses;

  friend bool operator==(const CNContactProperties&, const CNContactProperties&) = default;
};

// One of the keys above, as a bit.
class CNContactKey {
 public:
  // Found while compiling: a text that is no key, or that kKeys lacks, doesn't compile.
  consteval CNContactKey(const char* key) : bit_(bitOf(key)) {
    if (bit_ == 0) throw "no key of a contact";
  }
  // A key that is known at run time only; without a bit if it is none of them.
  CNContactKey(const CNKeyDescriptor& key) : bit_(bitOf(key)) {}

  constexpr std::uint64_t bit() const { return bit_; }
  // The key's text. Needs a bit.
  const char* name() const { return kKeys[static_cast<std::size_t>(std::countr_zero(bit_))]; }

 private:
  static constexpr std::array kKeys = {
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
  static constexpr std::uint64_t bitOf(std::string_view key) {
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
      if (key == kKeys[i]) return std::uint64_t{1} << i;
    }
    return 0;
  }

  std::uint64_t bit_;
};

// The set of properties that a list of keys asks for. Unknown keys ask for
// nothing.
class QUILLFOLD_EXPORT CNKeySet {
 public:
  static CNKeySet fromKeys(const std::vector<CNKeyDescriptor>& keys);
  static CNKeySet all() { return CNKeySet(~std::uint64_t{0}); }
  bool contains(CNContactKey key) const { return (bits_ & key.bit()) != 0; }

 private:
  explicit CNKeySet(std::uint64_t bits) : bits_(bits) {}
  std::uint64_t bits_;
};

// A contact as a fetch gave it. Immutable and cheap to copy; may be read from
// any thread. What an accessor refers to lives as long as a copy of the contact
// does. Each accessor but `identifier` and `isKeyAvailable` raises
// NSException "CNPropertyNotFetchedException" for a property that was not asked
// for.
class QUILLFOLD_EXPORT CNContact {
 public:
  CNContact(std::shared_ptr<const CNContactProperties> properties, CNKeySet keys)
      : properties_(std::move(properties)), keys_(keys) {}

  bool isKeyAvailable(CNContactKey key) const { return keys_.contains(key); }

  const std::string& identifier() const { return properties_->identifier; }
  std::int64_t contactType() const { return fetched(CNContactTypeKey).contactType; }
  const std::string& namePrefix() const { return fetched(CNContactNamePrefixKey).namePrefix; }
  const std::string& givenName() const { return fetched(CNContactGivenNameKey).givenName; }
  const std::string& middleName() const { return fetched(CNContactMiddleNameKey).middleName; }
  const std::string& familyName() const { return fetched(CNContactFamilyNameKey).familyName; }
  const std::string& previousFamilyName() const {
    return fetched(CNContactPreviousFamilyNameKey).previousFamilyName;
  }
  const std::string& nameSuffix() const { return fetched(CNContactNameSuffixKey).nameSuffix; }
  const std::string& nickname() const { return fetched(CNContactNicknameKey).nickname; }
  const std::string& organizationName() const {
    return fetched(CNContactOrganizationNameKey).organizationName;
  }
  const std::string& departmentName() const {
    return fetched(CNContactDepartmentNameKey).departmentName;
  }
  const std::string& jobTitle() const { return fetched(CNContactJobTitleKey).jobTitle; }
  const std::string& note() const { return fetched(CNContactNoteKey).note; }
  const std::optional<Data>& imageData() const { return fetched(CNContactImageDataKey).imageData; }
  const std::optional<Data>& thumbnailImageData() const {
    return fetched(CNContactThumbnailImageDataKey).thumbnailImageData;
  }
  bool imageDataAvailable() const {
    return fetched(CNContactImageDataAvailableKey).imageData.has_value();
  }
  const std::optional<NSDateComponents>& birthday() const {
    return fetched(CNContactBirthdayKey).birthday;
  }
  const std::vector<CNLabeledValue<CNPhoneNumber>>& phoneNumbers() const {
    return fetched(CNContactPhoneNumbersKey).phoneNumbers;
  }
  const std::vector<CNLabeledValue<std::string>>& emailAddresses() const {
    return fetched(CNContactEmailAddressesKey).emailAddresses;
  }
  const std::vector<CNLabeledValue<CNPostalAddress>>& postalAddresses() const {
    return fetched(CNContactPostalAddressesKey).postalAddresses;
  }
  const std::vector<CNLabeledValue<std::string>>& urlAddresses() const {
    return fetched(CNContactUrlAddressesKey).urlAddresses;
  }
  const std::vector<CNLabeledValue<CNSocialProfile>>& socialProfiles() const {
    return fetched(CNContactSocialProfilesKey).socialProfiles;
  }
  const std::vector<CNLabeledValue<CNContactRelation>>& contactRelations() const {
    return fetched(CNContactRelationsKey).contactRelations;
  }
  const std::vector<CNLabeledValue<CNInstantMessageAddress>>& instantMessageAddresses() const {
    return fetched(CNContactInstantMessageAddressesKey).instantMessageAddresses;
  }

 private:
  // The properties, if the key was asked for.
  const CNContactProperties& fetched(CNContactKey key) const {
    if (!isKeyAvailable(key)) raiseNotFetched(key);
    return *properties_;
  }
  [[noreturn]] static void raiseNotFetched(CNContactKey key);

  std::shared_ptr<const CNContactProperties> properties_;
  CNKeySet keys_;
};

// A contact under construction, for instance one that a host is about to put
// into its own address book. All properties can be read and set.
class QUILLFOLD_EXPORT CNMutableContact {
 public:
  CNContactProperties& properties() { return properties_; }
  const CNContactProperties& properties() const { return properties_; }
  // The contact as it stands, with every property available.
  CNContact copy() const;

 private:
  CNContactProperties properties_;
};

}  // namespace quillfold
