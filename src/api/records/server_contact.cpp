#include "api/records/server_contact.h"

#include "api/records/server_contact_coding.h"

namespace quillfold {

namespace {

using reading::Container;
using reading::CopyOrEmpty;
using writing::Always;
using writing::Omit;

}  // namespace

RecordDescription<QFServerContact> QFServerContact::wireFields() {
  using R = QFServerContact;
  static constexpr FieldDescription<R> kFields[] = {
      textField<&R::identifier_>("id", "identifier"),
      textField<&R::displayName_>("display_name", "displayName"),
      textField<&R::givenName_>("given_name", "givenName"),
      textField<&R::familyName_>("family_name", "familyName"),
      textField<&R::namePrefix_>("name_prefix", "namePrefix"),
      textField<&R::nameSuffix_>("name_suffix", "nameSuffix"),
      textField<&R::middleName_>("middle_name", "middleName"),
      textField<&R::previousFamilyName_>("previous_family_name", "previousFamilyName"),
      textField<&R::nickname_, CopyOrEmpty>("nickname", "nickname"),
      textField<&R::notes_, CopyOrEmpty>("notes", "notes"),
      textField<&R::bio_>("bio", "bio"),
      textField<&R::location_>("location", "location"),
      textField<&R::contactSection_>("contact_section", "contactSection"),
      textField<&R::organizationId_>("organization_id", "organizationId"),
      textField<&R::sourceId_>("source_id", "sourceId"),
      textField<&R::sourceContactId_>("source_contact_id", "sourceContactId"),
      listField<&R::phoneNumbers_, QFServerContactPhoneNumber>("phone_numbers", "phoneNumbers"),
      listField<&R::emailAddresses_, QFServerContactEmailAddress>("email_addresses",
                                                                  "emailAddresses"),
      listField<&R::urls_, QFServerContactURLAddress>("urls", "urls"),
      listField<&R::socialProfiles_, QFServerContactSocialProfile>("social_profiles",
                                                                   "socialProfiles"),
      listField<&R::addresses_, QFServerContactAddress>("addresses", "addresses"),
      listField<&R::instantMessageAddresses_, QFServerContactInstantMessage>(
          "instant_message_addresses", "instantMessageAddresses"),
      listField<&R::relations_, QFServerContactRelation>("relations", "relations"),
      field<&R::tags_, Container, Omit, coding::StringArray>("tags", "tags"),
      field<&R::customFields_, Container, Omit, coding::StringDictionary>("custom_fields",
                                                                          "customFields"),
      textField<&R::matchString_>("match_string", "matchString"),
      textField<&R::organizationName_>("organization_name", "organizationName"),
      textField<&R::departmentName_>("department_name", "departmentName"),
      textField<&R::jobTitle_>("job_title", "jobTitle"),
      textField<&R::birthday_>("birthday", "birthday"),
      listField<&R::dates_, QFServerContactDate>("dates", "dates"),
      field<&R::contactType_, reading::IntegerOfNumber, Always, coding::Integer>("contact_type",
                                                                                 "contactType"),
  };
  return kFields;
}

QFServerContactPtr QFServerContact::initWithDisplayName(JSONField displayName,
                                                        JSONField organizationId,
                                                        JSONField sourceId) {
  // What is read from nothing has the default in every field.
  QFServerContactPtr record = fromDictionary({});
  record->displayName_ = std::move(displayName);
  record->organizationId_ = std::move(organizationId);
  record->sourceId_ = std::move(sourceId);
  return record;
}

RecordDescription<QFServerContactBulkCreate> QFServerContactBulkCreate::wireFields() {
  using R = QFServerContactBulkCreate;
  using reading::None;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::contacts_, None, Omit, coding::Records<QFServerContact>>("contacts", "contacts"),
      flagField<&R::skipDuplicates_, None>("skip_duplicates", "skipDuplicates"),
  };
  return kFields;
}

std::shared_ptr<QFServerContactBulkCreate> QFServerContactBulkCreate::initWithContacts(
    QFServerRecords<QFServerContact> contacts, bool skipDuplicates) {
  std::shared_ptr<QFServerContactBulkCreate> record(new QFServerContactBulkCreate);
  record->contacts_ = std::move(contacts);
  record->skipDuplicates_ = skipDuplicates;
  return record;
}

template class QFServerRecord<QFServerContact>;
template class QFServerRecord<QFServerContactBulkCreate>;

}  // namespace quillfold
