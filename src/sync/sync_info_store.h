// What was uploaded, in memory and in its file.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/optional_string.h"
#include "platform/log.h"

namespace quillfold {

class QFContact;
class QFContactSyncInfo;
class SyncInfoArchive;
class SyncInfoDictionary;

using SyncInfoList = std::vector<std::shared_ptr<QFContactSyncInfo>>;

// The bookkeeping of the sync: one dictionary from contact identifier to record, mirrored
// as a whole to one file. The operations are those of QFContactService. None reports a
// failure; each ends in a log line and leaves the dictionary as it was. Any thread.
class SyncInfoStore {
 public:
  explicit SyncInfoStore(OSLogPtr logger);
  ~SyncInfoStore();
  SyncInfoStore(const SyncInfoStore&) = delete;
  SyncInfoStore& operator=(const SyncInfoStore&) = delete;

  std::shared_ptr<SyncInfoDictionary> syncInfoCache();
  void setSyncInfoCache(std::shared_ptr<SyncInfoDictionary> cache);
  std::string syncInfoFilePath();
  void setSyncInfoFilePath(std::string path);
  static std::string defaultSyncInfoFilePath();
  // The same path, without making its folder.
  static std::string usualFilePath();

  std::shared_ptr<QFContactSyncInfo> syncInfoForContactId(const std::string& contactId);
  std::shared_ptr<QFContactSyncInfo> saveSyncInfoForContact(const QFContact& contact);
  bool hasContactChanged(const QFContact& contact);
  void markContactAsDeleted(const std::string& contactId);
  SyncInfoList allSyncInfo();
  SyncInfoList activeSyncInfo();
  void saveSyncInfoCache();
  // Of the last save and of its way to the disk; null if both went well so far, and once what
  // was to be saved is let go of.
  ErrorPtr lastSaveError() const;
  // Of the last look at the file; null if it was read or is not there, and once a save has
  // taken its place.
  ErrorPtr lastLoadError() const;
  // Waits until the last save is on the disk, where a power cut can't take it back, and for
  // a call on another thread that does so.
  void synchronize(bool moreToCome = false);
  void loadSyncInfoCache();
  void clearSyncInfoCache();
  std::shared_ptr<QFContactSyncInfo> syncInfoForContact(const QFContact& contact) const;

 private:
  void noteSave(OptionalString path, ErrorPtr error);
  void noteLoad(ErrorPtr error);
  // Returns why the file at the path can't be read.
  ErrorPtr readInto(SyncInfoDictionary& cache, const std::string& path);

  const OSLogPtr logger_;
  const std::unique_ptr<SyncInfoArchive> archive_;

  // Guards the fields below it; never held while calling out.
  mutable std::mutex mutex_;
  std::shared_ptr<SyncInfoDictionary> cache_;
  OptionalString path_;
  ErrorPtr lastSaveError_;
  ErrorPtr lastLoadError_;
  OptionalString savedPath_;
};

}  // namespace quillfold
