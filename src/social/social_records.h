// What the social services and the recommendations exchange with the backend:
// people, follow rows and events.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/date.h"
#include "foundation/export.h"
#include "foundation/json_field.h"
#include "foundation/optional_string.h"
#include "foundation/property.h"
#include "foundation/value.h"
#include "model/contact.h"

namespace quillfold {

template <typename Record>
struct FieldDescription;

// The records are plain data without locks: those without setters may be handed
// between threads, the others belong to one thread at a time.
//
// Reading from a dictionary never fails: a missing key gives an absent field,
// false or 0, and what a field can't take is absent too. A JSONField keeps
// whatever the server sent. A toDictionary leaves out what is absent, unless a
// record says otherwise, and writes dates as text (2024-03-05T07:08:09.123Z).

// The envelope of an answer. Nothing in the library makes or reads one.
class QUILLFOLD_EXPORT QFSocialResponse {
 public:
  static std::shared_ptr<QFSocialResponse> initWithStatus(OptionalString status,
                                                          OptionalString message,
                                                          std::optional<Value> data);

  QUILLFOLD_READONLY_PROPERTY(OptionalString, status);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, message);
  QUILLFOLD_READONLY_PROPERTY(std::optional<Value>, data);

 private:
  QFSocialResponse() = default;
};

// --- People ------------------------------------------------------------------

// A person as the server knows it. Each place that reads one from JSON has rules
// of its own, so the record has none.
class QUILLFOLD_EXPORT QFCanonicalContact {
 public:
  // The content of the record.
  struct Fields {
    JSONField identifier;
    JSONField organizationId;
    JSONField organizationUserId;
    JSONField email;
    JSONField phone;
    JSONField fullName;
    JSONField avatarUrl;
    bool isActive = false;
    std::optional<NSDate> createdAt;
    std::optional<NSDate> updatedAt;
    // An object.
    JSONField contactMetadata;
  };

  static std::shared_ptr<QFCanonicalContact> initWithFields(Fields fields);
  static std::shared_ptr<QFCanonicalContact> initWithId(
      JSONField identifier, JSONField organizationId, JSONField organizationUserId, JSONField email,
      JSONField phone, JSONField fullName, JSONField avatarUrl, bool isActive,
      std::optional<NSDate> createdAt, std::optional<NSDate> updatedAt, JSONField contactMetadata);

  const Fields& fields() const { return fields_; }
  const JSONField& identifier() const { return fields_.identifier; }
  const JSONField& organizationId() const { return fields_.organizationId; }
  const JSONField& organizationUserId() const { return fields_.organizationUserId; }
  const JSONField& email() const { return fields_.email; }
  const JSONField& phone() const { return fields_.phone; }
  const JSONField& fullName() const { return fields_.fullName; }
  const JSONField& avatarUrl() const { return fields_.avatarUrl; }
  bool isActive() const { return fields_.isActive; }
  std::optional<NSDate> createdAt() const { return fields_.createdAt; }
  std::optional<NSDate> updatedAt() const { return fields_.updatedAt; }
  const JSONField& contactMetadata() const { return fields_.contactMetadata; }

  // Writes JSON null for an absent organization, e-mail address, phone number or
  // avatar, and, alone among the records, dates as seconds since 1970.
  Dictionary toDictionary() const;

  // Compares identifier, name, e-mail address, phone number, avatar and activity,
  // and nothing else. A record without an identifier equals nothing, not even
  // itself; nothing equals null.
  bool isEqualToCanonicalContact(const std::shared_ptr<const QFCanonicalContact>& other) const;
  // True if both are absent, or both present and equal.
  bool stringOrNilEquals(const JSONField& a, const JSONField& b) const;

  // A record in which the keys of `updates` (those of toDictionary) replace the
  // fields. Dates are taken as numbers, in seconds since 1970, and as dates; as
  // text they are ignored. The metadata is replaced as a whole.
  std::shared_ptr<QFCanonicalContact> copyWithUpdates(const Dictionary& updates) const;
  // The zone is ignored, here and below.
  std::shared_ptr<QFCanonicalContact> copyWithZone(const void* zone = nullptr) const;

 private:
  explicit QFCanonicalContact(Fields fields) : fields_(std::move(fields)) {}
  Fields fields_;
};

