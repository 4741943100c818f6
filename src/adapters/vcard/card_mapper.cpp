#include "adapters/vcard/card_mapper.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "adapters/vcard/ascii.h"
#include "adapters/vcard/birthday.h"
#include "adapters/vcard/decoding.h"
#include "adapters/vcard/labels.h"
#include "adapters/vcard/services.h"

namespace quillfold::vcard {

namespace {

// Each entry of its group gets a copy, so a long one would cost memory without end.
constexpr std::size_t kMaximumLabelSize = 1000;

// A contact while its card is read.
struct Draft {
  CNContactProperties& contact;  // All but the next two.
  std::string identifier = {};
  std::int64_t type = CNContactTypePerson;
  std::string fullName = {};
  bool isGroup = false;
  std::map<std::string, std::string> groupLabels = {};            // X-ABLabel by group.
  std::set<std::pair<std::string, std::string>> messengers = {};  // Service and name.
  std::vector<std::string> faults = {};

  // The label that the card names for the entry itself, or else that of its types.
  template <typename LabelOfTypes>
  std::optional<std::string> label(const Attribute& attribute, LabelOfTypes ofTypes) const {
    if (groupLabels.empty() || attribute.group.empty()) return ofTypes(attribute);
    const auto named = groupLabels.find(lowercased(attribute.group));
    return named != groupLabels.end() ? named->second : ofTypes(attribute);
  }
};

using Handler = void (*)(Draft&, const Attribute&);

// The first that says something counts: later ones are the same in another language.
void setOnce(std::string& target, std::string_view text) {
  if (target.empty()) target = text;
}

template <std::string CNContactProperties::*member>
void setText(Draft& draft, const Attribute& attribute) {
  setOnce(draft.contact.*member, attribute.text());
}

bool isNamed(const CNContactProperties& contact) {
  return !contact.namePrefix.empty() || !contact.givenName.empty() || !contact.middleName.empty() ||
         !contact.familyName.empty() || !contact.nameSuffix.empty();
}

void setName(Draft& draft, const Attribute& attribute) {
  CNContactProperties& contact = draft.contact;
  if (isNamed(contact)) return;
  contact.familyName = attribute.field(0);
  contact.givenName = attribute.field(1);
  contact.middleName = attribute.field(2);
  contact.namePrefix = attribute.field(3);
  contact.nameSuffix = attribute.field(4);
}

// The texts that are not empty, with the separator between them.
std::string joined(std::span<const std::string_view> texts, std::string_view separator) {
  std::string result;
  for (const std::string_view text : texts) {
    if (text.empty()) continue;
    if (!result.empty()) result += separator;
    result += text;
  }
  return result;
}

void setOrganization(Draft& draft, const Attribute& attribute) {
  CNContactProperties& contact = draft.contact;
  if (!contact.organizationName.empty() || !contact.departmentName.empty()) return;
  contact.organizationName = attribute.text();
  contact.departmentName = joined(std::span(attribute.fields).subspan(1), ", ");
}

void setKind(Draft& draft, const Attribute& attribute) {
  const std::string_view kind = attribute.text();
  if (equalIgnoringCase(kind, "org") || equalIgnoringCase(kind, "COMPANY")) {
    draft.type = CNContactTypeOrganization;
  }
  if (equalIgnoringCase(kind, "group")) draft.isGroup = true;
}

void setList(Draft& draft, const Attribute& attribute) {
  if (equalIgnoringCase(attribute.text(), "TRUE")) draft.isGroup = true;
}

void addNote(Draft& draft, const Attribute& attribute) {
  std::string& note = draft.contact.note;
  if (!note.empty() && !attribute.text().empty()) note += '\n';
  note += attribute.text();
}

void setBirthday(Draft& draft, const Attribute& attribute) {
  const std::string_view calendar = attribute.parameter("CALSCALE");
  const bool gregorian = calendar.empty() || equalIgnoringCase(calendar, "gregorian");
  if (draft.contact.birthday || attribute.text().empty() || !gregorian) return;
  draft.contact.birthday = birthdayOf(attribute.text(), attribute.parameter("X-APPLE-OMIT-YEAR"));
  if (!draft.contact.birthday) draft.faults.emplace_back("a birthday is no date and is left out");
}

// The base64 of a picture that is inside the card; absent for the address of one.
std::optional<std::string_view> inlineBytes(const Attribute& attribute) {
  const std::string_view text = attribute.text();
  if (startsWithIgnoringCase(text, "data:")) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    const bool base64 = lowercased(text.substr(0, comma)).ends_with(";base64");
    return base64 ? std::optional(text.substr(comma + 1)) : std::nullopt;
  }
  return attribute.parameter("ENCODING").empty() ? std::nullopt : std::optional(text);
}

void setPhoto(Draft& draft, const Attribute& attribute) {
  const std::optional<std::string_view> base64 = inlineBytes(attribute);
  if (!base64 || draft.contact.imageData) return;
  std::optional<std::string> bytes = decodedBase64(*base64);
  if (!bytes || bytes->empty()) {
    draft.faults.emplace_back("a picture is no base64 and is left out");
    return;
  }
  draft.contact.imageData = Data(*std::move(bytes));
  // Nothing here can scale a picture, so it stands for its own thumbnail.
  draft.contact.thumbnailImageData = draft.contact.imageData;
}

void addPhone(Draft& draft, const Attribute& attribute) {
  constexpr std::string_view kScheme = "tel:";
  std::string number(attribute.text());
  if (startsWithIgnoringCase(number, kScheme)) {
    number = decodedPercent(std::string_view(number).substr(kScheme.size()));
  }
  if (number.empty()) return;
  draft.contact.phoneNumbers.push_back({draft.label(attribute, phoneLabel), {std::move(number)}});
}

template <std::vector<CNLabeledValue<std::string>> CNContactProperties::*member>
void addText(Draft& draft, const Attribute& attribute) {
  if (attribute.text().empty()) return;
  (draft.contact.*member)
      .push_back({draft.label(attribute, placeLabel), std::string(attribute.text())});
}

// Box, extension, street, city, region, postal code, country: the platform has no place
// for the first two but the street.
void addAddress(Draft& draft, const Attribute& attribute) {
  CNPostalAddress address;
  const std::string_view street[] = {attribute.field(2), attribute.field(1), attribute.field(0)};
  address.street = joined(street, "\n");
  address.city = attribute.field(3);
  address.state = attribute.field(4);
  address.postalCode = attribute.field(5);
  address.country = attribute.field(6);
  if (address == CNPostalAddress()) return;
  draft.contact.postalAddresses.push_back({draft.label(attribute, placeLabel), address});
}

// Some writers store one messenger in two properties.
void addMessenger(Draft& draft, const Attribute& attribute) {
  CNInstantMessageAddress address = messengerOf(attribute);
  if (address.username.empty()) return;
  if (!draft.messengers.emplace(address.service, address.username).second) return;
  draft.contact.instantMessageAddresses.push_back(
      {draft.label(attribute, placeLabel), std::move(address)});
}

void addSocialProfile(Draft& draft, const Attribute& attribute) {
  CNSocialProfile profile = socialProfileOf(attribute);
  if (!profile.username && !profile.urlString) return;
  const auto noLabel = [](const Attribute&) { return std::optional<std::string>(); };
  draft.contact.socialProfiles.push_back({draft.label(attribute, noLabel), std::move(profile)});
}

void addRelationLabelled(Draft& draft, const Attribute& attribute,
                         std::optional<std::string> label) {
  if (attribute.text().empty()) return;
  draft.contact.contactRelations.push_back({std::move(label), {std::string(attribute.text())}});
}

// Without VALUE=text it may be the address of another card, which names nobody.
void addRelation(Draft& draft, const Attribute& attribute) {
  const bool named = equalIgnoringCase(attribute.parameter("VALUE"), "text");
  if (!named && attribute.text().find(':') != std::string::npos) return;
  addRelationLabelled(draft, attribute, draft.label(attribute, relationLabel));
}

void addLabelledRelation(Draft& draft, const Attribute& attribute) {
  addRelationLabelled(draft, attribute, draft.label(attribute, relationLabel));
}

// X-SPOUSE, X-EVOLUTION-SPOUSE and the like: the name tells the relation.
void addNamedRelation(Draft& draft, const Attribute& attribute) {
  Attribute typed = attribute;
  const std::string_view name = attribute.property->name;
  typed.types = {name.substr(name.rfind('-') + 1)};
  addRelationLabelled(draft, attribute, relationLabel(typed));
}

void setIdentifier(Draft& draft, const Attribute& attribute) {
  setOnce(draft.identifier, attribute.text());
}

void setFullName(Draft& draft, const Attribute& attribute) {
  setOnce(draft.fullName, attribute.text());
}

// Read before the others, in collectGroupLabels.
void skip(Draft&, const Attribute&) {}

struct Rule : Property {
  Handler handler;
};

using P = CNContactProperties;
// The more frequent of one length come first.
constexpr Rule kRules[] = {
    {{"TEL"}, addPhone},
    {{"EMAIL"}, addText<&P::emailAddresses>},
    {{"ADR", true}, addAddress},
    {{"N", true}, setName},
    {{"FN"}, setFullName},
    {{"UID"}, setIdentifier},
    {{"NICKNAME"}, setText<&P::nickname>},
    {{"X-MAIDENNAME"}, setText<&P::previousFamilyName>},
    {{"X-MAIDEN-NAME"}, setText<&P::previousFamilyName>},
    {{"ORG", true}, setOrganization},
    {{"TITLE"}, setText<&P::jobTitle>},
    {{"NOTE"}, addNote},
    {{"KIND"}, setKind},
    {{"X-ABSHOWAS"}, setKind},
    {{"X-ADDRESSBOOKSERVER-KIND"}, setKind},
    {{"X-EVOLUTION-LIST"}, setList},
    {{"BDAY"}, setBirthday},
    {{"PHOTO"}, setPhoto},
    {{"URL"}, addText<&P::urlAddresses>},
    {{"IMPP"}, addMessenger},
    {{"X-SOCIALPROFILE"}, addSocialProfile},
    {{"SOCIALPROFILE"}, addSocialProfile},
    {{"RELATED"}, addRelation},
    {{"X-ABRELATEDNAMES"}, addLabelledRelation},
    {{"X-SPOUSE"}, addNamedRelation},
    {{"X-MANAGER"}, addNamedRelation},
    {{"X-ASSISTANT"}, addNamedRelation},
    {{"X-EVOLUTION-SPOUSE"}, addNamedRelation},
    {{"X-EVOLUTION-MANAGER"}, addNamedRelation},
    {{"X-EVOLUTION-ASSISTANT"}, addNamedRelation},
    {{"X-ABLABEL"}, skip},
};

// Few names share a length, so one is found with hardly a comparison.
class RulesByLength {
 public:
  RulesByLength() {
    for (const Rule& rule : kRules)
      add(rule);
    for (const std::string_view name : messengerProperties())
      add({{name}, addMessenger});
  }

