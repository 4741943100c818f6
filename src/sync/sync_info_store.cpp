#include "sync/sync_info_store.h"

#include "core/defaults_keys.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/text.h"
#include "model/contact.h"
#include "platform/clock.h"
#include "platform/log_line.h"
#include "platform/platform.h"
#include "sync/contact_sync_info.h"
#include "sync/sync_info_archive.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {

namespace {

constexpr const char* kFolder = "/AppFrameworks/Quillfold";
constexpr const char* kFileName = "/contact_sync_info.plist";

FileManager& files() {
  return *Platform::current().files;
}

ErrorPtr errorOf(const NSException& exception) {
  return NSError::errorWithDomain(exception.name(), 0,
                                  {{NSLocalizedDescriptionKey, exception.reason()}});
}

}  // namespace

SyncInfoStore::SyncInfoStore(OSLogPtr logger)
    : logger_(std::move(logger)), archive_(std::make_unique<SyncInfoArchive>()) {}

SyncInfoStore::~SyncInfoStore() = default;

std::shared_ptr<SyncInfoDictionary> SyncInfoStore::syncInfoCache() {
  const std::lock_guard lock(mutex_);
  if (!cache_) cache_ = SyncInfoDictionary::dictionary();
  return cache_;
}

void SyncInfoStore::setSyncInfoCache(std::shared_ptr<SyncInfoDictionary> cache) {
  const std::lock_guard lock(mutex_);
  cache_.swap(cache);
  lastSaveError_ = nullptr;
}

std::string SyncInfoStore::syncInfoFilePath() {
  {
    const std::lock_guard lock(mutex_);
    if (path_) return *path_;
  }
  std::string path = defaultSyncInfoFilePath();
  const std::lock_guard lock(mutex_);
  if (!path_) path_ = std::move(path);
  return *path_;
}

void SyncInfoStore::setSyncInfoFilePath(std::string path) {
  const std::lock_guard lock(mutex_);
  path_ = std::move(path);
  lastLoadError_ = nullptr;
}

std::string SyncInfoStore::defaultSyncInfoFilePath() {
  const std::string directory = files().applicationSupportDirectory() + kFolder;
  if (!files().fileExistsAtPath(directory)) {
    if (const ErrorPtr error = files().createDirectoryAtPath(directory)) {
      logLine("Error creating Quillfold directory: {}", error->description());
    }
  }
  return usualFilePath();
}

std::string SyncInfoStore::usualFilePath() {
  return files().applicationSupportDirectory() + kFolder + kFileName;
}

QFContactSyncInfoPtr SyncInfoStore::syncInfoForContactId(const std::string& contactId) {
  // A record that is there says that the file has been read.
  const auto cache = syncInfoCache();
  if (QFContactSyncInfoPtr found = cache->objectForKey(contactId)) return found;
  loadSyncInfoCache();
  // A look-up alone adds a record, which the next save writes.
  return cache->findOrAdd(contactId,
                          [&contactId] { return QFContactSyncInfo::initWithContactId(contactId); });
}

bool SyncInfoStore::hasContactChanged(const QFContact& contact) {
  const QFContactSyncInfoPtr record = syncInfoForContactId(contact.identifier());
  // Where there is nothing to compare with, nothing is hashed.
  return !record->contactHash() || !record->hasContactHash(contact.generateContactHash());
}

QFContactSyncInfoPtr SyncInfoStore::saveSyncInfoForContact(const QFContact& contact) {
  QFContactSyncInfoPtr record = syncInfoForContactId(contact.identifier());
  record->updateDisplayInfoFromContact(contact);
  record->setContactHash(contact.generateContactHash());
  record->setLastSyncedAt(currentTime());
  record->setIsDirty(false);
  record->setIsDeleted(false);
  saveSyncInfoCache();
  return record;
}

void SyncInfoStore::markContactAsDeleted(const std::string& contactId) {
  const QFContactSyncInfoPtr record = syncInfoForContactId(contactId);
  record->setIsDeleted(true);
  record->setIsDirty(true);
  // Though nothing has been uploaded.
  record->setLastSyncedAt(currentTime());
  saveSyncInfoCache();
}

SyncInfoList SyncInfoStore::allSyncInfo() {
  loadSyncInfoCache();
  return syncInfoCache()->allValues();
}

SyncInfoList SyncInfoStore::activeSyncInfo() {
  struct Row {
    OptionalString name;
    OptionalString contactId;
    QFContactSyncInfoPtr record;
  };
  loadSyncInfoCache();
  std::vector<Row> rows;
  for (const QFContactSyncInfoPtr& record : syncInfoCache()->allValues()) {
    if (!record->isDeleted()) {
      rows.push_back({record->displayNameForSort(), record->contactId(), record});
    }
  }
  // The sort keys are read once: a record may change while the list is sorted. The
  // identifier settles the order of equal names, absent names come first.
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    if (!a.name || !b.name) {
      return a.name.has_value() == b.name.has_value() ? a.contactId < b.contactId : !a.name;
    }
    const int order = text::compare(*a.name, *b.name);
    return order != 0 ? order < 0 : a.contactId < b.contactId;
  });
  SyncInfoList out;
  out.reserve(rows.size());
  for (Row& row : rows)
    out.push_back(std::move(row.record));
  return out;
}

