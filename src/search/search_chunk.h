// A run of consecutive contacts of a search snapshot.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "search/folded_column.h"
#include "sync/contact_sync_info.h"

namespace quillfold {

enum class SearchText { Match, Name };

// A contact on its way into a chunk, with its place in the order read once: the
// record may change meanwhile.
struct SearchEntry {
  QFContactSyncInfoPtr record;
  std::uint32_t keyHash = 0;
  // text::sortKey of the sort name.
  OptionalString sortKey;
  OptionalString contactId;

  static SearchEntry of(QFContactSyncInfoPtr record, std::uint32_t keyHash);

  // Absent names first; the identifier settles the order of equal ones.
  bool operator<(const SearchEntry& other) const {
    return std::tie(sortKey, contactId) < std::tie(other.sortKey, other.contactId);
  }
};

// Rows in order. Immutable once it is part of a snapshot.
class SearchChunk {
 public:
  // Large enough for a sweep to get going, small enough to be copied for a change.
  static constexpr std::size_t kRows = 1024;

  void add(const SearchEntry& entry);
  // A row of another chunk, with its sort key, as a Keys walk gave it.
  void add(const SearchChunk& other, std::size_t row, std::string_view key);
  bool isFull(std::size_t limit) const {
    return rows() >= limit || match_.bytes().size() >= kBytes;
  }
  void shrinkToFit();

  std::size_t rows() const { return records_.size(); }
  const QFContactSyncInfoPtr& record(std::size_t row) const { return records_[row]; }
  // Hashes of the keys that the dictionary holds the records under.
  const std::vector<std::uint32_t>& keyHashes() const { return keyHashes_; }
  const FoldedColumn& column(SearchText text) const {
    return text == SearchText::Name ? name_ : match_;
  }

  // Whether the entry belongs in front of the row with that sort key.
  bool isBefore(const SearchEntry& entry, std::size_t row, std::string_view key) const;
  // The same for the first row.
  bool isBeforeFirst(const SearchEntry& entry) const;

  // The sort keys, to be walked from the first row on.
  class Keys {
   public:
    explicit Keys(const SearchChunk& chunk) : rest_(chunk.sortKeys_) {}
    std::string_view next();

   private:
    std::string_view rest_;
  };

  // Bytes in use, the records not included.
  std::size_t memory() const;

 private:
  // Very long texts make a chunk end early: a change copies all of it.
  static constexpr std::size_t kBytes = 1 << 20;

  std::vector<QFContactSyncInfoPtr> records_;
  std::vector<std::uint32_t> keyHashes_;
  FoldedColumn match_;
  FoldedColumn name_;
  // Each followed by a byte that no key has; empty where the name is absent.
  std::string sortKeys_;
};

using SearchChunks = std::vector<std::shared_ptr<const SearchChunk>>;

// Appends chunks of at most `limit` rows.
class SearchChunkWriter {
 public:
  SearchChunkWriter(SearchChunks& chunks, std::size_t limit) : chunks_(chunks), limit_(limit) {}
  ~SearchChunkWriter() { close(); }
  SearchChunkWriter(const SearchChunkWriter&) = delete;
  SearchChunkWriter& operator=(const SearchChunkWriter&) = delete;

  template <typename... Row>
  void add(const Row&... row) {
    if (!open_) open_ = std::make_shared<SearchChunk>();
    open_->add(row...);
    if (open_->isFull(limit_)) close();
  }

 private:
  void close();

  SearchChunks& chunks_;
  const std::size_t limit_;
  std::shared_ptr<SearchChunk> open_;
};

}  // namespace quillfold
