#include "apps/backend/validation/contact_shape.h"

#include <algorithm>
#include <array>

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr auto kRequired = Presence::kRequired;
constexpr unsigned kText = kString | kNull;

bool hasNumber(const json& entry, const char* key) {
  const auto found = entry.find(key);
  return found != entry.end() && found->is_number();
}

// --- Entries of the lists. "Upload" and "Record" are the two forms.

constexpr std::array kUploadValueFields = {
    Field{"type", kString},
    Field{"label", kString},
    Field{"value", kString},
    Field{"is_primary", kZeroOrOne},
    Field{"emoji", kString, kOptional},
};
constexpr Shape kUploadValue{kUploadValueFields, true};

constexpr std::array<Field, 7> recordValueFields(std::string_view ownIdKey) {
  return {{{"id", kText, kOptional},
           {"type", kString},
           {"label", kString},
           {"value", kString},
           {"is_primary", kBoolean},
           {"emoji", kText, kOptional},
           {ownIdKey, kText, kOptional}}};
}
constexpr auto kRecordPhoneFields = recordValueFields("phone_id");
constexpr auto kRecordEmailFields = recordValueFields("email_id");
constexpr auto kRecordUrlFields = recordValueFields("url_id");
constexpr Shape kRecordPhone{kRecordPhoneFields, true};
constexpr Shape kRecordEmail{kRecordEmailFields, true};
constexpr Shape kRecordUrl{kRecordUrlFields, true};

template <const Shape& record>
const Shape& valueShape(const json& entry) {
  return hasNumber(entry, "is_primary") ? kUploadValue : record;
}

constexpr std::array kUploadAddressFields = {
    Field{"type", kString},           Field{"label", kString}, Field{"street_address", kText},
    Field{"extended_address", kNull}, Field{"city", kText},    Field{"region", kText},
    Field{"postal_code", kText},      Field{"country", kText}, Field{"is_primary", kZeroOrOne},
};
constexpr Shape kUploadAddress{kUploadAddressFields, true};

constexpr std::array kRecordAddressFields = {
    Field{"id", kText, kOptional},
    Field{"type", kText, kOptional},
    Field{"label", kText, kOptional},
    Field{"street_address", kText, kOptional},
    Field{"extended_address", kText, kOptional},
    Field{"city", kText, kOptional},
    Field{"region", kText, kOptional},
    Field{"postal_code", kText, kOptional},
    Field{"country", kText, kOptional},
    Field{"is_primary", kBoolean},
};
constexpr Shape kRecordAddress{kRecordAddressFields, true};

const Shape& addressShape(const json& entry) {
  return hasNumber(entry, "is_primary") ? kUploadAddress : kRecordAddress;
}

constexpr std::array kUploadProfileFields = {
    Field{"platform", kString},
    Field{"label", kString},
    Field{"username", kText},
    Field{"url", kText},
};
constexpr Shape kUploadProfile{kUploadProfileFields, true};

constexpr std::array kRecordProfileFields = {
    Field{"id", kText, kOptional},
    Field{"platform", kString},
    Field{"username", kText, kOptional},
    Field{"url", kText, kOptional},
};
constexpr Shape kRecordProfile{kRecordProfileFields, true};

const Shape& profileShape(const json& entry) {
  return entry.contains("label") ? kUploadProfile : kRecordProfile;
}

constexpr std::array kUploadMessengerFields = {
    Field{"service", kString},
    Field{"label", kString},
    Field{"username", kString},
};
constexpr Shape kUploadMessenger{kUploadMessengerFields, true};

// A record that was read from an upload knows no type and leaves it out.
constexpr std::array kRecordMessengerFields = {
    Field{"id", kText, kOptional},       Field{"service", kString},
    Field{"username", kText, kOptional}, Field{"user_identifier", kText, kOptional},
    Field{"type", kString, kOptional},   Field{"is_primary", kBoolean},
};
constexpr Shape kRecordMessenger{kRecordMessengerFields, true};

const Shape& messengerShape(const json& entry) {
  return entry.contains("is_primary") ? kRecordMessenger : kUploadMessenger;
}

// Both forms of a date write a boolean here, where the other lists' uploads
// write an integer.
constexpr std::array kDateFields = {
    Field{"id", kText, kOptional},
    Field{"label", kString},
    Field{"date", kString, kOptional},
    Field{"is_primary", kBoolean},
};
constexpr Shape kDate{kDateFields, true};
const Shape& dateShape(const json&) {
  return kDate;
}

constexpr std::array kRelationFields = {
    Field{"id", kText, kOptional},
    Field{"name", kString},
    Field{"relation_type", kString},
    Field{"notes", kText, kOptional},
};
constexpr Shape kRelation{kRelationFields, true};
const Shape& relationShape(const json&) {
  return kRelation;
}

// --- The contact itself. Fields that it may lack are null in an upload and left
// out of a record.

constexpr std::array<Field, 32> contactFields(Presence nullable) {
  return {{
      {"id", kString, kOptional},
      {"display_name", kString},
      {"given_name", kText, nullable},
      {"family_name", kText, nullable},
      {"name_prefix", kText, nullable},
      {"name_suffix", kText, nullable},
      {"middle_name", kText, nullable},
      {"previous_family_name", kText, nullable},
      {"nickname", kString},
      {"notes", kString},
      {"bio", kText, nullable},
      {"location", kText, nullable},
      {"contact_section", kString, kOptional},
      {"organization_id", kFilledString},
      {"source_id", kFilledString},
      {"source_contact_id", kString, kOptional},
      {"organization_name", kText, nullable},
      {"department_name", kText, nullable},
      {"job_title", kText, nullable},
      {"contact_type", kInteger},
      {"birthday", kText, nullable},
      {"dates", kObjects, kRequired, dateShape},
      {"phone_numbers", kObjects, kRequired, valueShape<kRecordPhone>},
      {"email_addresses", kObjects, kRequired, valueShape<kRecordEmail>},
      {"addresses", kObjects, kRequired, addressShape},
      {"urls", kObjects, kRequired, valueShape<kRecordUrl>},
      {"social_profiles", kObjects, kRequired, profileShape},
      {"instant_message_addresses", kObjects, kRequired, messengerShape},
      {"relations", kObjects, kRequired, relationShape},
      {"tags", kStrings},
      {"custom_fields", kObject},
      {"match_string", kString, nullable},
  }};
}
constexpr auto kUploadFields = contactFields(kRequired);
constexpr auto kRecordFields = contactFields(kOptional);
constexpr Shape kUpload{kUploadFields, true};
constexpr Shape kRecord{kRecordFields, true};

}  // namespace

const Shape& contactShape(const json& contact) {
  // An upload has at least "bio" and "location" as null.
  const bool hasNull =
      std::any_of(contact.begin(), contact.end(), [](const json& e) { return e.is_null(); });
  return hasNull ? kUpload : kRecord;
}

}  // namespace quillfold::backend