void SyncInfoStore::saveSyncInfoCache() {
  try {
    const std::string path = syncInfoFilePath();
    const ErrorPtr error = archive_->save(syncInfoCache(), path);
    noteSave(path, error);
    if (error) {
      os_log_error(logger_, "Could not write {}: {}", path, error->localizedDescription());
    }
    // Written after a failure too: no caller is told of one.
    logLine("Saved contact sync info to {}", path);
  } catch (const NSException& exception) {
    noteSave({}, errorOf(exception));
    logLine("Error saving sync info cache: {}", exception.reason());
  }
}

void SyncInfoStore::synchronize(bool moreToCome) {
  OptionalString path;
  {
    const std::lock_guard lock(mutex_);
    path = savedPath_;
  }
  if (!path) return;
  if (const ErrorPtr error = files().synchronizeFileAtPath(*path, moreToCome)) {
    os_log_error(logger_,
                 fmt::format("Could not synchronize {}: {}", *path, error->localizedDescription()));
    const std::lock_guard lock(mutex_);
    lastSaveError_ = error;
  }
}

void SyncInfoStore::noteSave(OptionalString path, ErrorPtr error) {
  const std::lock_guard lock(mutex_);
  if (!error) {
    savedPath_ = std::move(path);
    lastLoadError_ = nullptr;
  }
  lastSaveError_ = std::move(error);
}

void SyncInfoStore::noteLoad(ErrorPtr error) {
  const std::lock_guard lock(mutex_);
  lastLoadError_ = std::move(error);
}

ErrorPtr SyncInfoStore::lastSaveError() const {
  const std::lock_guard lock(mutex_);
  return lastSaveError_;
}

ErrorPtr SyncInfoStore::lastLoadError() const {
  const std::lock_guard lock(mutex_);
  return lastLoadError_;
}

void SyncInfoStore::loadSyncInfoCache() {
  const auto cache = syncInfoCache();
  if (cache->count() > 0) return;
  try {
    noteLoad(readInto(*cache, syncInfoFilePath()));
  } catch (const NSException& exception) {
    noteLoad(errorOf(exception));
    logLine("Error loading sync info cache: {}", exception.reason());
  }
}

ErrorPtr SyncInfoStore::readInto(SyncInfoDictionary& cache, const std::string& path) {
  if (!files().fileExistsAtPath(path)) {
    logLine("No sync info cache file exists yet at {}", path);
    return nullptr;
  }
  const auto bytes = files().contentsAtPath(path);
  if (!bytes) {
    return NSError::errorWithDomain("NSCocoaErrorDomain", NSFileReadUnknownError,
                                    {{NSLocalizedDescriptionKey, path + " can't be read"}});
  }
  ErrorPtr error;
  const auto entries = SyncInfoArchive::load(bytes->bytes(), &error);
  if (error) {
    logLine("Error unarchiving sync info: {}", error->description());
    if (!archive_->restore(path)) return error;
    logLine("Restored {} from its spare", path);
    return readInto(cache, path);
  }
  if (!entries) return nullptr;
  cache.addEntriesIfEmpty(*entries);
  logLine("Loaded {} contact sync info records", cache.count());
  return nullptr;
}

void SyncInfoStore::clearSyncInfoCache() {
  syncInfoCache()->removeAllObjects();
  {
    const std::lock_guard lock(mutex_);
    lastSaveError_ = nullptr;
  }
  const std::string path = syncInfoFilePath();
  const bool exists = files().fileExistsAtPath(path);
  // What is kept beside the file goes too, even if the file itself is gone already.
  const ErrorPtr error = files().removeItemAtPath(path);
  if (!exists) return;
  if (error) {
    logLine("Error deleting sync info file: {}", error->description());
  } else {
    NSLog("Successfully cleared sync info cache");
  }
}

QFContactSyncInfoPtr SyncInfoStore::syncInfoForContact(const QFContact& contact) const {
  const auto bytes = NSUserDefaults::standardUserDefaults().dataForKey(
      defaults_keys::kSyncInfoPrefix + contact.identifier());
  if (!bytes) return nullptr;
  ErrorPtr error;
  auto record = KeyedUnarchiver::unarchivedObjectOfClass<QFContactSyncInfo>(bytes->bytes(), &error);
  if (!record) {
    os_log_error(logger_, "Error unarchiving sync info: {}", error->description());
  }
  return record;
}

}  // namespace quillfold
