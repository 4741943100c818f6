#include "sync/sync_info_changes.h"

#include <utility>

namespace quillfold {

SyncInfoFeed::Changes SyncInfoFeed::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(changes_, Changes{});
}

void SyncInfoFeed::note(const std::string& key) {
  const std::lock_guard lock(mutex_);
  if (!changes_.everything) changes_.keys.insert(key);
}

void SyncInfoFeed::noteEverything() {
  const std::lock_guard lock(mutex_);
  changes_ = Changes{true, {}};
}

std::shared_ptr<SyncInfoFeed> SyncInfoChanges::openFeed() {
  auto feed = std::make_shared<SyncInfoFeed>();
  const std::lock_guard lock(mutex_);
  std::erase_if(feeds_, [](const auto& old) { return old.expired(); });
  feeds_.push_back(feed);
  return feed;
}

void SyncInfoChanges::note(const std::string& key) {
  const std::lock_guard lock(mutex_);
  for (const auto& weak : feeds_) {
    if (const auto feed = weak.lock()) feed->note(key);
  }
}

void SyncInfoChanges::noteEverything() {
  const std::lock_guard lock(mutex_);
  for (const auto& weak : feeds_) {
    if (const auto feed = weak.lock()) feed->noteEverything();
  }
}

}  // namespace quillfold