  const Rule* find(std::string_view name) const {
    if (name.size() >= rules_.size()) return nullptr;
    for (const Rule& rule : rules_[name.size()]) {
      if (equalIgnoringCase(rule.name, name)) return &rule;
    }
    return nullptr;
  }

 private:
  void add(const Rule& rule) {
    if (rule.name.size() >= rules_.size()) rules_.resize(rule.name.size() + 1);
    rules_[rule.name.size()].push_back(rule);
  }

  std::vector<std::vector<Rule>> rules_;
};

void collectGroupLabels(Draft& draft, std::span<const Attribute> attributes) {
  for (const Attribute& attribute : attributes) {
    if (attribute.property->name != "X-ABLABEL" || attribute.text().empty()) continue;
    if (attribute.text().size() > kMaximumLabelSize) {
      draft.faults.emplace_back("a label is too long and is left out");
      continue;
    }
    draft.groupLabels.emplace(lowercased(attribute.group), attribute.text());
  }
}

// Cards without N: where a full name parts differs from culture to culture, so all of it
// is the given name. Writers also put a company's name there.
void useFullName(Draft& draft) {
  CNContactProperties& contact = draft.contact;
  if (isNamed(contact) || draft.fullName == contact.organizationName) return;
  if (draft.type == CNContactTypePerson) {
    contact.givenName = draft.fullName;
  } else {
    setOnce(contact.organizationName, draft.fullName);
  }
}

}  // namespace

const Property* findProperty(std::string_view name) {
  static const RulesByLength& rules = *new RulesByLength;
  return rules.find(name);
}

CardKind readContact(std::span<const Attribute> attributes, CNContactProperties& contact,
                     const std::function<void(std::string reason)>& onFault) {
  static const CNContactProperties& nothing = *new CNContactProperties;
  Draft draft{contact};
  collectGroupLabels(draft, attributes);
  for (const Attribute& attribute : attributes)
    static_cast<const Rule*>(attribute.property)->handler(draft, attribute);
  if (draft.isGroup) return CardKind::Group;
  useFullName(draft);
  for (std::string& fault : draft.faults)
    onFault(std::move(fault));
  if (contact == nothing) return CardKind::Empty;
  contact.identifier = std::move(draft.identifier);
  contact.contactType = draft.type;
  return CardKind::Contact;
}

}  // namespace quillfold::vcard
