// The people of the server, and their pairs with contacts of the device.
#include "social/person_fields.h"

namespace quillfold {

namespace {

// A date in an update: a number or a date; anything else, text included, leaves
// the field as it is.
struct DateUpdate {
  static void read(const Value* entry, std::optional<NSDate>& field) {
    if (entry == nullptr) return;
    if (entry->isNumber()) field = NSDate::dateWithTimeIntervalSince1970(entry->doubleValue());
    if (entry->isDate()) field = *entry->asDate();
  }
};

// In an update a missing key leaves the field as it is.
RecordDescription<QFCanonicalContact::Fields> wireFields() {
  using namespace reading;
  return personFields<IfThere<Copy>, IfThere<Boolean>, DateUpdate>();
}

// The equality of what can't be compared while it is absent.
bool isEqualToString(const JSONField& a, const JSONField& b) {
  return !a.isAbsent() && a == b;
}

}  // namespace

std::shared_ptr<QFSocialResponse> QFSocialResponse::initWithStatus(OptionalString status,
                                                                   OptionalString message,
                                                                   std::optional<Value> data) {
  std::shared_ptr<QFSocialResponse> response(new QFSocialResponse);
  response->status_ = std::move(status);
  response->message_ = std::move(message);
  response->data_ = std::move(data);
  return response;
}

QFCanonicalContactPtr QFCanonicalContact::initWithFields(Fields fields) {
  return QFCanonicalContactPtr(new QFCanonicalContact(std::move(fields)));
}

QFCanonicalContactPtr QFCanonicalContact::initWithId(
    JSONField identifier, JSONField organizationId, JSONField organizationUserId, JSONField email,
    JSONField phone, JSONField fullName, JSONField avatarUrl, bool isActive,
    std::optional<NSDate> createdAt, std::optional<NSDate> updatedAt, JSONField contactMetadata) {
  return initWithFields({std::move(identifier), std::move(organizationId),
                         std::move(organizationUserId), std::move(email), std::move(phone),
                         std::move(fullName), std::move(avatarUrl), isActive, createdAt, updatedAt,
                         std::move(contactMetadata)});
}

Dictionary QFCanonicalContact::toDictionary() const {
  return writeRecord(wireFields(), fields_);
}

bool QFCanonicalContact::isEqualToCanonicalContact(
    const std::shared_ptr<const QFCanonicalContact>& other) const {
  return other && isEqualToString(identifier(), other->identifier()) &&
         stringOrNilEquals(fullName(), other->fullName()) &&
         stringOrNilEquals(email(), other->email()) && stringOrNilEquals(phone(), other->phone()) &&
         stringOrNilEquals(avatarUrl(), other->avatarUrl()) && isActive() == other->isActive();
}

bool QFCanonicalContact::stringOrNilEquals(const JSONField& a, const JSONField& b) const {
  return a == b;
}

QFCanonicalContactPtr QFCanonicalContact::copyWithUpdates(const Dictionary& updates) const {
  Fields fields = fields_;
  readRecord(wireFields(), updates, fields);
  return initWithFields(std::move(fields));
}

QFCanonicalContactPtr QFCanonicalContact::copyWithZone(const void*) const {
  return initWithFields(fields_);
}

RecordDescription<QFLocalCanonicalContact> QFLocalCanonicalContact::wireFields() {
  using R = QFLocalCanonicalContact;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::contactId_, reading::None, Omit>("contact_id"),
      field<&R::sourceContactId_, reading::None, Omit>("source_contact_id"),
      field<&R::canonicalContact_, reading::None, Omit>("canonical_contact"),
  };
  return kFields;
}

QFLocalCanonicalContactPtr QFLocalCanonicalContact::initWithContact(
    QFContactPtr contact, JSONField contactId, JSONField sourceContactId,
    QFCanonicalContactPtr canonicalContact) {
  QFLocalCanonicalContactPtr pair(new QFLocalCanonicalContact);
  pair->contact_ = std::move(contact);
  pair->contactId_ = std::move(contactId);
  pair->sourceContactId_ = std::move(sourceContactId);
  pair->canonicalContact_ = std::move(canonicalContact);
  return pair;
}

Dictionary QFLocalCanonicalContact::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

bool QFLocalCanonicalContact::isEqualToLocalCanonicalContact(
    const std::shared_ptr<const QFLocalCanonicalContact>& other) const {
  if (!other || !isEqualToString(contactId_, other->contactId_) ||
      !isEqualToString(sourceContactId_, other->sourceContactId_) || !canonicalContact_ ||
      !canonicalContact_->isEqualToCanonicalContact(other->canonicalContact_)) {
    return false;
  }
  if (!contact_ || !other->contact_) return contact_ == other->contact_;
  return contact_->isEqualToContact(other->contact_);
}

QFLocalCanonicalContactPtr QFLocalCanonicalContact::copyWithZone(const void*) const {
  return initWithContact(contact_, contactId_, sourceContactId_,
                         canonicalContact_ ? canonicalContact_->copyWithZone() : nullptr);
}

}  // namespace quillfold
