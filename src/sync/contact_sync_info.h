// What the library remembers of one contact's last upload.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/archive/secure_coding.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"

namespace quillfold {

class KeyedEncoder;
class QFContact;
class SyncInfoChanges;

// The bookkeeping record of one contact. Safe to use from any thread: a reader
// sees each field as some setter left it.
class QUILLFOLD_EXPORT QFContactSyncInfo : public NSSecureCoding {
 public:
  static constexpr std::string_view kClassName = "QFContactSyncInfo";

  // A record that awaits its first upload: dirty, without a hash, with empty
  // display texts.
  static std::shared_ptr<QFContactSyncInfo> initWithContactId(std::string contactId);
  // The same for a fresh random identifier.
  static std::shared_ptr<QFContactSyncInfo> init();

  QFContactSyncInfo(const QFContactSyncInfo&) = delete;
  QFContactSyncInfo& operator=(const QFContactSyncInfo&) = delete;

  // Takes the sort name, the line of detail and a fresh match string.
  void updateDisplayInfoFromContact(const QFContact& contact);
  // Dirty, not in progress, without an error.
  void markForSync();
  // Synced at that time (seconds since 1970), or now; not dirty, not in progress,
  // without an error.
  void markSynced(std::optional<double> syncedAt);
  // Not in progress; the error's text is kept. Dirty stays as it is.
  void recordSyncError(const ErrorPtr& error);
  // Dirty, or never synced and not deleted.
  bool needsSync() const;

  // The record in a keyed archive. It is flat, so that any encoder can take its keys.
  static bool supportsSecureCoding() { return true; }
  static std::shared_ptr<QFContactSyncInfo> initWithCoder(KeyedDecoder& coder);
  std::string_view archivedClassName() const override { return kClassName; }
  void encodeWithCoder(KeyedObjectEncoder& coder) const override;
  void encodeWithCoder(KeyedEncoder& coder) const;

  bool isDeleted() const { return read(&Fields::isDeleted); }
  void setIsDeleted(bool value) { write(&Fields::isDeleted, value); }
  // Awaiting upload.
  bool isDirty() const { return read(&Fields::isDirty); }
  void setIsDirty(bool value) { write(&Fields::isDirty, value); }
  // Nothing in the library sets it.
  bool syncInProgress() const { return read(&Fields::syncInProgress); }
  void setSyncInProgress(bool value) { write(&Fields::syncInProgress, value); }
  // Absent only in a record from an archive that had none.
  OptionalString contactId() const { return read(&Fields::contactId); }
  void setContactId(OptionalString value) { write(&Fields::contactId, std::move(value)); }
  // Seconds since 1970; 0 means never.
  double lastSyncedAt() const { return read(&Fields::lastSyncedAt); }
  void setLastSyncedAt(double value) { write(&Fields::lastSyncedAt, value); }
  // The change hash at the last upload; absent before the first.
  OptionalString contactHash() const { return read(&Fields::contactHash); }
  // Whether that is the hash at the last upload.
  bool hasContactHash(const std::string& hash) const;
  void setContactHash(OptionalString value) { write(&Fields::contactHash, std::move(value)); }
  OptionalString matchString() const { return read(&Fields::matchString); }
  void setMatchString(OptionalString value) { write(&Fields::matchString, std::move(value)); }
  OptionalString displayNameForSort() const { return read(&Fields::displayNameForSort); }
  void setDisplayNameForSort(OptionalString value) {
    write(&Fields::displayNameForSort, std::move(value));
  }
  // One line of detail.
  OptionalString primaryInfo() const { return read(&Fields::primaryInfo); }
  void setPrimaryInfo(OptionalString value) { write(&Fields::primaryInfo, std::move(value)); }
  // For the host; the library never fills it.
  OptionalString thumbnailUri() const { return read(&Fields::thumbnailUri); }
  void setThumbnailUri(OptionalString value) { write(&Fields::thumbnailUri, std::move(value)); }
  OptionalString sourceId() const { return read(&Fields::sourceId); }
  void setSourceId(OptionalString value) { write(&Fields::sourceId, std::move(value)); }
  OptionalString syncError() const { return read(&Fields::syncError); }
  void setSyncError(OptionalString value) { write(&Fields::syncError, std::move(value)); }

 private:
  friend class SyncInfoDictionary;

  struct Fields {
    bool isDeleted = false;
    bool isDirty = false;
    bool syncInProgress = false;
    OptionalString contactId;
    double lastSyncedAt = 0;
    OptionalString contactHash;
    OptionalString matchString;
    OptionalString displayNameForSort;
    OptionalString primaryInfo;
    OptionalString thumbnailUri;
    OptionalString sourceId;
    OptionalString syncError;
  };
  // A dictionary that holds the record, and the key under which it does.
  struct Holder {
    std::weak_ptr<SyncInfoChanges> changes;
    std::string key;
  };

  QFContactSyncInfo() = default;

  template <typename T>
  T read(T Fields::*field) const {
    const std::lock_guard lock(mutex_);
    return fields_.*field;
  }
  template <typename T>
  void write(T Fields::*field, T value) {
    update([&](Fields& fields) { fields.*field = std::move(value); });
  }
  template <typename Change>
  void update(Change change) {
    const std::lock_guard lock(mutex_);
    change(fields_);
    announceChange();
  }
  void announceChange();
  void addHolder(const std::shared_ptr<SyncInfoChanges>& changes, const std::string& key);
  void removeHolder(const SyncInfoChanges* changes, const std::string& key);

  // Guards all fields. Taken before the lock of SyncInfoChanges, never after it.
  mutable std::mutex mutex_;
  Fields fields_;
  std::vector<Holder> holders_;
};

using QFContactSyncInfoPtr = std::shared_ptr<QFContactSyncInfo>;

}  // namespace quillfold
