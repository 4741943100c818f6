// The bookkeeping in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "foundation/export.h"
#include "sync/contact_sync_info.h"

namespace quillfold {

class SyncInfoFeed;

// A mutable dictionary from contact identifier to record. Safe to use from any
// thread; what is derived from it follows every change, also one of a record
// that is in it.
class QUILLFOLD_EXPORT SyncInfoDictionary {
 public:
  using Entries = std::vector<std::pair<std::string, QFContactSyncInfoPtr>>;

  static std::shared_ptr<SyncInfoDictionary> dictionary();

  SyncInfoDictionary(const SyncInfoDictionary&) = delete;
  SyncInfoDictionary& operator=(const SyncInfoDictionary&) = delete;
  ~SyncInfoDictionary();

  std::size_t count() const;
  // Null if there is none.
  QFContactSyncInfoPtr objectForKey(const std::string& key) const;
  // Raises NSException for a null record.
  void setObject(QFContactSyncInfoPtr record, const std::string& key);
  void removeObjectForKey(const std::string& key);
  void removeAllObjects();
  // In no particular order.
  std::vector<QFContactSyncInfoPtr> allValues() const;
  // In the order in which their keys came: those of one batch lie side by side in the file.
  Entries entries() const;

  // The record under the key, or one that `make` makes and that is added.
  QFContactSyncInfoPtr findOrAdd(const std::string& key,
                                 const std::function<QFContactSyncInfoPtr()>& make);
  // Adds the entries if the dictionary holds none, in one step.
  void addEntriesIfEmpty(const Entries& entries);

  std::shared_ptr<SyncInfoFeed> openFeed() const;

 private:
  struct Numbered {
    QFContactSyncInfoPtr record;
    std::uint64_t number;
  };
  using Records = std::unordered_map<std::string, Numbered>;

  SyncInfoDictionary();
  std::pair<Records::iterator, bool> add(const std::string& key, QFContactSyncInfoPtr record);

  const std::shared_ptr<SyncInfoChanges> changes_;
  // Guards the records; no other lock is taken under it.
  mutable std::mutex mutex_;
  Records records_;
  std::uint64_t lastNumber_ = 0;
};

}  // namespace quillfold
