#include "adapters/vcard/vcard.h"

#include <limits>

#include "adapters/vcard/attributes.h"
#include "adapters/vcard/card_mapper.h"
#include "adapters/vcard/card_splitter.h"
#include "adapters/vcard/content_lines.h"
#include "adapters/vcard/decoding.h"

namespace quillfold {

namespace {

using namespace vcard;

constexpr std::size_t kFingerprintLength = 16;
// Each property costs the parser a kilobyte and more; nobody has so many.
constexpr std::size_t kMaximumProperties = 5000;

// Made from what a person is called, so that it outlives changes of everything else.
std::string identifierFor(const CNContactProperties& contact, const std::string& fingerprint) {
  std::string names;
  for (const std::string* part :
       {&contact.namePrefix, &contact.givenName, &contact.middleName, &contact.familyName,
        &contact.nameSuffix, &contact.organizationName, &contact.nickname}) {
    names += *part + '\n';
  }
  const bool nameless = names.find_first_not_of('\n') == std::string::npos;
  return "vcard-" + (nameless ? fingerprint : digest(names).substr(0, 2 * kFingerprintLength));
}

bool isEmpty(CNContactProperties contact) {
  contact.identifier.clear();
  contact.contactType = CNContactTypePerson;
  return contact == CNContactProperties();
}

void readCard(const RawCard& raw, const std::function<void(VCard)>& onCard,
              const std::function<void(VCardProblem)>& onProblem) {
  const std::vector<ContentLine> lines = contentLines(raw, isMapped, onProblem);
  if (lines.size() > kMaximumProperties) {
    onProblem({raw.number, raw.line, "the card has too many properties and is left out", true});
    return;
  }
  const std::string plain = plainCard(lines, isCompound);
  std::optional<CNContactProperties> contact =
      contactOf(attributesOf(plain), [&](std::string reason) {
        onProblem({raw.number, raw.line, std::move(reason)});
      });
  if (!contact) return;
  if (isEmpty(*contact)) {
    onProblem({raw.number, raw.line, "the card holds nothing and is left out", true});
    return;
  }
  VCard card{*std::move(contact), digest(plain).substr(0, kFingerprintLength)};
  if (card.contact.identifier.empty()) {
    card.contact.identifier = identifierFor(card.contact, card.fingerprint);
  }
  onCard(std::move(card));
}

}  // namespace

void parseVCards(std::string_view bytes, const std::function<void(VCard)>& onCard,
                 const std::function<void(VCardProblem)>& onProblem) {
  // The converters count in 32 bits.
  if (bytes.size() > std::numeric_limits<std::int32_t>::max()) {
    onProblem({0, 1, "a text of more than 2 GB is left out"});
    return;
  }
  std::string storage;
  splitCards(
      textOfFile(bytes, storage), [&](const RawCard& card) { readCard(card, onCard, onProblem); },
      onProblem);
}

}  // namespace quillfold
