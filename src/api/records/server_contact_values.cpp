#include "api/records/server_contact_values.h"

#include "api/records/server_contact_coding.h"

namespace quillfold {

// --- Phone numbers, e-mail addresses, URLs -------------------------------------

template <typename Record>
RecordDescription<QFServerContactValue<Record>> QFServerContactValue<Record>::wireFields() {
  using R = QFServerContactValue;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::type_>("type", "type"),
      textField<&R::label_, reading::None>("label", "label"),
      textField<&R::value_>("value", "value"),
      flagField<&R::isPrimary_>("is_primary", "isPrimary"),
      textField<&R::emoji_>("emoji", "emoji"),
      textField<&R::ownId_>(Record::kOwnIdKey, Record::kOwnIdCodingKey),
  };
  return kFields;
}

template <typename Record>
std::shared_ptr<Record> QFServerContactValue<Record>::initWithIdentifier(
    JSONField identifier, JSONField type, JSONField value, bool isPrimary, JSONField emoji,
    JSONField ownId) {
  std::shared_ptr<Record> record(new Record);
  QFServerContactValue& fields = *record;
  fields.identifier_ = std::move(identifier);
  fields.label_ = type;
  fields.type_ = std::move(type);
  fields.value_ = std::move(value);
  fields.isPrimary_ = isPrimary;
  fields.emoji_ = std::move(emoji);
  fields.ownId_ = std::move(ownId);
  return record;
}

template <typename Record>
std::shared_ptr<Record> QFServerContactValue<Record>::fromDictionary(const Dictionary& dictionary) {
  auto record = QFServerRecord<Record>::fromDictionary(dictionary);
  record->setLabel(record->type());
  return record;
}

template class QFServerContactValue<QFServerContactPhoneNumber>;
template class QFServerContactValue<QFServerContactEmailAddress>;
template class QFServerContactValue<QFServerContactURLAddress>;

// --- Addresses -------------------------------------------------------------------

RecordDescription<QFServerContactAddress> QFServerContactAddress::wireFields() {
  using R = QFServerContactAddress;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::type_>("type", "type"),
      textField<&R::label_>("label", "label"),
      textField<&R::streetAddress_>("street_address", "streetAddress"),
      textField<&R::extendedAddress_>("extended_address", "extendedAddress"),
      textField<&R::city_>("city", "city"),
      textField<&R::region_>("region", "region"),
      textField<&R::postalCode_>("postal_code", "postalCode"),
      textField<&R::country_>("country", "country"),
      flagField<&R::isPrimary_>("is_primary", "isPrimary"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactAddress> QFServerContactAddress::initWithIdentifier(
    JSONField identifier, JSONField type, JSONField label, JSONField streetAddress,
    JSONField extendedAddress, JSONField city, JSONField region, JSONField postalCode,
    JSONField country, bool isPrimary) {
  std::shared_ptr<QFServerContactAddress> record(new QFServerContactAddress);
  record->identifier_ = std::move(identifier);
  record->type_ = std::move(type);
  record->label_ = std::move(label);
  record->streetAddress_ = std::move(streetAddress);
  record->extendedAddress_ = std::move(extendedAddress);
  record->city_ = std::move(city);
  record->region_ = std::move(region);
  record->postalCode_ = std::move(postalCode);
  record->country_ = std::move(country);
  record->isPrimary_ = isPrimary;
  return record;
}

// --- Dates -----------------------------------------------------------------------

RecordDescription<QFServerContactDate> QFServerContactDate::wireFields() {
  using R = QFServerContactDate;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::label_>("label", "label"),
      textField<&R::date_>("date", "date"),
      flagField<&R::isPrimary_>("is_primary", "isPrimary"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactDate> QFServerContactDate::initWithIdentifier(JSONField identifier,
                                                                             JSONField label,
                                                                             JSONField date,
                                                                             bool isPrimary) {
  std::shared_ptr<QFServerContactDate> record(new QFServerContactDate);
  record->identifier_ = std::move(identifier);
  record->label_ = std::move(label);
  record->date_ = std::move(date);
  record->isPrimary_ = isPrimary;
  return record;
}

// --- Social profiles and instant messages ----------------------------------------

RecordDescription<QFServerContactSocialProfile> QFServerContactSocialProfile::wireFields() {
  using R = QFServerContactSocialProfile;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::platform_>("platform", "platform"),
      textField<&R::username_>("username", "username"),
      textField<&R::url_>("url", "url"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactSocialProfile> QFServerContactSocialProfile::initWithIdentifier(
    JSONField identifier, JSONField platform, JSONField username, JSONField url) {
  std::shared_ptr<QFServerContactSocialProfile> record(new QFServerContactSocialProfile);
  record->identifier_ = std::move(identifier);
  record->platform_ = std::move(platform);
  record->username_ = std::move(username);
  record->url_ = std::move(url);
  return record;
}

RecordDescription<QFServerContactInstantMessage> QFServerContactInstantMessage::wireFields() {
  using R = QFServerContactInstantMessage;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::service_>("service", "service"),
      textField<&R::username_>("username", "username"),
      textField<&R::userIdentifier_>("user_identifier", "userIdentifier"),
      textField<&R::type_>("type", "type"),
      flagField<&R::isPrimary_>("is_primary", "isPrimary"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactInstantMessage> QFServerContactInstantMessage::initWithIdentifier(
    JSONField identifier, JSONField service, JSONField username, JSONField userIdentifier,
    JSONField type, bool isPrimary) {
  std::shared_ptr<QFServerContactInstantMessage> record(new QFServerContactInstantMessage);
  record->identifier_ = std::move(identifier);
  record->service_ = std::move(service);
  record->username_ = std::move(username);
  record->userIdentifier_ = std::move(userIdentifier);
  record->type_ = std::move(type);
  record->isPrimary_ = isPrimary;
  return record;
}

// --- Relations -------------------------------------------------------------------

RecordDescription<QFServerContactRelation> QFServerContactRelation::wireFields() {
  using R = QFServerContactRelation;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::name_>("name", "name"),
      textField<&R::relationType_>("relation_type", "relationType"),
      textField<&R::notes_>("notes", "notes"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactRelation> QFServerContactRelation::initWithIdentifier(
    JSONField identifier, JSONField name, JSONField relationType, JSONField notes) {
  std::shared_ptr<QFServerContactRelation> record(new QFServerContactRelation);
  record->identifier_ = std::move(identifier);
  record->name_ = std::move(name);
  record->relationType_ = std::move(relationType);
  record->notes_ = std::move(notes);
  return record;
}

template class QFServerRecord<QFServerContactPhoneNumber>;
template class QFServerRecord<QFServerContactEmailAddress>;
template class QFServerRecord<QFServerContactURLAddress>;
template class QFServerRecord<QFServerContactAddress>;
template class QFServerRecord<QFServerContactDate>;
template class QFServerRecord<QFServerContactSocialProfile>;
template class QFServerRecord<QFServerContactInstantMessage>;
template class QFServerRecord<QFServerContactRelation>;

}  // namespace quillfold
