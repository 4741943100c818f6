#include "api/records/server_contact.h"

#include "api/records/server_contact_coding.h"

namespace quillfold {

namespace {

using reading::Container;
using reading::Copy;
using reading::CopyOrEmpty;
using writing::Always;
using writing::Omit;

// The columns of a list of records: how it is read and how it is archived.
template <typename T>
using ListOf = reading::List<&T::fromDictionary>;
template <auto member, typename T>
constexpr auto list(const char* key, const char* codingKey) {
  return field<member, ListOf<T>, Omit, coding::Records<T>>(key, codingKey);
}

}  // namespace

RecordDescription<QFServerContact> QFServerContact::wireFields() {
  using R = QFServerContact;
  using coding::String;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::identifier_, Copy, Omit, String>("id", "identifier"),
      field<&R::displayName_, Copy, Omit, String>("display_name", "displayName"),
      field<&R::givenName_, Copy, Omit, String>("given_name", "givenName"),
      field<&R::familyName_, Copy, Omit, String>("family_name", "familyName"),
      field<&R::namePrefix_, Copy, Omit, String>("name_prefix", "namePrefix"),
      field<&R::nameSuffix_, Copy, Omit, String>("name_suffix", "nameSuffix"),
      field<&R::middleName_, Copy, Omit, String>("middle_name", "middleName"),
      field<&R::previousFamilyName_, Copy, Omit, String>("previous_family_name",
                                                         "previousFamilyName"),
      field<&R::nickname_, CopyOrEmpty, Omit, String>("nickname", "nickname"),
      field<&R::notes_, CopyOrEmpty, Omit, String>("notes", "notes"),
      field<&R::bio_, Copy, Omit, String>("bio", "bio"),
      field<&R::location_, Copy, Omit, String>("location", "location"),
      field<&R::contactSection_, Copy, Omit, String>("contact_section", "contactSection"),
      field<&R::organizationId_, Copy, Omit, String>("organization_id", "organizationId"),
      field<&R::sourceId_, Copy, Omit, String>("source_id", "sourceId"),
      field<&R::sourceContactId_, Copy, Omit, String>("source_contact_id", "sourceContactId"),
      list<&R::phoneNumbers_, QFServerContactPhoneNumber>("phone_numbers", "phoneNumbers"),
      list<&R::emailAddresses_, QFServerContactEmailAddress>("email_addresses", "emailAddresses"),
      list<&R::urls_, QFServerContactURLAddress>("urls", "urls"),
      list<&R::socialProfiles_, QFServerContactSocialProfile>("social_profiles", "socialProfiles"),
      list<&R::addresses_, QFServerContactAddress>("addresses", "addresses"),
      list<&R::instantMessageAddresses_, QFServerContactInstantMessage>("instant_message_addresses",
                                                                        "instantMessageAddresses"),
      list<&R::relations_, QFServerContactRelation>("relations", "relations"),
      field<&R::tags_, Container, Omit, coding::StringArray>("tags", "tags"),
      field<&R::customFields_, Container, Omit, coding::StringDictionary>("custom_fields",
                                                                          "customFields"),
      field<&R::matchString_, Copy, Omit, String>("match_string", "matchString"),
      field<&R::organizationName_, Copy, Omit, String>("organization_name", "organizationName"),
      field<&R::departmentName_, Copy, Omit, String>("department_name", "departmentName"),
      field<&R::jobTitle_, Copy, Omit, String>("job_title", "jobTitle"),
      field<&R::birthday_, Copy, Omit, String>("birthday", "birthday"),
      list<&R::dates_, QFServerContactDate>("dates", "dates"),
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
      field<&R::skipDuplicates_, None, Always, coding::Boolean>("skip_duplicates",
                                                                "skipDuplicates"),
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
