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

void require(const CNContactProperties& contact) {
  for (const std::string* text :
       {&contact.identifier, &contact.namePrefix, &contact.givenName, &contact.middleName,
        &contact.familyName, &contact.previousFamilyName, &contact.nameSuffix, &contact.nickname,
        &contact.organizationName, &contact.departmentName, &contact.jobTitle, &contact.note}) {
    require(*text);
  }
  for (const auto& entry : contact.phoneNumbers)
    require(entry.value.stringValue);
  for (const auto& entry : contact.phoneNumbers)
    require(entry.label);
  for (const auto& entry : contact.emailAddresses)
    require(entry.value);
  for (const auto& entry : contact.instantMessageAddresses)
    require(entry.value.username);
  for (const auto& entry : contact.socialProfiles)
    require(entry.value.username);
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
