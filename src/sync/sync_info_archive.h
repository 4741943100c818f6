// The file of the bookkeeping.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/archive/record_archive.h"
#include "foundation/error.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {

class SyncInfoFeed;

// Keeps the records of one dictionary encoded, so that a save, which replaces the whole
// file, encodes and writes only what has changed since the last one. Any thread; saves run
// one after the other.
class SyncInfoArchive {
 public:
  SyncInfoArchive();

  // Makes the file at the path the dictionary's. Returns the error, or none; the old
  // file stays where the write fails.
  ErrorPtr save(const std::shared_ptr<SyncInfoDictionary>& dictionary, const std::string& path);
  // Puts what a save has left beside the file in the place of one that can't be read.
  // Returns whether there was need and such a file.
  bool restore(const std::string& path);

  // The entries of an archive. Returns none for a root that is no dictionary;
  // sets the error for what is no such archive at all, or not as it was saved.
  static std::optional<SyncInfoDictionary::Entries> load(std::string_view bytes, ErrorPtr* error);

 private:
  ErrorPtr follow(const std::shared_ptr<SyncInfoDictionary>& dictionary);
  ErrorPtr encode(const std::string& key, const QFContactSyncInfo& record);

  // Held while a file is written; the file manager does not call back.
  std::mutex mutex_;
  RecordArchive archive_;
  std::weak_ptr<SyncInfoDictionary> followed_;
  std::shared_ptr<SyncInfoFeed> feed_;
};

}  // namespace quillfold
