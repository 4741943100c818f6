#include "foundation/text.h"
#include "model/contact.h"

namespace quillfold {

namespace {

constexpr std::size_t kMatchedPhoneDigits = 20;
constexpr std::size_t kMatchedEmailCharacters = 50;
constexpr std::string_view kEmailCharacters = "abcdefghijklmnopqrstuvwxyz0123456789.@_-";

// Collects texts, each followed by one blank. An empty text adds its blank.
class MatchString {
 public:
  void add(const OptionalString& text) {
    if (text) add(*text);
  }
  void add(const std::string& text) {
    text_ += text;
    text_ += ' ';
  }
  std::string trimmed() const { return text::trimmingWhitespace(text_); }

 private:
  std::string text_;
};

std::string mediumDate(NSDate date) {
  return NSDateFormatter::mediumDateStyle().stringFromDate(date);
}

// The field of a list's first entry; absent for an empty list and where the
// field is absent or empty.
template <typename Entry, typename Field>
OptionalString ofFirst(const EntryList<Entry>& list, Field field) {
  if (list.empty()) return std::nullopt;
  const OptionalString& text = ((*list.front()).*field)();
  return isNonEmpty(text) ? text : std::nullopt;
}

OptionalString placeOfFirst(const Addresses& addresses) {
  if (addresses.empty()) return std::nullopt;
  const OptionalString& city = addresses.front()->city();
  const OptionalString& state = addresses.front()->state();
  if (isNonEmpty(city) && isNonEmpty(state)) return *city + ", " + *state;
  if (isNonEmpty(city)) return city;
  return isNonEmpty(state) ? state : std::nullopt;
}

OptionalString anniversary(const Dates& dates) {
  for (const auto& entry : dates) {
    if (entry->type() != "anniversary") continue;
    return "Anniversary " + (entry->date() ? mediumDate(*entry->date()) : std::string());
  }
  return std::nullopt;
}

}  // namespace

std::string QFContact::generateMatchString() const {
  MatchString match;
  for (const auto* name : {&givenName_, &middleName_, &familyName_, &previousFamilyName_,
                           &nickname_, &organizationName_, &departmentName_, &jobTitle_}) {
    match.add(*name);
  }
  for (const auto& phone : phoneNumbers_) {
    if (phone->value()) match.add(normalizePhoneNumberForMatching(phone->value()));
  }
  for (const auto& email : emailAddresses_) {
    if (email->value()) match.add(normalizeEmailForMatching(email->value()));
  }
  for (const auto& address : addresses_) {
    match.add(address->street());
    match.add(address->city());
    match.add(address->state());
    match.add(address->postalCode());
    match.add(address->country());
  }
  for (const auto& profile : socialProfiles_) {
    match.add(profile->username());
    match.add(profile->service());
    match.add(profile->urlString());
  }
  for (const auto& relation : relations_) {
    match.add(relation->name());
    match.add(relation->type());
  }
  for (const auto& message : instantMessageAddresses_) {
    match.add(message->username());
    match.add(message->service());
  }
  for (const auto& address : urlAddresses_)
    match.add(address->value());
  match.add(notes_);
  match.add(bio_);
  match.add(location_);
  return match.trimmed();
}

std::string QFContact::normalizePhoneNumberForMatching(const OptionalString& number) const {
  if (!isNonEmpty(number)) return "";
  return text::prefix(text::decimalDigits(*number), kMatchedPhoneDigits);
}

std::string QFContact::normalizeEmailForMatching(const OptionalString& email) const {
  if (!isNonEmpty(email)) return "";
  std::string kept;
  for (const char c : text::lowercaseString(*email)) {
    if (kEmailCharacters.find(c) != std::string_view::npos) kept += c;
  }
  return kept.substr(0, kMatchedEmailCharacters);
}

std::string QFContact::contactSectionForName() const {
  for (const auto* name : {&familyName_, &givenName_, &organizationName_}) {
    if (isNonEmpty(*name)) return text::uppercaseString(text::prefix(**name, 1));
  }
  return "#";
}

std::string QFContact::displayInfo() const {
  if (auto text = ofFirst(phoneNumbers_, &QFContactPhoneNumber::value)) return *text;
  if (auto text = ofFirst(emailAddresses_, &QFContactEmailAddress::value)) return *text;
  if (auto text = placeOfFirst(addresses_)) return *text;
  for (const auto* text : {&organizationName_, &jobTitle_, &nickname_}) {
    if (isNonEmpty(*text)) return **text;
  }
  if (birthday_) return "Born " + mediumDate(*birthday_);
  if (auto text = anniversary(dates_)) return *text;
  if (auto text = ofFirst(socialProfiles_, &QFContactSocialProfile::username)) return *text;
  if (auto text = ofFirst(instantMessageAddresses_, &QFContactInstantMessage::username)) {
    return *text;
  }
  if (auto text = ofFirst(urlAddresses_, &QFContactURL::value)) return *text;
  if (auto text = ofFirst(relations_, &QFContactRelation::name)) return *text;
  return "No details available";
}

}  // namespace quillfold
