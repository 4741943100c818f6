// Keeps a search snapshot in step with the bookkeeping.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "search/search_snapshot.h"
#include "sync/sync_info_changes.h"
#include "sync/sync_info_dictionary.h"

namespace quillfold {

// Gives snapshots of a dictionary. A snapshot is made when it is asked for, and
// only if something has changed; after few changes all but the chunks that they
// fall into is shared with the one before. Any thread.
class SearchIndex {
 public:
  // Chunks of few rows make a change cheaper and a search dearer.
  explicit SearchIndex(std::size_t rowsPerChunk = SearchChunk::kRows)
      : rowsPerChunk_(rowsPerChunk) {}
  // The one that all search services of the process share. Never destroyed.
  static SearchIndex& shared();

  // Everything that was changed before the call is in it.
  std::shared_ptr<const SearchSnapshot> snapshot(const std::shared_ptr<SyncInfoDictionary>& of);

 private:
  using Keys = std::unordered_set<std::string>;

  void follow(const std::shared_ptr<SyncInfoDictionary>& dictionary);
  void build(const SyncInfoDictionary& dictionary);
  bool areFew(const Keys& keys) const;
  bool isScattered(const SearchSnapshot& snapshot) const;

  const std::size_t rowsPerChunk_;
  // Held while a snapshot is made, so that several threads make one between them.
  std::mutex mutex_;
  std::weak_ptr<SyncInfoDictionary> dictionary_;
  std::shared_ptr<SyncInfoFeed> feed_;
  std::shared_ptr<const SearchSnapshot> snapshot_;
  std::size_t builtChunks_ = 0;
  // Keys whose rows have been placed while other records may have changed.
  Keys unsettled_;
};

}  // namespace quillfold
