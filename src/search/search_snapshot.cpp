#include "search/search_snapshot.h"

#include <algorithm>

#include "foundation/text.h"

namespace quillfold {

namespace {

using Patterns = std::vector<BytePattern>;

bool containsAll(const FoldedColumn& column, std::size_t row, const Patterns& patterns,
                 std::size_t from) {
  return std::all_of(patterns.begin() + static_cast<std::ptrdiff_t>(from), patterns.end(),
                     [&](const BytePattern& pattern) { return column.contains(row, pattern); });
}

// Calls `hit` with each row that contains all patterns, in order, until it
// returns false. The sweep is for the first pattern alone.
template <typename Hit>
bool forEachHit(const FoldedColumn& column, const Patterns& patterns, const Hit& hit) {
  if (column.hasAbsentRows()) {
    for (std::size_t row = 0; row < column.rows(); ++row) {
      if (containsAll(column, row, patterns, 0) && !hit(row)) return false;
    }
    return true;
  }
  return column.forEachRow(patterns[0], [&](std::size_t row) {
    return !containsAll(column, row, patterns, 1) || hit(row);
  });
}

}  // namespace

SearchSnapshot::SearchSnapshot(SearchChunks chunks, const ByteCounts& counts)
    : chunks_(std::move(chunks)), counts_(counts) {
  for (const auto& chunk : chunks_)
    count_ += static_cast<std::int64_t>(chunk->rows());
}

ByteCounts SearchSnapshot::sample(const SearchChunks& chunks) {
  constexpr std::size_t kSamples = 32;
  ByteCounts counts;
  for (std::size_t i = 0; i < chunks.size(); i += chunks.size() / kSamples + 1) {
    counts.add(chunks[i]->column(SearchText::Match).bytes());
  }
  return counts;
}

SearchHits SearchSnapshot::list(SearchWindow window) const {
  SearchHits hits{count_, {}};
  std::int64_t place = 0;
  for (const auto& chunk : chunks_) {
    const std::int64_t next = place + static_cast<std::int64_t>(chunk->rows());
    const std::int64_t first = std::max(place, window.begin);
    for (std::int64_t i = first; i < std::min(next, window.end); ++i) {
      hits.window.push_back(chunk->record(static_cast<std::size_t>(i - place)));
    }
    place = next;
  }
  return hits;
}

std::vector<BytePattern> SearchSnapshot::patterns(const std::vector<std::string>& texts) const {
  Patterns out;
  for (const std::string& each : texts)
    out.emplace_back(text::folded(each).bytes, counts_);
  return out;
}

// In one of many chunks the patterns are counted, in a small book guessed.
void SearchSnapshot::putRarestFirst(std::vector<BytePattern>& patterns, SearchText in) const {
  constexpr std::size_t kMany = 32;
  const auto frequency = [&](const BytePattern& pattern) {
    double rows = 0;
    if (chunks_.size() < kMany) return std::pair(rows, pattern.frequency());
    for (const std::size_t sample : {chunks_.size() / 3, chunks_.size() * 2 / 3}) {
      chunks_[sample]->column(in).forEachRow(pattern, [&](std::size_t) { return ++rows > 0; });
    }
    return std::pair(rows, pattern.frequency());
  };
  if (patterns.size() < 2) return;
  std::vector<std::pair<std::pair<double, double>, BytePattern>> ranked;
  for (BytePattern& pattern : patterns)
    ranked.emplace_back(frequency(pattern), std::move(pattern));
  std::sort(ranked.begin(), ranked.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  patterns.clear();
  for (auto& [rank, pattern] : ranked)
    patterns.push_back(std::move(pattern));
}

SearchHits SearchSnapshot::search(const std::vector<std::string>& texts, SearchText in,
                                  SearchWindow window) const {
  SearchHits hits;
  Patterns all = patterns(texts);
  putRarestFirst(all, in);
  for (const auto& chunk : chunks_) {
    forEachHit(chunk->column(in), all, [&](std::size_t row) {
      if (window.shows(hits.total)) hits.window.push_back(chunk->record(row));
      ++hits.total;
      return true;
    });
  }
  return hits;
}

SearchHits SearchSnapshot::searchFirst(const std::string& text, std::int64_t most) const {
  SearchHits hits;
  const Patterns all = patterns({text});
  for (const auto& chunk : chunks_) {
    const bool wantsMore = forEachHit(chunk->column(SearchText::Match), all, [&](std::size_t row) {
      hits.window.push_back(chunk->record(row));
      return ++hits.total < most;
    });
    if (!wantsMore) break;
  }
  return hits;
}

std::size_t SearchSnapshot::memory() const {
  std::size_t bytes = sizeof *this + chunks_.capacity() * sizeof(SearchChunks::value_type);
  for (const auto& chunk : chunks_)
    bytes += chunk->memory();
  return bytes;
}

}  // namespace quillfold
