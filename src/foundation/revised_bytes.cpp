#include "foundation/revised_bytes.h"

#include <algorithm>
#include <atomic>

namespace quillfold {

namespace {

// A gap that costs less to write than another call.
constexpr std::size_t kSmallGap = 512;
// So much of changes is remembered in any case, and otherwise a fourth of the bytes: more
// would save little beside writing all of them.
constexpr std::size_t kChangesKept = 64 * 1024;

}  // namespace

void RevisedBytes::clear() {
  static std::atomic<std::uint64_t> lineages = 0;
  bytes_.clear();
  changes_.clear();
  lineage_ = ++lineages;
  number_ = known_ = 0;
  changedBytes_ = 0;
}

void RevisedBytes::grow(std::size_t size) {
  if (size == 0) return;
  bytes_.resize(bytes_.size() + size);
  store(bytes_.size() - 1, {"", 1});
}

void RevisedBytes::store(std::size_t offset, std::string_view bytes) {
  if (bytes.empty()) return;
  bytes_.replace(offset, bytes.size(), bytes);
  changes_.push_back({++number_, {offset, bytes.size()}});
  changedBytes_ += bytes.size();
  forgetOldChanges();
}

void RevisedBytes::forgetOldChanges() {
  while (changedBytes_ > std::max(kChangesKept, bytes_.size() / 4)) {
    changedBytes_ -= changes_.front().range.size;
    known_ = changes_.front().number;
    changes_.pop_front();
  }
}

std::optional<std::vector<RevisedBytes::Range>> RevisedBytes::changesSince(
    const Revision& earlier) const {
  if (earlier.lineage != lineage_ || earlier.number < known_) return std::nullopt;
  std::vector<Range> ranges;
  for (auto it = changes_.rbegin(); it != changes_.rend() && it->number > earlier.number; ++it)
    ranges.push_back(it->range);
  std::sort(ranges.begin(), ranges.end(),
            [](const Range& a, const Range& b) { return a.offset < b.offset; });
  std::vector<Range> out;
  for (const Range& range : ranges) {
    if (out.empty() || range.offset > out.back().offset + out.back().size + kSmallGap) {
      out.push_back(range);
    } else {
      const std::size_t end =
          std::max(out.back().offset + out.back().size, range.offset + range.size);
      out.back().size = end - out.back().offset;
    }
  }
  return out;
}

}  // namespace quillfold
