// Any bytes as an address book: nothing may crash, hang or come out as broken UTF-8.
#include "adapters/vcard/vcard.h"
#include "foundation/text.h"
#include "fuzz/subject.h"

namespace quillfold::fuzz::vcard {
namespace {

void check(const std::string& text) {
  require(text::isValidUTF8(text) && text.find('\0') == text.npos);
}

void check(const std::optional<std::string>& text) {
  check(text.value_or(""));
}

template <typename... Texts>
void checkAll(const Texts&... texts) {
  (check(texts), ...);
}

void check(const CNPhoneNumber& number) {
  check(number.stringValue);
}

void check(const CNContactRelation& relation) {
  check(relation.name);
}

void check(const CNPostalAddress& address) {
  checkAll(address.street, address.city, address.state, address.postalCode, address.country);
}

void check(const CNInstantMessageAddress& address) {
  checkAll(address.service, address.username);
}

void check(const CNSocialProfile& profile) {
  checkAll(profile.service, profile.username, profile.urlString);
}

template <typename Value>
void check(const std::vector<CNLabeledValue<Value>>& entries) {
  for (const auto& entry : entries) {
    check(entry.label);
    check(entry.value);
  }
}

void check(const CNContactProperties& contact) {
  checkAll(contact.identifier, contact.namePrefix, contact.givenName, contact.middleName,
           contact.familyName, contact.previousFamilyName, contact.nameSuffix, contact.nickname,
           contact.organizationName, contact.departmentName, contact.jobTitle, contact.note);
  check(contact.phoneNumbers);
  check(contact.emailAddresses);
  check(contact.urlAddresses);
  check(contact.contactRelations);
  check(contact.instantMessageAddresses);
  check(contact.socialProfiles);
  check(contact.postalAddresses);
  require(!contact.identifier.empty());
}

void run(std::string_view bytes) {
  parseVCards(
      bytes,
      [](const VCard& card) {
        check(card.contact);
        require(card.fingerprint().size() == 16);
      },
      [](const VCardProblem& problem) { check(problem.reason); });
}

const Subject subject("vcard", run);

}  // namespace
}  // namespace quillfold::fuzz::vcard
