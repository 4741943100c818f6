// A contact as the backend knows it, typed, for hosts that read or compose one.
// The library itself makes none: it uploads the dictionaries of QFContact.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "api/records/server_contact_record.h"
#include "api/records/server_contact_values.h"
#include "foundation/export.h"
#include "foundation/json_field.h"
#include "foundation/property.h"
#include "foundation/value.h"

namespace quillfold {

// A list of records, in order; may be absent.
template <typename Record>
using QFServerRecords = std::optional<std::vector<std::shared_ptr<Record>>>;

class QUILLFOLD_EXPORT QFServerContact : public QFServerRecord<QFServerContact> {
 public:
  static constexpr std::string_view kClassName = "QFServerContact";
  // Nickname and notes are "", lists and custom fields empty, the type is 0, and
  // all other fields absent.
  static std::shared_ptr<QFServerContact> initWithDisplayName(JSONField displayName,
                                                              JSONField organizationId,
                                                              JSONField sourceId);
  // Never fails, and tests no texts. A list that is no array, custom fields that
  // are no object and a type that is no number are left as in a new record, as
  // are nickname and notes where the key is missing. Elements of a list of
  // records that are no objects are dropped.
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, displayName, setDisplayName);
  QUILLFOLD_PROPERTY(JSONField, givenName, setGivenName);
  QUILLFOLD_PROPERTY(JSONField, familyName, setFamilyName);
  QUILLFOLD_PROPERTY(JSONField, namePrefix, setNamePrefix);
  QUILLFOLD_PROPERTY(JSONField, nameSuffix, setNameSuffix);
  QUILLFOLD_PROPERTY(JSONField, middleName, setMiddleName);
  QUILLFOLD_PROPERTY(JSONField, previousFamilyName, setPreviousFamilyName);
  QUILLFOLD_PROPERTY(JSONField, nickname, setNickname);
  QUILLFOLD_PROPERTY(JSONField, notes, setNotes);
  QUILLFOLD_PROPERTY(JSONField, bio, setBio);
  QUILLFOLD_PROPERTY(JSONField, location, setLocation);
  QUILLFOLD_PROPERTY(JSONField, contactSection, setContactSection);
  QUILLFOLD_PROPERTY(JSONField, organizationId, setOrganizationId);
  QUILLFOLD_PROPERTY(JSONField, sourceId, setSourceId);
  QUILLFOLD_PROPERTY(JSONField, sourceContactId, setSourceContactId);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactPhoneNumber>, phoneNumbers, setPhoneNumbers);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactEmailAddress>, emailAddresses,
                     setEmailAddresses);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactURLAddress>, urls, setUrls);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactSocialProfile>, socialProfiles,
                     setSocialProfiles);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactAddress>, addresses, setAddresses);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactInstantMessage>, instantMessageAddresses,
                     setInstantMessageAddresses);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactRelation>, relations, setRelations);
  // Texts; an archive with anything else is refused when it is read.
  QUILLFOLD_PROPERTY(std::optional<Array>, tags, setTags);
  // Any JSON; an archive with anything but texts is refused when it is read.
  QUILLFOLD_PROPERTY(std::optional<Dictionary>, customFields, setCustomFields);
  QUILLFOLD_PROPERTY(JSONField, matchString, setMatchString);
  QUILLFOLD_PROPERTY(JSONField, organizationName, setOrganizationName);
  QUILLFOLD_PROPERTY(JSONField, departmentName, setDepartmentName);
  QUILLFOLD_PROPERTY(JSONField, jobTitle, setJobTitle);
  // A date as text.
  QUILLFOLD_PROPERTY(JSONField, birthday, setBirthday);
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContactDate>, dates, setDates);
  // A number of CNContactType.
  QUILLFOLD_PROPERTY(std::int64_t, contactType, setContactType);

 private:
  friend class QFServerRecord<QFServerContact>;
  QFServerContact() = default;
  static std::span<const FieldDescription<QFServerContact>> wireFields();
};

using QFServerContactPtr = std::shared_ptr<QFServerContact>;

// The body of a bulk upload. Written only, but for the archive.
class QUILLFOLD_EXPORT QFServerContactBulkCreate
    : public QFServerRecord<QFServerContactBulkCreate> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactBulkCreate";
  static std::shared_ptr<QFServerContactBulkCreate> initWithContacts(
      QFServerRecords<QFServerContact> contacts, bool skipDuplicates);

  // Absent if an archive had none.
  QUILLFOLD_PROPERTY(QFServerRecords<QFServerContact>, contacts, setContacts);
  QUILLFOLD_PROPERTY(bool, skipDuplicates, setSkipDuplicates);

 private:
  friend class QFServerRecord<QFServerContactBulkCreate>;
  QFServerContactBulkCreate() = default;
  static std::span<const FieldDescription<QFServerContactBulkCreate>> wireFields();
};

}  // namespace quillfold
