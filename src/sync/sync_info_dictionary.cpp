#include "sync/sync_info_dictionary.h"

#include "sync/sync_info_changes.h"

namespace quillfold {

std::shared_ptr<SyncInfoDictionary> SyncInfoDictionary::dictionary() {
  return std::shared_ptr<SyncInfoDictionary>(new SyncInfoDictionary);
}

SyncInfoDictionary::SyncInfoDictionary() : changes_(std::make_shared<SyncInfoChanges>()) {}

SyncInfoDictionary::~SyncInfoDictionary() {
  removeAllObjects();
}

std::size_t SyncInfoDictionary::count() const {
  const std::lock_guard lock(mutex_);
  return records_.size();
}

QFContactSyncInfoPtr SyncInfoDictionary::objectForKey(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto it = records_.find(key);
  return it == records_.end() ? nullptr : it->second;
}

void SyncInfoDictionary::setObject(QFContactSyncInfoPtr record, const std::string& key) {
  if (!record) throw NSException(NSInvalidArgumentException, "A dictionary holds no null record.");
  // First of all, so that whoever finds the record can't change it unnoticed.
  record->addHolder(changes_, key);
  {
    const std::lock_guard lock(mutex_);
    records_[key].swap(record);
  }
  if (record) record->removeHolder(changes_.get(), key);
  changes_->note(key);
}

void SyncInfoDictionary::removeObjectForKey(const std::string& key) {
  Records::node_type node;
  {
    const std::lock_guard lock(mutex_);
    node = records_.extract(key);
  }
  if (!node) return;
  node.mapped()->removeHolder(changes_.get(), key);
  changes_->note(key);
}

void SyncInfoDictionary::removeAllObjects() {
  Records old;
  {
    const std::lock_guard lock(mutex_);
    old.swap(records_);
  }
  for (const auto& [key, record] : old)
    record->removeHolder(changes_.get(), key);
  changes_->noteEverything();
}

std::vector<QFContactSyncInfoPtr> SyncInfoDictionary::allValues() const {
  const std::lock_guard lock(mutex_);
  std::vector<QFContactSyncInfoPtr> out;
  out.reserve(records_.size());
  for (const auto& [key, record] : records_)
    out.push_back(record);
  return out;
}

SyncInfoDictionary::Entries SyncInfoDictionary::entries() const {
  const std::lock_guard lock(mutex_);
  return {records_.begin(), records_.end()};
}

QFContactSyncInfoPtr SyncInfoDictionary::findOrAdd(
    const std::string& key, const std::function<QFContactSyncInfoPtr()>& make) {
  if (QFContactSyncInfoPtr found = objectForKey(key)) return found;
  QFContactSyncInfoPtr fresh = make();
  fresh->addHolder(changes_, key);
  {
    const std::lock_guard lock(mutex_);
    const auto [it, inserted] = records_.emplace(key, fresh);
    if (!inserted) return it->second;
  }
  changes_->note(key);
  return fresh;
}

bool SyncInfoDictionary::addEntriesIfEmpty(const Entries& entries) {
  for (const auto& [key, record] : entries)
    record->addHolder(changes_, key);
  bool added = false;
  {
    const std::lock_guard lock(mutex_);
    if (records_.empty()) {
      records_.insert(entries.begin(), entries.end());
      added = true;
    }
  }
  if (added) {
    changes_->noteEverything();
  } else {
    for (const auto& [key, record] : entries)
      record->removeHolder(changes_.get(), key);
  }
  return added;
}

std::shared_ptr<SyncInfoFeed> SyncInfoDictionary::openFeed() const {
  return changes_->openFeed();
}

}  // namespace quillfold
