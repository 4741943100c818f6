#include "search/search_index.h"

#include <algorithm>

#include "search/search_update.h"

namespace quillfold {

namespace {

// A changed key costs about as much as building this many rows does.
constexpr std::size_t kRowsPerKey = 16;
constexpr int kRounds = 4;

}  // namespace

SearchIndex& SearchIndex::shared() {
  static auto* index = new SearchIndex;
  return *index;
}

std::shared_ptr<const SearchSnapshot> SearchIndex::snapshot(
    const std::shared_ptr<SyncInfoDictionary>& of) {
  const std::lock_guard lock(mutex_);
  follow(of);
  // Back in its place at the end: if this fails, the next call starts anew.
  const auto feed = std::exchange(feed_, nullptr);
  // A row is placed by comparing it with others, which may change at the same
  // time. So it is placed again until a round finds that nothing has.
  for (int round = 0; round < kRounds; ++round) {
    SyncInfoFeed::Changes changes = feed->take();
    if (!changes.everything && changes.keys.empty()) {
      unsettled_.clear();
      break;
    }
    unsettled_.merge(changes.keys);
    if (changes.everything || !areFew(unsettled_)) {
      build(*of);
      break;
    }
    auto updated = updatedSnapshot(*snapshot_, *of, unsettled_, rowsPerChunk_);
    if (!updated || isScattered(*updated)) {
      build(*of);
      break;
    }
    snapshot_ = std::move(updated);
  }
  feed_ = feed;
  return snapshot_;
}

void SearchIndex::follow(const std::shared_ptr<SyncInfoDictionary>& dictionary) {
  if (feed_ && dictionary_.lock() == dictionary) return;
  dictionary_ = dictionary;
  feed_ = dictionary->openFeed();
}

bool SearchIndex::areFew(const Keys& keys) const {
  return static_cast<std::int64_t>(keys.size() * kRowsPerKey) <= snapshot_->count();
}

// Changes leave chunks that are not full. Too many of them are worth a new start,
// and so is a book that has grown far beyond what the byte counts were taken from.
bool SearchIndex::isScattered(const SearchSnapshot& snapshot) const {
  return snapshot.chunks().size() > 4 * builtChunks_ + 16;
}

// Compares only what it has read once, so that no row is misplaced.
void SearchIndex::build(const SyncInfoDictionary& dictionary) {
  snapshot_ = builtSnapshot(dictionary, rowsPerChunk_);
  builtChunks_ = snapshot_->chunks().size();
  unsettled_.clear();
}

}  // namespace quillfold