using QFCanonicalContactPtr = std::shared_ptr<QFCanonicalContact>;

// A person of the server's and the contact of this device that stands for it.
class QUILLFOLD_EXPORT QFLocalCanonicalContact {
 public:
  static std::shared_ptr<QFLocalCanonicalContact> initWithContact(
      QFContactPtr contact, JSONField contactId, JSONField sourceContactId,
      QFCanonicalContactPtr canonicalContact);

  // Without the contact.
  Dictionary toDictionary() const;
  // Compares both identifiers, the person and the contact. A record without one of
  // the identifiers or without a person equals nothing; nothing equals null.
  bool isEqualToLocalCanonicalContact(
      const std::shared_ptr<const QFLocalCanonicalContact>& other) const;
  // A copy with a copy of the person; the contact is shared.
  std::shared_ptr<QFLocalCanonicalContact> copyWithZone(const void* zone = nullptr) const;

  // Absent where the device has no such contact.
  QUILLFOLD_READONLY_PROPERTY(QFContactPtr, contact);
  QUILLFOLD_READONLY_PROPERTY(JSONField, contactId);
  // The identifier of the contact on this device.
  QUILLFOLD_READONLY_PROPERTY(JSONField, sourceContactId);
  QUILLFOLD_READONLY_PROPERTY(QFCanonicalContactPtr, canonicalContact);

 private:
  QFLocalCanonicalContact() = default;
  static std::span<const FieldDescription<QFLocalCanonicalContact>> wireFields();
};

using QFLocalCanonicalContactPtr = std::shared_ptr<QFLocalCanonicalContact>;

// --- The follow graph ----------------------------------------------------------

// One row of a follow list.
class QUILLFOLD_EXPORT QFFollowRelationship {
 public:
  static std::shared_ptr<QFFollowRelationship> initWithDictionary(const Dictionary& dictionary);
  // Without the local contact. Raises NSException "NSInvalidArgumentException" if
  // `follower` or `followed` lacks its identifier, its organization's user or its
  // name.
  Dictionary toDictionary() const;
  // A deep copy: the local contact and the two people are copied too.
  std::shared_ptr<QFFollowRelationship> copyWithZone(const void* zone = nullptr) const;

  QUILLFOLD_READONLY_PROPERTY(JSONField, identifier);
  QUILLFOLD_READONLY_PROPERTY(JSONField, followerId);
  QUILLFOLD_READONLY_PROPERTY(JSONField, followedId);
  // "" where the server sent none.
  QUILLFOLD_READONLY_PROPERTY(JSONField, userId);
  QUILLFOLD_READONLY_PROPERTY(JSONField, displayName);
  QUILLFOLD_READONLY_PROPERTY(JSONField, photoURL);
  QUILLFOLD_READONLY_PROPERTY(JSONField, username);
  QUILLFOLD_READONLY_PROPERTY(JSONField, bio);
  QUILLFOLD_READONLY_PROPERTY(JSONField, website);
  QUILLFOLD_READONLY_PROPERTY(std::optional<NSDate>, createdAt);
  QUILLFOLD_READONLY_PROPERTY(bool, isFollowing);
  // Filled by QFSocialService from the device; absent where it has no such contact.
  QUILLFOLD_PROPERTY(QFContactPtr, localContact, setLocalContact);
  // Both without dates and metadata, and null where the server sent none.
  QUILLFOLD_READONLY_PROPERTY(QFCanonicalContactPtr, follower);
  QUILLFOLD_READONLY_PROPERTY(QFCanonicalContactPtr, followed);
  // The device's identifier of the contact that stands for this person.
  QUILLFOLD_READONLY_PROPERTY(JSONField, contactId);

 private:
  QFFollowRelationship() = default;
  QFFollowRelationship(const QFFollowRelationship&) = default;
  static std::span<const FieldDescription<QFFollowRelationship>> wireFields();
};

using QFFollowRelationshipPtr = std::shared_ptr<QFFollowRelationship>;

// The answer to following and unfollowing.
class QUILLFOLD_EXPORT QFFollowActionResponse {
 public:
  static std::shared_ptr<QFFollowActionResponse> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;

