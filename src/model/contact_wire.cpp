#include "foundation/text.h"
#include "model/contact.h"

namespace quillfold {

namespace {

std::string dateText(NSDate date) {
  return NSDateFormatter("yyyy-MM-dd").stringFromDate(date);
}

// The first entry of a list is the primary one. An integer on the wire.
Value isPrimary(std::size_t index) {
  return index == 0 ? 1 : 0;
}

template <typename Entry, typename Map>
Array mapEntries(const EntryList<Entry>& list, Map map) {
  Array out;
  for (const auto& entry : list)
    out.emplace_back(map(*entry, out.size()));
  return out;
}

// The form that phones, e-mails and URLs share.
Dictionary valueEntry(const std::string& label, std::string value, std::size_t index,
                      const OptionalString& emoji) {
  Dictionary out{{"type", label},
                 {"label", label},
                 {"value", std::move(value)},
                 {"is_primary", isPrimary(index)}};
  setIfPresent(out, "emoji", emoji);
  return out;
}

std::string withScheme(const OptionalString& value) {
  if (!value || value->empty()) return "";
  const std::string lowercase = text::lowercaseString(*value);
  if (lowercase.starts_with("http://") || lowercase.starts_with("https://")) return *value;
  return "https://" + *value;
}

}  // namespace

// What becomes of an absent field differs from key to key: null, "" or no key.
Dictionary QFContact::toServerContactWithOrganizationId(const OptionalString& organizationId,
                                                        const OptionalString& sourceId) const {
  Dictionary out{
      {"id", identifier_},
      {"display_name", displayName_.value_or("")},
      {"given_name", valueOrNull(givenName_)},
      {"family_name", valueOrNull(familyName_)},
      {"name_prefix", valueOrNull(namePrefix_)},
      {"name_suffix", valueOrNull(nameSuffix_)},
      {"middle_name", valueOrNull(middleName_)},
      {"previous_family_name", valueOrNull(previousFamilyName_)},
      {"nickname", nickname_.value_or("")},
      {"notes", notes_.value_or("")},
      {"bio", valueOrNull(bio_)},
      {"location", valueOrNull(location_)},
      {"source_contact_id", identifier_},
      {"organization_name", valueOrNull(organizationName_)},
      {"department_name", valueOrNull(departmentName_)},
      {"job_title", valueOrNull(jobTitle_)},
      {"contact_type", contactType_},
      {"birthday", birthday_ ? Value(dateText(*birthday_)) : Value(nullptr)},
      {"dates", mapDatesToServerFormat()},
      {"phone_numbers", mapPhoneNumbersToServerFormat()},
      {"email_addresses", mapEmailAddressesToServerFormat()},
      {"addresses", mapAddressesToServerFormat()},
      {"urls", mapURLsToServerFormat()},
      {"social_profiles", mapSocialProfilesToServerFormat()},
      {"instant_message_addresses", mapInstantMessageAddressesToServerFormat()},
      {"relations", mapRelationsToServerFormat()},
      {"tags", Array(interests_.begin(), interests_.end())},
      {"custom_fields", Dictionary()},
      {"match_string", matchString_.value_or("")},
  };
  setIfPresent(out, "contact_section", contactSection_);
  setIfPresent(out, "organization_id", organizationId);
  setIfPresent(out, "source_id", sourceId);
  return out;
}

Array QFContact::mapPhoneNumbersToServerFormat() const {
  return mapEntries(phoneNumbers_, [this](const QFContactPhoneNumber& phone, std::size_t index) {
    return valueEntry(normalizeLabel(phone.type()), phone.value().value_or(""), index,
                      phone.emoji());
  });
}

Array QFContact::mapEmailAddressesToServerFormat() const {
  return mapEntries(emailAddresses_, [this](const QFContactEmailAddress& email, std::size_t index) {
    return valueEntry(normalizeLabel(email.type()), email.value().value_or(""), index,
                      email.emoji());
  });
}

Array QFContact::mapURLsToServerFormat() const {
  return mapEntries(urlAddresses_, [this](const QFContactURL& url, std::size_t index) {
    return valueEntry(normalizeLabel(url.type()), withScheme(url.value()), index, url.emoji());
  });
}

Array QFContact::mapAddressesToServerFormat() const {
  return mapEntries(addresses_, [this](const QFContactAddress& address, std::size_t index) {
    const std::string label = normalizeLabel(address.type());
    return Dictionary{{"type", label},
                      {"label", label},
                      {"street_address", valueOrNull(address.street())},
                      {"extended_address", nullptr},
                      {"city", valueOrNull(address.city())},
                      {"region", valueOrNull(address.state())},
                      {"postal_code", valueOrNull(address.postalCode())},
                      {"country", valueOrNull(address.country())},
                      {"is_primary", isPrimary(index)}};
  });
}

Array QFContact::mapSocialProfilesToServerFormat() const {
  return mapEntries(socialProfiles_, [this](const QFContactSocialProfile& profile, std::size_t) {
    const std::string platform = normalizeLabel(profile.service());
    return Dictionary{{"platform", platform},
                      {"label", platform},
                      {"username", valueOrNull(profile.username())},
                      {"url", valueOrNull(profile.urlString())}};
  });
}

Array QFContact::mapDatesToServerFormat() const {
  return mapEntries(dates_, [](const QFContactDate& date, std::size_t) {
    // A boolean here, where the other lists send an integer.
    Dictionary out{
        {"id", nullptr}, {"label", date.type().value_or("other")}, {"is_primary", false}};
    if (date.date()) out["date"] = dateText(*date.date());
    return out;
  });
}

Array QFContact::mapInstantMessageAddressesToServerFormat() const {
  return mapEntries(instantMessageAddresses_, [this](const QFContactInstantMessage& message,
                                                     std::size_t) {
    const std::string service = normalizeLabel(message.service());
    return Dictionary{
        {"service", service}, {"label", service}, {"username", message.username().value_or("")}};
  });
}

Array QFContact::mapRelationsToServerFormat() const {
  return mapEntries(relations_, [](const QFContactRelation& relation, std::size_t) {
    return Dictionary{{"name", relation.name().value_or("")},
                      {"relation_type", relation.type().value_or("other")},
                      {"notes", nullptr}};
  });
}

}  // namespace quillfold
