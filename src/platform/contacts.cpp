#include "platform/contacts.h"

#include "foundation/format.h"
#include "platform/platform.h"

namespace quillfold {

namespace {

constexpr std::string_view kFullNameDescriptor = "CNContactFormatter.fullName";

constexpr CNContactKey kFullNameKeys[] = {
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

}  // namespace

CNKeyDescriptor CNContactFormatter::descriptorForRequiredKeysForStyle(std::int64_t) {
  return CNKeyDescriptor(kFullNameDescriptor);
}

std::string localizedStringForLabel(const std::optional<std::string>& label) {
  if (!label) return "";
  return Platform::current().contacts->localizedLabel(*label);
}

CNKeySet CNKeySet::fromKeys(const std::vector<CNKeyDescriptor>& keys) {
  std::uint64_t bits = CNContactKey(CNContactIdentifierKey).bit();
  for (const CNKeyDescriptor& key : keys) {
    bits |= CNContactKey(key).bit();
    if (key == kFullNameDescriptor) {
      for (const CNContactKey part : kFullNameKeys)
        bits |= part.bit();
    }
  }
  return CNKeySet(bits);
}

void CNContact::raiseNotFetched(CNContactKey key) {
  throw NSException(
      CNPropertyNotFetchedExceptionName,
      fmt::format("A property was not requested when contact was fetched: {}", key.name()));
}

CNContact CNMutableContact::copy() const {
  return {std::make_shared<const CNContactProperties>(properties_), CNKeySet::all()};
}

}  // namespace quillfold
