#include "search/search_update.h"

#include <algorithm>
#include <functional>
#include <span>

namespace quillfold {

namespace {

using Entries = std::vector<SearchEntry>;

std::uint32_t hashOf(const std::string& key) {
  return static_cast<std::uint32_t>(std::hash<std::string>()(key));
}

// The keys of an update, with the record that each stands for now, if any.
class ChangedKeys {
 public:
  enum class Owner { Changed, Other, Unknown };

  ChangedKeys(const SyncInfoDictionary& dictionary, const std::unordered_set<std::string>& keys) {
    for (const std::string& key : keys) {
      keys_.push_back({hashOf(key), key, dictionary.objectForKey(key)});
    }
    std::sort(keys_.begin(), keys_.end(),
              [](const Key& a, const Key& b) { return a.hash < b.hash; });
  }

  bool mayHave(std::uint32_t hash) const { return !with(hash).empty(); }

  // Whether a row was made for one of the keys. Their hashes may be equal by
  // chance, and a record need not be held under its own identifier.
  Owner ownerOf(std::uint32_t hash, const QFContactSyncInfoPtr& record) const {
    const auto candidates = with(hash);
    if (candidates.empty()) return Owner::Other;
    const OptionalString contactId = record->contactId();
    for (const Key& key : candidates) {
      if (key.record == record || key.text == contactId) return Owner::Changed;
    }
    return contactId && hashOf(*contactId) == hash ? Owner::Other : Owner::Unknown;
  }

  Entries activeEntries() const {
    Entries out;
    for (const Key& key : keys_) {
      if (key.record && !key.record->isDeleted()) {
        out.push_back(SearchEntry::of(key.record, key.hash));
      }
    }
    std::sort(out.begin(), out.end());
    return out;
  }

 private:
  struct Key {
    std::uint32_t hash;
    std::string text;
    QFContactSyncInfoPtr record;
  };
  std::span<const Key> with(std::uint32_t hash) const {
    const auto first =
        std::lower_bound(keys_.begin(), keys_.end(), hash,
                         [](const Key& key, std::uint32_t each) { return key.hash < each; });
    const auto last =
        std::find_if(first, keys_.end(), [hash](const Key& key) { return key.hash != hash; });
    return {first, last};
  }

  std::vector<Key> keys_;
};

// Replaces the chunk by what is left of it. Returns false if that can't be told.
bool addRemaining(const std::shared_ptr<const SearchChunk>& chunk, const ChangedKeys& keys,
                  SearchChunks& out) {
  const auto& hashes = chunk->keyHashes();
  const auto mayHave = [&keys](std::uint32_t hash) { return keys.mayHave(hash); };
  if (std::none_of(hashes.begin(), hashes.end(), mayHave)) {
    out.push_back(chunk);
    return true;
  }
  SearchChunkWriter writer(out, chunk->rows());
  SearchChunk::Keys sortKeys(*chunk);
  for (std::size_t row = 0; row < chunk->rows(); ++row) {
    const std::string_view sortKey = sortKeys.next();
    const auto owner = keys.ownerOf(hashes[row], chunk->record(row));
    if (owner == ChangedKeys::Owner::Unknown) return false;
    if (owner == ChangedKeys::Owner::Other) writer.add(*chunk, row, sortKey);
  }
  return true;
}

// The chunk with the entries put in their places; it may grow somewhat before it
// is split.
void addMerged(const SearchChunk& chunk, Entries::const_iterator first,
               Entries::const_iterator last, std::size_t rowsPerChunk, SearchChunks& out) {
  const std::size_t rows = chunk.rows() + static_cast<std::size_t>(last - first);
  SearchChunkWriter writer(out, rows <= 2 * rowsPerChunk ? rows : rowsPerChunk);
  SearchChunk::Keys sortKeys(chunk);
  for (std::size_t row = 0; row < chunk.rows(); ++row) {
    const std::string_view sortKey = sortKeys.next();
    for (; first != last && chunk.isBefore(*first, row, sortKey); ++first)
      writer.add(*first);
    writer.add(chunk, row, sortKey);
  }
  for (; first != last; ++first)
    writer.add(*first);
}

// Each entry goes into the last chunk whose first row is not behind it.
SearchChunks merged(const SearchChunks& chunks, const Entries& entries, std::size_t rowsPerChunk) {
  SearchChunks out;
  out.reserve(chunks.size() + 1);
  auto next = entries.begin();
  if (chunks.empty()) {
    SearchChunkWriter writer(out, rowsPerChunk);
    for (const SearchEntry& entry : entries)
      writer.add(entry);
  }
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const auto last =
        i + 1 == chunks.size()
            ? entries.end()
            : std::partition_point(next, entries.end(), [&](const SearchEntry& entry) {
                return chunks[i + 1]->isBeforeFirst(entry);
              });
    if (next == last) {
      out.push_back(chunks[i]);
    } else {
      addMerged(*chunks[i], next, last, rowsPerChunk, out);
    }
    next = last;
  }
  return out;
}

}  // namespace

std::shared_ptr<const SearchSnapshot> builtSnapshot(const SyncInfoDictionary& dictionary,
                                                    std::size_t rowsPerChunk) {
  Entries entries;
  entries.reserve(dictionary.count());
  for (auto& [key, record] : dictionary.entries()) {
    if (!record->isDeleted()) entries.push_back(SearchEntry::of(record, hashOf(key)));
  }
  std::sort(entries.begin(), entries.end());
  SearchChunks chunks;
  {
    SearchChunkWriter writer(chunks, rowsPerChunk);
    for (const SearchEntry& entry : entries)
      writer.add(entry);
  }
  chunks.shrink_to_fit();
  const ByteCounts counts = SearchSnapshot::sample(chunks);
  return std::make_shared<const SearchSnapshot>(std::move(chunks), counts);
}

std::shared_ptr<const SearchSnapshot> updatedSnapshot(const SearchSnapshot& snapshot,
                                                      const SyncInfoDictionary& dictionary,
                                                      const std::unordered_set<std::string>& keys,
                                                      std::size_t rowsPerChunk) {
  const ChangedKeys changed(dictionary, keys);
  SearchChunks remaining;
  remaining.reserve(snapshot.chunks().size());
  for (const auto& chunk : snapshot.chunks()) {
    if (!addRemaining(chunk, changed, remaining)) return nullptr;
  }
  return std::make_shared<const SearchSnapshot>(
      merged(remaining, changed.activeEntries(), rowsPerChunk), snapshot.counts());
}

}  // namespace quillfold
