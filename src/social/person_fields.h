// The members of a person of the server's.
#pragma once

#include "foundation/record_description.h"
#include "social/social_records.h"

namespace quillfold {

// Each place that reads a person has rules of its own; written it is the same
// everywhere but in a follow row.
template <typename Text, typename Flag, typename Date>
RecordDescription<QFCanonicalContact::Fields> personFields() {
  using Person = QFCanonicalContact::Fields;
  using namespace writing;
  static constexpr FieldDescription<Person> kFields[] = {
      field<&Person::identifier, Text, Omit>("id"),
      field<&Person::organizationId, Text, Null>("organization_id"),
      field<&Person::organizationUserId, Text, Omit>("organization_user_id"),
      field<&Person::email, Text, Null>("email"),
      field<&Person::phone, Text, Null>("phone"),
      field<&Person::fullName, Text, Omit>("full_name"),
      field<&Person::avatarUrl, Text, Null>("avatar_url"),
      field<&Person::isActive, Flag, Always>("is_active"),
      field<&Person::createdAt, Date, EpochDate>("created_at"),
      field<&Person::updatedAt, Date, EpochDate>("updated_at"),
      field<&Person::contactMetadata, Text, Omit>("contact_metadata"),
  };
  return kFields;
}

// A person as an answer has it, with the dates by the rule of the place.
template <typename Date>
QFCanonicalContactPtr personFromDictionary(const Dictionary& dictionary) {
  QFCanonicalContact::Fields person;
  readRecord(personFields<reading::Copy, reading::Boolean, Date>(), dictionary, person);
  return QFCanonicalContact::initWithFields(std::move(person));
}

}  // namespace quillfold
