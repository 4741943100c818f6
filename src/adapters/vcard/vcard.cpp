#include "adapters/vcard/vcard.h"

#include <limits>

#include "adapters/vcard/attributes.h"
#include "adapters/vcard/card_mapper.h"
#include "adapters/vcard/card_splitter.h"
#include "adapters/vcard/decoding.h"
#include "foundation/hash.h"

namespace quillfold {

namespace {

using namespace vcard;

constexpr std::size_t kFingerprintLength = 16;

// Made from what a person is called, so that it outlives changes of everything else.
std::string identifierFor(const VCard& card) {
  const CNContactProperties& contact = card.contact;
  std::string names;
  for (const std::string* part :
       {&contact.namePrefix, &contact.givenName, &contact.middleName, &contact.familyName,
        &contact.nameSuffix, &contact.organizationName, &contact.nickname}) {
    names += *part + '\n';
  }
  const bool nameless = names.find_first_not_of('\n') == std::string::npos;
  return "vcard-" +
         (nameless ? card.fingerprint() : sha256Hex(names).substr(0, 2 * kFingerprintLength));
}

class CardReader {
 public:
  CardReader(const std::function<void(VCard&&)>& onCard,
             const std::function<void(VCardProblem)>& onProblem)
      : onCard_(onCard), onProblem_(onProblem) {}

  void read(const RawCard& raw) {
    attributes_.read(raw, [&](std::size_t line) {
      onProblem_({raw.number, line, "the line is no property and is left out", false});
    });
    const auto tell = [&](std::string reason, bool cardLeftOut) {
      onProblem_({raw.number, raw.line, std::move(reason), cardLeftOut});
    };
    if (attributes_.all().size() > kMaximumProperties) {
      return tell("the card has too many properties and is left out", true);
    }
    VCard card{{}, [&] { return fingerprint(raw); }};
    const CardKind kind = readContact(attributes_.all(), card.contact,
                                      [&](std::string reason) { tell(std::move(reason), false); });
    if (kind == CardKind::Empty) tell("the card holds nothing and is left out", true);
    if (kind != CardKind::Contact) return;
    if (card.contact.identifier.empty()) card.contact.identifier = identifierFor(card);
    onCard_(std::move(card));
  }

 private:
  static std::string fingerprint(const RawCard& raw) {
    return sha256Hex(Attributes(findProperty).plainCard(raw)).substr(0, kFingerprintLength);
  }

  const std::function<void(VCard&&)>& onCard_;
  const std::function<void(VCardProblem)>& onProblem_;
  Attributes attributes_{findProperty};
};

}  // namespace

void parseVCards(std::string_view bytes, const std::function<void(VCard&&)>& onCard,
                 const std::function<void(VCardProblem)>& onProblem) {
  // The converters count in 32 bits.
  if (bytes.size() > std::numeric_limits<std::int32_t>::max()) {
    onProblem({0, 1, "a text of more than 2 GB is left out"});
    return;
  }
  std::string storage;
  CardReader reader(onCard, onProblem);
  splitCards(
      textOfFile(bytes, storage), [&](const RawCard& card) { reader.read(card); }, onProblem);
}

}  // namespace quillfold
