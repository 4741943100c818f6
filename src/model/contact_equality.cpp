#include <map>
#include <set>

#include "foundation/error.h"
#include "foundation/text.h"
#include "model/contact.h"

namespace quillfold {

namespace {

constexpr std::size_t kComparedPhoneDigits = 10;

// Compares the lists as dictionaries from an entry's key to its label. Labels
// compare exactly here, without regard to case in the sets below.
template <typename Entry, typename KeyOf>
bool equalByKeyAndLabel(const EntryList<Entry>& a, const EntryList<Entry>& b, KeyOf keyOf) {
  if (a.size() != b.size()) return false;
  const auto labels = [&keyOf](const EntryList<Entry>& list) {
    std::map<std::string, std::string> out;
    for (const auto& entry : list) {
      const OptionalString key = keyOf(entry->value());
      if (!key) throw NSException(NSInvalidArgumentException, "A contact entry has no value.");
      out[*key] = entry->type().value_or("");
    }
    return out;
  };
  return labels(a) == labels(b);
}

// Compares the lists as sets of texts; duplicates collapse.
template <typename Element, typename TextOf>
bool equalAsSets(const std::vector<Element>& a, const std::vector<Element>& b, TextOf textOf) {
  if (a.size() != b.size()) return false;
  const auto texts = [&textOf](const std::vector<Element>& list) {
    std::set<std::string> out;
    for (const Element& element : list)
      out.insert(textOf(element));
    return out;
  };
  return texts(a) == texts(b);
}

OptionalString lowercased(const OptionalString& text) {
  return text ? OptionalString(text::lowercaseString(*text)) : std::nullopt;
}

// "name:value|" for each part that is present, in lower case.
std::string labelledText(
    std::initializer_list<std::pair<const char*, const OptionalString*>> parts) {
  std::string out;
  for (const auto& [name, text] : parts) {
    if (*text) out += std::string(name) + ':' + **text + '|';
  }
  return text::lowercaseString(out);
}

bool sameDay(const std::optional<NSDate>& a, const std::optional<NSDate>& b) {
  if (!a || !b) return !a && !b;
  const NSCalendar calendar = NSCalendar::currentCalendar();
  return calendar.componentsFromDate(*a) == calendar.componentsFromDate(*b);
}

}  // namespace

bool QFContact::isEqualToContact(const std::shared_ptr<const QFContact>& other) const {
  if (!other || identifier_ != other->identifier_) return false;
  if (contactType_ != other->contactType_) return false;
  for (const auto field :
       {&QFContact::namePrefix_, &QFContact::givenName_, &QFContact::middleName_,
        &QFContact::familyName_, &QFContact::previousFamilyName_, &QFContact::nameSuffix_,
        &QFContact::nickname_, &QFContact::organizationName_, &QFContact::departmentName_,
        &QFContact::jobTitle_, &QFContact::notes_, &QFContact::bio_, &QFContact::location_,
        &QFContact::matchString_, &QFContact::contactSection_, &QFContact::parentContactId_,
        &QFContact::sourceId_}) {
    if (!stringOrNilEquals(this->*field, (*other).*field)) return false;
  }
  return imageDataAvailable_ == other->imageDataAvailable_ && imageData_ == other->imageData_ &&
         thumbnailImageData_ == other->thumbnailImageData_ &&
         arePhoneNumbersEqual(phoneNumbers_, other->phoneNumbers_) &&
         areEmailAddressesEqual(emailAddresses_, other->emailAddresses_) &&
         areURLAddressesEqual(urlAddresses_, other->urlAddresses_) &&
         areAddressesEqual(addresses_, other->addresses_) &&
         areSocialProfilesEqual(socialProfiles_, other->socialProfiles_) &&
         areRelationsEqual(relations_, other->relations_) &&
         areInstantMessagesEqual(instantMessageAddresses_, other->instantMessageAddresses_) &&
         areDatesEqual(dates_, other->dates_) && areArraysEqual(interests_, other->interests_) &&
         areArraysEqual(avatars_, other->avatars_) && sameDay(birthday_, other->birthday_);
}

bool QFContact::stringOrNilEquals(const OptionalString& a, const OptionalString& b) const {
  return a == b;
}

OptionalString QFContact::normalizePhoneNumber(const OptionalString& number) {
  if (!number) return std::nullopt;
  return text::suffix(text::decimalDigits(*number), kComparedPhoneDigits);
}

bool QFContact::arePhoneNumbersEqual(const PhoneNumbers& a, const PhoneNumbers& b) {
  return equalByKeyAndLabel(a, b, normalizePhoneNumber);
}

bool QFContact::areEmailAddressesEqual(const EmailAddresses& a, const EmailAddresses& b) {
  return equalByKeyAndLabel(a, b, lowercased);
}

bool QFContact::areURLAddressesEqual(const URLAddresses& a, const URLAddresses& b) {
  return equalByKeyAndLabel(a, b, lowercased);
}

bool QFContact::areAddressesEqual(const Addresses& a, const Addresses& b) {
  return equalAsSets(a, b, [](const auto& entry) { return stringFromAddress(*entry); });
}

bool QFContact::areSocialProfilesEqual(const SocialProfiles& a, const SocialProfiles& b) {
  return equalAsSets(a, b, [](const auto& entry) { return stringFromSocialProfile(*entry); });
}

bool QFContact::areRelationsEqual(const Relations& a, const Relations& b) {
  return equalAsSets(a, b, [](const auto& entry) { return stringFromRelation(*entry); });
}

bool QFContact::areInstantMessagesEqual(const InstantMessages& a, const InstantMessages& b) {
  return equalAsSets(a, b, [](const auto& entry) { return stringFromInstantMessage(*entry); });
}

bool QFContact::areDatesEqual(const Dates& a, const Dates& b) {
  const NSDateFormatter formatter("yyyy-MM-dd");
  return equalAsSets(a, b,
                     [&formatter](const auto& entry) { return stringFromDate(*entry, formatter); });
}

bool QFContact::areArraysEqual(const std::vector<std::string>& a,
                               const std::vector<std::string>& b) {
  return equalAsSets(a, b, text::lowercaseString);
}

std::string QFContact::stringFromAddress(const QFContactAddress& address) {
  return labelledText({{"street", &address.street()},
                       {"city", &address.city()},
                       {"state", &address.state()},
                       {"postal", &address.postalCode()},
                       {"country", &address.country()},
                       {"type", &address.type()}});
}

std::string QFContact::stringFromSocialProfile(const QFContactSocialProfile& profile) {
  return labelledText({{"service", &profile.service()},
                       {"username", &profile.username()},
                       {"url", &profile.urlString()}});
}

std::string QFContact::stringFromRelation(const QFContactRelation& relation) {
  return labelledText({{"name", &relation.name()}, {"type", &relation.type()}});
}

std::string QFContact::stringFromInstantMessage(const QFContactInstantMessage& message) {
  return labelledText({{"service", &message.service()},
                       {"username", &message.username()},
                       {"type", &message.type()}});
}

std::string QFContact::stringFromDate(const QFContactDate& date, const NSDateFormatter& formatter) {
  OptionalString text;
  if (date.date()) text = formatter.stringFromDate(*date.date());
  return labelledText({{"date", &text}, {"type", &date.type()}});
}

}  // namespace quillfold