  QUILLFOLD_READONLY_PROPERTY(JSONField, message);
  QUILLFOLD_READONLY_PROPERTY(bool, alreadyFollowing);
  QUILLFOLD_READONLY_PROPERTY(bool, wasFollowing);
  QUILLFOLD_READONLY_PROPERTY(bool, success);

 private:
  QFFollowActionResponse() = default;
  static std::span<const FieldDescription<QFFollowActionResponse>> wireFields();
};

// Whether the user follows another one.
class QUILLFOLD_EXPORT QFFollowStatusResponse {
 public:
  static std::shared_ptr<QFFollowStatusResponse> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;

  QUILLFOLD_READONLY_PROPERTY(bool, isFollowing);

 private:
  QFFollowStatusResponse() = default;
  static std::span<const FieldDescription<QFFollowStatusResponse>> wireFields();
};

// What all lists of the server have: a page of items and where it stands.
template <typename Item>
class QFPaginatedList {
 public:
  QFPaginatedList& operator=(const QFPaginatedList&) = delete;

  // Only the objects of the server's list; may be fewer than the server counts.
  QUILLFOLD_PROPERTY(std::vector<std::shared_ptr<Item>>, items, setItems);
  QUILLFOLD_PROPERTY(std::int64_t, total, setTotal);
  QUILLFOLD_PROPERTY(std::int64_t, skip, setSkip);
  QUILLFOLD_PROPERTY(std::int64_t, limit, setLimit);

 protected:
  QFPaginatedList() = default;
  QFPaginatedList(const QFPaginatedList&) = default;
  template <auto itemFromDictionary>
  static std::span<const FieldDescription<QFPaginatedList>> pageFields();
};

// Followers, or the people that a user follows.
class QUILLFOLD_EXPORT QFPaginatedFollowList : public QFPaginatedList<QFFollowRelationship> {
 public:
  static std::shared_ptr<QFPaginatedFollowList> initWithDictionary(const Dictionary& dictionary);
  // Raises what the toDictionary of a row raises.
  Dictionary toDictionary() const;
  // A deep copy: every row is copied.
  std::shared_ptr<QFPaginatedFollowList> copyWithZone(const void* zone = nullptr) const;

 private:
  QFPaginatedFollowList() = default;
};

using QFPaginatedFollowListPtr = std::shared_ptr<QFPaginatedFollowList>;

// People that follow each other with the user.
class QUILLFOLD_EXPORT QFPaginatedMutualFollowers : public QFPaginatedList<QFCanonicalContact> {
 public:
  static std::shared_ptr<QFPaginatedMutualFollowers> initWithDictionary(
      const Dictionary& dictionary);
  QFPaginatedMutualFollowers(const QFPaginatedMutualFollowers&) = delete;

 private:
  QFPaginatedMutualFollowers() = default;
};

// --- Events ----------------------------------------------------------------------

class QUILLFOLD_EXPORT QFEventCreator {
 public:
  static std::shared_ptr<QFEventCreator> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;

  QUILLFOLD_READONLY_PROPERTY(JSONField, name);
  QUILLFOLD_READONLY_PROPERTY(JSONField, avatarUrl);

 private:
  QFEventCreator() = default;
  static std::span<const FieldDescription<QFEventCreator>> wireFields();
};

using QFEventCreatorPtr = std::shared_ptr<QFEventCreator>;

// A social event. Its type and its metadata mean nothing to the library.
class QUILLFOLD_EXPORT QFSocialEvent {
 public:
  static std::shared_ptr<QFSocialEvent> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;

  QUILLFOLD_READONLY_PROPERTY(JSONField, eventId);
  QUILLFOLD_READONLY_PROPERTY(JSONField, organizationId);
  QUILLFOLD_READONLY_PROPERTY(JSONField, canonicalContactId);
  QUILLFOLD_READONLY_PROPERTY(JSONField, eventType);
  QUILLFOLD_READONLY_PROPERTY(JSONField, title);
  QUILLFOLD_PROPERTY(JSONField, description, setDescription);
  QUILLFOLD_READONLY_PROPERTY(JSONField, location);
  QUILLFOLD_READONLY_PROPERTY(std::optional<NSDate>, startTime);
  QUILLFOLD_READONLY_PROPERTY(std::optional<NSDate>, endTime);
  // An object.
  QUILLFOLD_READONLY_PROPERTY(JSONField, metadata);
  QUILLFOLD_READONLY_PROPERTY(bool, isPublic);
  QUILLFOLD_READONLY_PROPERTY(JSONField, userId);
  QUILLFOLD_READONLY_PROPERTY(std::optional<NSDate>, createdAt);
  QUILLFOLD_READONLY_PROPERTY(std::optional<NSDate>, updatedAt);
  QUILLFOLD_READONLY_PROPERTY(QFEventCreatorPtr, createdBy);

