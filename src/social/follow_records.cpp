// The records of the follow graph.
#include "foundation/error.h"
#include "social/page_fields.h"
#include "social/person_fields.h"

namespace quillfold {

namespace {

using Person = QFCanonicalContact::Fields;

// Raises an exception for an absent field.
struct Required {
  static std::optional<Value> write(const JSONField& field) {
    if (field.isAbsent()) {
      throw NSException(NSInvalidArgumentException,
                        "A person of a follow row lacks a member that is always written.");
    }
    return field.value();
  }
};

// A person inside a row has neither dates nor metadata, in both directions.
RecordDescription<Person> personInRow() {
  using namespace reading;
  using namespace writing;
  static constexpr FieldDescription<Person> kFields[] = {
      field<&Person::identifier, Copy, Required>("id"),
      field<&Person::organizationId, Copy, Null>("organization_id"),
      field<&Person::organizationUserId, Copy, Required>("organization_user_id"),
      field<&Person::fullName, Copy, Required>("full_name"),
      field<&Person::email, Copy, Null>("email"),
      field<&Person::avatarUrl, Copy, Null>("avatar_url"),
      field<&Person::phone, Copy, Null>("phone"),
      field<&Person::isActive, Boolean, Always>("is_active"),
  };
  return kFields;
}

struct PersonInRow {
  static void read(const Value* entry, QFCanonicalContactPtr& field) {
    const Dictionary* object = entry != nullptr ? entry->asDictionary() : nullptr;
    if (object == nullptr) return;
    Person person;
    readRecord(personInRow(), *object, person);
    field = QFCanonicalContact::initWithFields(std::move(person));
  }
  static std::optional<Value> write(const QFCanonicalContactPtr& field) {
    if (!field) return std::nullopt;
    return writeRecord(personInRow(), field->fields());
  }
};

// The date that the entry names, whatever its type.
struct UntestedDate {
  static void read(const Value* entry, std::optional<NSDate>& field) {
    field = entry != nullptr ? NSDate::dateFromISOString(entry->description()) : std::nullopt;
  }
};

}  // namespace

RecordDescription<QFFollowRelationship> QFFollowRelationship::wireFields() {
  using R = QFFollowRelationship;
  using namespace reading;
  using namespace writing;
  // The local contact has no place on the wire. Two keys are in camel case.
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::identifier_, Copy, Omit>("id"),
      field<&R::followerId_, Copy, Omit>("follower_id"),
      field<&R::followedId_, Copy, Omit>("followed_id"),
      field<&R::userId_, CopyOrEmpty, Omit>("user_id"),
      field<&R::displayName_, Copy, Omit>("displayName"),
      field<&R::photoURL_, Copy, Omit>("photoURL"),
      field<&R::username_, Copy, Omit>("username"),
      field<&R::bio_, Copy, Omit>("bio"),
      field<&R::website_, Copy, Omit>("website"),
      field<&R::createdAt_, Date, ISODate>("created_at"),
      field<&R::isFollowing_, Boolean, Always>("is_following"),
      field<&R::follower_, PersonInRow, PersonInRow>("follower"),
      field<&R::followed_, PersonInRow, PersonInRow>("followed"),
      field<&R::contactId_, Copy, Omit>("contact_id"),
  };
  return kFields;
}

QFFollowRelationshipPtr QFFollowRelationship::initWithDictionary(const Dictionary& dictionary) {
  QFFollowRelationshipPtr row(new QFFollowRelationship);
  readRecord(wireFields(), dictionary, *row);
  return row;
}

Dictionary QFFollowRelationship::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

QFFollowRelationshipPtr QFFollowRelationship::copyWithZone(const void*) const {
  QFFollowRelationshipPtr copy(new QFFollowRelationship(*this));
  if (localContact_) copy->localContact_ = localContact_->copyWithZone();
  if (follower_) copy->follower_ = follower_->copyWithZone();
  if (followed_) copy->followed_ = followed_->copyWithZone();
  return copy;
}

RecordDescription<QFFollowActionResponse> QFFollowActionResponse::wireFields() {
  using R = QFFollowActionResponse;
  using namespace reading;
  using namespace writing;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::message_, Copy, Omit>("message"),
      field<&R::alreadyFollowing_, Boolean, Always>("already_following"),
      field<&R::wasFollowing_, Boolean, Always>("was_following"),
      field<&R::success_, Boolean, Always>("success"),
  };
  return kFields;
}

std::shared_ptr<QFFollowActionResponse> QFFollowActionResponse::initWithDictionary(
    const Dictionary& dictionary) {
  std::shared_ptr<QFFollowActionResponse> response(new QFFollowActionResponse);
  readRecord(wireFields(), dictionary, *response);
  return response;
}

Dictionary QFFollowActionResponse::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

RecordDescription<QFFollowStatusResponse> QFFollowStatusResponse::wireFields() {
  using R = QFFollowStatusResponse;
  static constexpr FieldDescription<R> kFields[] = {
      field<&R::isFollowing_, reading::Boolean, writing::Always>("is_following"),
  };
  return kFields;
}

std::shared_ptr<QFFollowStatusResponse> QFFollowStatusResponse::initWithDictionary(
    const Dictionary& dictionary) {
  std::shared_ptr<QFFollowStatusResponse> response(new QFFollowStatusResponse);
  readRecord(wireFields(), dictionary, *response);
  return response;
}

Dictionary QFFollowStatusResponse::toDictionary() const {
  return writeRecord(wireFields(), *this);
}

QFPaginatedFollowListPtr QFPaginatedFollowList::initWithDictionary(const Dictionary& dictionary) {
  QFPaginatedFollowListPtr list(new QFPaginatedFollowList);
  readRecord(pageFields<&QFFollowRelationship::initWithDictionary>(), dictionary, *list);
  return list;
}

Dictionary QFPaginatedFollowList::toDictionary() const {
  return writeRecord(pageFields<&QFFollowRelationship::initWithDictionary>(), *this);
}

QFPaginatedFollowListPtr QFPaginatedFollowList::copyWithZone(const void*) const {
  QFPaginatedFollowListPtr copy(new QFPaginatedFollowList(*this));
  auto rows = items();
  for (auto& row : rows)
    if (row) row = row->copyWithZone();
  copy->setItems(std::move(rows));
  return copy;
}

std::shared_ptr<QFPaginatedMutualFollowers> QFPaginatedMutualFollowers::initWithDictionary(
    const Dictionary& dictionary) {
  std::shared_ptr<QFPaginatedMutualFollowers> list(new QFPaginatedMutualFollowers);
  readRecord(pageFields<&personFromDictionary<UntestedDate>>(), dictionary, *list);
  return list;
}

}  // namespace quillfold
