// The entries of a contact as the backend knows it.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "api/records/server_contact_record.h"
#include "foundation/export.h"
#include "foundation/json_field.h"
#include "foundation/property.h"

namespace quillfold {

template <typename Record>
struct FieldDescription;

// Reading from a dictionary never fails and tests no types: a text field keeps
// whatever stands under its key, a missing key leaves it absent. A flag takes the
// boolean that the entry counts as; a missing one is false.

// What phone numbers, e-mail addresses and URLs have in common.
template <typename Record>
class QFServerContactValue : public QFServerRecord<Record> {
 public:
  // `label` becomes the same as `type`. `ownId` is the identifier with the name of
  // the class: phoneId, emailId, urlId.
  static std::shared_ptr<Record> initWithIdentifier(JSONField identifier, JSONField type,
                                                    JSONField value, bool isPrimary,
                                                    JSONField emoji, JSONField ownId);
  // Takes `label` from "type" and never looks at "label", though toDictionary
  // writes that key: a label of its own survives in an archive only.
  static std::shared_ptr<Record> fromDictionary(const Dictionary& dictionary);

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, type, setType);
  QUILLFOLD_PROPERTY(JSONField, label, setLabel);
  QUILLFOLD_PROPERTY(JSONField, value, setValue);
  QUILLFOLD_PROPERTY(bool, isPrimary, setIsPrimary);
  QUILLFOLD_PROPERTY(JSONField, emoji, setEmoji);

 protected:
  QFServerContactValue() = default;
  JSONField ownId_;

 private:
  friend class QFServerRecord<Record>;
  static std::span<const FieldDescription<QFServerContactValue>> wireFields();
};

class QUILLFOLD_EXPORT QFServerContactPhoneNumber
    : public QFServerContactValue<QFServerContactPhoneNumber> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactPhoneNumber";
  const JSONField& phoneId() const { return ownId_; }
  void setPhoneId(JSONField value) { ownId_ = std::move(value); }

 private:
  friend class QFServerRecord<QFServerContactPhoneNumber>;
  friend class QFServerContactValue<QFServerContactPhoneNumber>;
  static constexpr const char* kOwnIdKey = "phone_id";
  static constexpr const char* kOwnIdCodingKey = "phoneId";
  QFServerContactPhoneNumber() = default;
};

class QUILLFOLD_EXPORT QFServerContactEmailAddress
    : public QFServerContactValue<QFServerContactEmailAddress> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactEmailAddress";
  const JSONField& emailId() const { return ownId_; }
  void setEmailId(JSONField value) { ownId_ = std::move(value); }

 private:
  friend class QFServerRecord<QFServerContactEmailAddress>;
  friend class QFServerContactValue<QFServerContactEmailAddress>;
  static constexpr const char* kOwnIdKey = "email_id";
  static constexpr const char* kOwnIdCodingKey = "emailId";
  QFServerContactEmailAddress() = default;
};

class QUILLFOLD_EXPORT QFServerContactURLAddress
    : public QFServerContactValue<QFServerContactURLAddress> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactURLAddress";
  const JSONField& urlId() const { return ownId_; }
  void setUrlId(JSONField value) { ownId_ = std::move(value); }

 private:
  friend class QFServerRecord<QFServerContactURLAddress>;
  friend class QFServerContactValue<QFServerContactURLAddress>;
  static constexpr const char* kOwnIdKey = "url_id";
  static constexpr const char* kOwnIdCodingKey = "urlId";
  QFServerContactURLAddress() = default;
};

