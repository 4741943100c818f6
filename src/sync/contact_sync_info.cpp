#include "sync/contact_sync_info.h"

#include <algorithm>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_encoder.h"
#include "foundation/uuid.h"
#include "model/contact.h"
#include "platform/clock.h"
#include "sync/sync_info_changes.h"

namespace quillfold {

QFContactSyncInfoPtr QFContactSyncInfo::initWithContactId(std::string contactId) {
  QFContactSyncInfoPtr record(new QFContactSyncInfo);
  record->fields_.contactId = std::move(contactId);
  record->fields_.isDirty = true;
  record->fields_.matchString = "";
  record->fields_.displayNameForSort = "";
  record->fields_.primaryInfo = "";
  return record;
}

QFContactSyncInfoPtr QFContactSyncInfo::init() {
  return initWithContactId(NSUUID::UUIDString());
}

void QFContactSyncInfo::updateDisplayInfoFromContact(const QFContact& contact) {
  std::string displayInfo = contact.displayInfo();
  std::string matchString = contact.generateMatchString();
  update([&](Fields& fields) {
    fields.displayNameForSort = contact.displayName().value_or("");
    fields.primaryInfo = std::move(displayInfo);
    fields.matchString = std::move(matchString);
  });
}

void QFContactSyncInfo::markForSync() {
  update([](Fields& fields) {
    fields.isDirty = true;
    fields.syncInProgress = false;
    fields.syncError.reset();
  });
}

void QFContactSyncInfo::markSynced(std::optional<double> syncedAt) {
  const double time = syncedAt ? *syncedAt : currentTime();
  update([time](Fields& fields) {
    fields.lastSyncedAt = time;
    fields.isDirty = false;
    fields.syncInProgress = false;
    fields.syncError.reset();
  });
}

void QFContactSyncInfo::recordSyncError(const ErrorPtr& error) {
  OptionalString text;
  if (error) text = error->localizedDescription();
  update([&text](Fields& fields) {
    fields.syncInProgress = false;
    fields.syncError = std::move(text);
  });
}

bool QFContactSyncInfo::needsSync() const {
  const std::lock_guard lock(mutex_);
  return fields_.isDirty || (!fields_.isDeleted && fields_.lastSyncedAt == 0);
}

bool QFContactSyncInfo::hasContactHash(const std::string& hash) const {
  const std::lock_guard lock(mutex_);
  return fields_.contactHash == hash;
}

QFContactSyncInfoPtr QFContactSyncInfo::initWithCoder(KeyedDecoder& coder) {
  QFContactSyncInfoPtr record(new QFContactSyncInfo);
  Fields& fields = record->fields_;
  fields.contactId = coder.decodeStringForKey("contactId");
  fields.lastSyncedAt = coder.decodeDoubleForKey("lastSyncedAt");
  fields.contactHash = coder.decodeStringForKey("contactHash");
  fields.isDeleted = coder.decodeBoolForKey("isDeleted");
  fields.isDirty = coder.decodeBoolForKey("isDirty");
  fields.matchString = coder.decodeStringForKey("matchString");
  fields.displayNameForSort = coder.decodeStringForKey("displayNameForSort");
  fields.primaryInfo = coder.decodeStringForKey("primaryInfo");
  fields.thumbnailUri = coder.decodeStringForKey("thumbnailUri");
  fields.sourceId = coder.decodeStringForKey("sourceId");
  fields.syncInProgress = coder.decodeBoolForKey("syncInProgress");
  fields.syncError = coder.decodeStringForKey("syncError");
  return record;
}

void QFContactSyncInfo::encodeWithCoder(KeyedObjectEncoder& coder) const {
  encodeWithCoder(static_cast<KeyedEncoder&>(coder));
}

void QFContactSyncInfo::encodeWithCoder(KeyedEncoder& coder) const {
  const std::lock_guard lock(mutex_);
  coder.encodeString(fields_.contactId, "contactId");
  coder.encodeDouble(fields_.lastSyncedAt, "lastSyncedAt");
  coder.encodeString(fields_.contactHash, "contactHash");
  coder.encodeBool(fields_.isDeleted, "isDeleted");
  coder.encodeBool(fields_.isDirty, "isDirty");
  coder.encodeString(fields_.matchString, "matchString");
  coder.encodeString(fields_.displayNameForSort, "displayNameForSort");
  coder.encodeString(fields_.primaryInfo, "primaryInfo");
  coder.encodeString(fields_.thumbnailUri, "thumbnailUri");
  coder.encodeString(fields_.sourceId, "sourceId");
  coder.encodeBool(fields_.syncInProgress, "syncInProgress");
  coder.encodeString(fields_.syncError, "syncError");
}

void QFContactSyncInfo::announceChange() {
  for (const Holder& holder : holders_) {
    if (const auto changes = holder.changes.lock()) changes->note(holder.key);
  }
}

void QFContactSyncInfo::addHolder(const std::shared_ptr<SyncInfoChanges>& changes,
                                  const std::string& key) {
  const std::lock_guard lock(mutex_);
  holders_.push_back({changes, key});
}

void QFContactSyncInfo::removeHolder(const SyncInfoChanges* changes, const std::string& key) {
  const std::lock_guard lock(mutex_);
  const auto it = std::find_if(holders_.begin(), holders_.end(), [&](const Holder& holder) {
    return holder.key == key && holder.changes.lock().get() == changes;
  });
  if (it != holders_.end()) holders_.erase(it);
}

}  // namespace quillfold