 private:
  QFSocialEvent() = default;
  static std::span<const FieldDescription<QFSocialEvent>> wireFields();
};

// A new event. `metadata` must be expressible as JSON.
class QUILLFOLD_EXPORT QFCreateEventRequest {
 public:
  static std::shared_ptr<QFCreateEventRequest> initWithEventType(
      OptionalString eventType, OptionalString title, OptionalString description,
      OptionalString location, std::optional<NSDate> startTime, std::optional<NSDate> endTime,
      std::optional<Dictionary> metadata, bool isPublic);
  Dictionary toDictionary() const;

  QUILLFOLD_PROPERTY(OptionalString, eventType, setEventType);
  QUILLFOLD_PROPERTY(OptionalString, title, setTitle);
  QUILLFOLD_PROPERTY(OptionalString, description, setDescription);
  QUILLFOLD_PROPERTY(OptionalString, location, setLocation);
  QUILLFOLD_PROPERTY(std::optional<NSDate>, startTime, setStartTime);
  QUILLFOLD_PROPERTY(std::optional<NSDate>, endTime, setEndTime);
  QUILLFOLD_PROPERTY(std::optional<Dictionary>, metadata, setMetadata);
  QUILLFOLD_PROPERTY(bool, isPublic, setIsPublic);

 private:
  QFCreateEventRequest() = default;
  static std::span<const FieldDescription<QFCreateEventRequest>> wireFields();
};

// A change of an event: only what is set is sent. `metadata` must be expressible
// as JSON.
class QUILLFOLD_EXPORT QFUpdateEventRequest {
 public:
  // Nothing set.
  static std::shared_ptr<QFUpdateEventRequest> init();
  Dictionary toDictionary() const;

  QUILLFOLD_PROPERTY(OptionalString, title, setTitle);
  QUILLFOLD_PROPERTY(OptionalString, description, setDescription);
  QUILLFOLD_PROPERTY(OptionalString, location, setLocation);
  QUILLFOLD_PROPERTY(std::optional<NSDate>, startTime, setStartTime);
  QUILLFOLD_PROPERTY(std::optional<NSDate>, endTime, setEndTime);
  QUILLFOLD_PROPERTY(std::optional<Dictionary>, metadata, setMetadata);
  QUILLFOLD_PROPERTY(std::optional<bool>, isPublic, setIsPublic);

 private:
  QFUpdateEventRequest() = default;
  static std::span<const FieldDescription<QFUpdateEventRequest>> wireFields();
};

// The answer to creating, changing and deleting an event.
class QUILLFOLD_EXPORT QFEventActionResponse {
 public:
  static std::shared_ptr<QFEventActionResponse> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;

  QUILLFOLD_READONLY_PROPERTY(JSONField, message);
  QUILLFOLD_READONLY_PROPERTY(JSONField, eventId);
  QUILLFOLD_READONLY_PROPERTY(bool, created);
  QUILLFOLD_READONLY_PROPERTY(bool, updated);
  QUILLFOLD_READONLY_PROPERTY(bool, deleted);
  QUILLFOLD_READONLY_PROPERTY(bool, success);

 private:
  QFEventActionResponse() = default;
  static std::span<const FieldDescription<QFEventActionResponse>> wireFields();
};

class QUILLFOLD_EXPORT QFPaginatedEventList : public QFPaginatedList<QFSocialEvent> {
 public:
  static std::shared_ptr<QFPaginatedEventList> initWithDictionary(const Dictionary& dictionary);
  Dictionary toDictionary() const;
  QFPaginatedEventList(const QFPaginatedEventList&) = delete;

 private:
  QFPaginatedEventList() = default;
};

}  // namespace quillfold
