// Any bytes as an address book: nothing may crash, hang or come out as broken UTF-8.
#include <cstdlib>

#include "adapters/vcard/vcard.h"
#include "foundation/text.h"

namespace {

using quillfold::CNContactProperties;

void require(const std::string& text) {
  if (!quillfold::text::isValidUTF8(text) || text.find('\0') != text.npos) std::abort();
}

void require(const std::optional<std::string>& text) {
  require(text.value_or(""));
}

template <typename... Texts>
void requireAll(const Texts&... texts) {
  (require(texts), ...);
}

void require(const quillfold::CNPhoneNumber& number) {
  require(number.stringValue);
}

void require(const quillfold::CNContactRelation& relation) {
  require(relation.name);
}

void require(const quillfold::CNPostalAddress& address) {
  requireAll(address.street, address.city, address.state, address.postalCode, address.country);
}

void require(const quillfold::CNInstantMessageAddress& address) {
  requireAll(address.service, address.username);
}

void require(const quillfold::CNSocialProfile& profile) {
  requireAll(profile.service, profile.username, profile.urlString);
}

template <typename Value>
void require(const std::vector<quillfold::CNLabeledValue<Value>>& entries) {
  for (const auto& entry : entries) {
    require(entry.label);
    require(entry.value);
  }
}

void require(const CNContactProperties& contact) {
  requireAll(contact.identifier, contact.namePrefix, contact.givenName, contact.middleName,
             contact.familyName, contact.previousFamilyName, contact.nameSuffix, contact.nickname,
             contact.organizationName, contact.departmentName, contact.jobTitle, contact.note);
  require(contact.phoneNumbers);
  require(contact.emailAddresses);
  require(contact.urlAddresses);
  require(contact.contactRelations);
  require(contact.instantMessageAddresses);
  require(contact.socialProfiles);
  require(contact.postalAddresses);
  if (contact.identifier.empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillfold::parseVCards(
      {reinterpret_cast<const char*>(data), size},
      [](const quillfold::VCard& card) {
        require(card.contact);
        if (card.fingerprint().size() != 16) std::abort();
      },
      [](const quillfold::VCardProblem& problem) { require(problem.reason); });
  return 0;
}
