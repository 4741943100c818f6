#include "sync/sync_info_dictionary.h"

#include <algorithm>

#include "sync/sync_info_changes.h"

namespace quillfold {

std::shared_ptr<SyncInfoDictionary> SyncInfoDictionary::dictionary() {
  return std::shared_ptr<SyncInfoDictionary>(new SyncInfoDictionary);
}

SyncInfoDictionary::SyncInfoDictionary() : changes_(std::make_shared<SyncInfoChanges>()) {}

SyncInfoDictionary::~SyncInfoDictionary() {
  removeAllObjects();
}

// With the mutex held; what is there already stays.
std::pair<SyncInfoDictionary::Records::iterator, bool> SyncInfoDictionary::add(
    const std::string& key, QFContactSyncInfoPtr record) {
  const auto out = records_.try_emplace(key, Numbered{std::move(record), lastNumber_ + 1});
  if (out.second) ++lastNumber_;
  return out;
}

std::size_t SyncInfoDictionary::count() const {
  const std::lock_guard lock(mutex_);
  return records_.size();
}

QFContactSyncInfoPtr SyncInfoDictionary::objectForKey(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto it = records_.find(key);
  return it == records_.end() ? nullptr : it->second.record;
}

void SyncInfoDictionary::setObject(QFContactSyncInfoPtr record, const std::string& key) {
  if (!record) throw NSException(NSInvalidArgumentException, "A dictionary holds no null record.");
  // First of all, so that whoever finds the record can't change it unnoticed.
  record->addHolder(changes_, key);
  {
    const std::lock_guard lock(mutex_);
    add(key, nullptr).first->second.record.swap(record);
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
  node.mapped().record->removeHolder(changes_.get(), key);
  changes_->note(key);
}

void SyncInfoDictionary::removeAllObjects() {
  Records old;
  {
    const std::lock_guard lock(mutex_);
    old.swap(records_);
  }
  for (const auto& [key, numbered] : old)
    numbered.record->removeHolder(changes_.get(), key);
  changes_->noteEverything();
}

std::vector<QFContactSyncInfoPtr> SyncInfoDictionary::allValues() const {
  const std::lock_guard lock(mutex_);
  std::vector<QFContactSyncInfoPtr> out;
  out.reserve(records_.size());
  for (const auto& [key, numbered] : records_)
    out.push_back(numbered.record);
  return out;
}

SyncInfoDictionary::Entries SyncInfoDictionary::entries() const {
  const std::lock_guard lock(mutex_);
  std::vector<const Records::value_type*> ordered;
  ordered.reserve(records_.size());
  for (const auto& entry : records_)
    ordered.push_back(&entry);
  std::sort(ordered.begin(), ordered.end(),
            [](const auto* a, const auto* b) { return a->second.number < b->second.number; });
  Entries out;
  out.reserve(ordered.size());
  for (const auto* entry : ordered)
    out.emplace_back(entry->first, entry->second.record);
  return out;
}

QFContactSyncInfoPtr SyncInfoDictionary::findOrAdd(
    const std::string& key, const std::function<QFContactSyncInfoPtr()>& make) {
  if (QFContactSyncInfoPtr found = objectForKey(key)) return found;
  QFContactSyncInfoPtr fresh = make();
  fresh->addHolder(changes_, key);
  {
    const std::lock_guard lock(mutex_);
    const auto [it, added] = add(key, fresh);
    if (!added) return it->second.record;
  }
  changes_->note(key);
  return fresh;
}

void SyncInfoDictionary::addEntriesIfEmpty(const Entries& entries) {
  for (const auto& [key, record] : entries)
    record->addHolder(changes_, key);
  bool added = false;
  {
    const std::lock_guard lock(mutex_);
    if (records_.empty()) {
      for (const auto& [key, record] : entries)
        add(key, record);
      added = true;
    }
  }
  if (added) {
    changes_->noteEverything();
  } else {
    for (const auto& [key, record] : entries)
      record->removeHolder(changes_.get(), key);
  }
}

std::shared_ptr<SyncInfoFeed> SyncInfoDictionary::openFeed() const {
  return changes_->openFeed();
}

}  // namespace quillfold