// A postal address. Unlike the records above it reads its label.
class QUILLFOLD_EXPORT QFServerContactAddress : public QFServerRecord<QFServerContactAddress> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactAddress";
  static std::shared_ptr<QFServerContactAddress> initWithIdentifier(
      JSONField identifier, JSONField type, JSONField label, JSONField streetAddress,
      JSONField extendedAddress, JSONField city, JSONField region, JSONField postalCode,
      JSONField country, bool isPrimary);
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, type, setType);
  QUILLFOLD_PROPERTY(JSONField, label, setLabel);
  QUILLFOLD_PROPERTY(JSONField, streetAddress, setStreetAddress);
  QUILLFOLD_PROPERTY(JSONField, extendedAddress, setExtendedAddress);
  QUILLFOLD_PROPERTY(JSONField, city, setCity);
  QUILLFOLD_PROPERTY(JSONField, region, setRegion);
  QUILLFOLD_PROPERTY(JSONField, postalCode, setPostalCode);
  QUILLFOLD_PROPERTY(JSONField, country, setCountry);
  QUILLFOLD_PROPERTY(bool, isPrimary, setIsPrimary);

 private:
  friend class QFServerRecord<QFServerContactAddress>;
  QFServerContactAddress() = default;
  static std::span<const FieldDescription<QFServerContactAddress>> wireFields();
};

class QUILLFOLD_EXPORT QFServerContactDate : public QFServerRecord<QFServerContactDate> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactDate";
  static std::shared_ptr<QFServerContactDate> initWithIdentifier(JSONField identifier,
                                                                 JSONField label, JSONField date,
                                                                 bool isPrimary);
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, label, setLabel);
  // As text.
  QUILLFOLD_PROPERTY(JSONField, date, setDate);
  QUILLFOLD_PROPERTY(bool, isPrimary, setIsPrimary);

 private:
  friend class QFServerRecord<QFServerContactDate>;
  QFServerContactDate() = default;
  static std::span<const FieldDescription<QFServerContactDate>> wireFields();
};

class QUILLFOLD_EXPORT QFServerContactSocialProfile
    : public QFServerRecord<QFServerContactSocialProfile> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactSocialProfile";
  static std::shared_ptr<QFServerContactSocialProfile> initWithIdentifier(JSONField identifier,
                                                                          JSONField platform,
                                                                          JSONField username,
                                                                          JSONField url);
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, platform, setPlatform);
  QUILLFOLD_PROPERTY(JSONField, username, setUsername);
  QUILLFOLD_PROPERTY(JSONField, url, setUrl);

 private:
  friend class QFServerRecord<QFServerContactSocialProfile>;
  QFServerContactSocialProfile() = default;
  static std::span<const FieldDescription<QFServerContactSocialProfile>> wireFields();
};

class QUILLFOLD_EXPORT QFServerContactInstantMessage
    : public QFServerRecord<QFServerContactInstantMessage> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactInstantMessage";
  static std::shared_ptr<QFServerContactInstantMessage> initWithIdentifier(
      JSONField identifier, JSONField service, JSONField username, JSONField userIdentifier,
      JSONField type, bool isPrimary);
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, service, setService);
  QUILLFOLD_PROPERTY(JSONField, username, setUsername);
  QUILLFOLD_PROPERTY(JSONField, userIdentifier, setUserIdentifier);
  QUILLFOLD_PROPERTY(JSONField, type, setType);
  QUILLFOLD_PROPERTY(bool, isPrimary, setIsPrimary);

 private:
  friend class QFServerRecord<QFServerContactInstantMessage>;
  QFServerContactInstantMessage() = default;
  static std::span<const FieldDescription<QFServerContactInstantMessage>> wireFields();
};

class QUILLFOLD_EXPORT QFServerContactRelation : public QFServerRecord<QFServerContactRelation> {
 public:
  static constexpr std::string_view kClassName = "QFServerContactRelation";
  static std::shared_ptr<QFServerContactRelation> initWithIdentifier(JSONField identifier,
                                                                     JSONField name,
                                                                     JSONField relationType,
                                                                     JSONField notes);
  using QFServerRecord::fromDictionary;

  QUILLFOLD_PROPERTY(JSONField, identifier, setIdentifier);
  QUILLFOLD_PROPERTY(JSONField, name, setName);
  QUILLFOLD_PROPERTY(JSONField, relationType, setRelationType);
  QUILLFOLD_PROPERTY(JSONField, notes, setNotes);

 private:
  friend class QFServerRecord<QFServerContactRelation>;
  QFServerContactRelation() = default;
  static std::span<const FieldDescription<QFServerContactRelation>> wireFields();
};

}  // namespace quillfold
