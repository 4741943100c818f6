// What a search looks at.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "search/search_chunk.h"

namespace quillfold {

// A part of the contacts found, told by the places of its first and behind its
// last. An empty or reversed window shows nothing.
struct SearchWindow {
  std::int64_t begin = 0;
  std::int64_t end = std::numeric_limits<std::int64_t>::max();

  bool shows(std::int64_t place) const { return place >= begin && place < end; }
};

struct SearchHits {
  std::int64_t total = 0;
  // Those within the window, in order.
  std::vector<QFContactSyncInfoPtr> window;
};

// The contacts that are not deleted, as they were at one time: in the order of
// activeSyncInfo, with the texts that are searched, ready to be searched.
// Immutable; any thread.
class SearchSnapshot {
 public:
  SearchSnapshot() = default;
  // `counts` may come from an earlier snapshot.
  SearchSnapshot(SearchChunks chunks, const ByteCounts& counts);
  static ByteCounts sample(const SearchChunks& chunks);

  std::int64_t count() const { return count_; }
  SearchHits list(SearchWindow window) const;
  // The contacts whose text contains every one of the texts, none of them empty.
  SearchHits search(const std::vector<std::string>& texts, SearchText in,
                    SearchWindow window) const;
  // The first ones, at most `most`, whose match text contains the text.
  SearchHits searchFirst(const std::string& text, std::int64_t most) const;

  const SearchChunks& chunks() const { return chunks_; }
  const ByteCounts& counts() const { return counts_; }
  // Bytes in use, the records not included.
  std::size_t memory() const;

 private:
  std::vector<BytePattern> patterns(const std::vector<std::string>& texts) const;
  // The first one takes the sweep.
  void putRarestFirst(std::vector<BytePattern>& patterns, SearchText in) const;

  SearchChunks chunks_;
  ByteCounts counts_;
  std::int64_t count_ = 0;
};

}  // namespace quillfold
