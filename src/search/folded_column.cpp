#include "search/folded_column.h"

#include <algorithm>

#include "foundation/text.h"

namespace quillfold {

void FoldedColumn::add(const OptionalString& text) {
  const auto row = static_cast<std::uint32_t>(rows());
  const text::Folded folded = text ? text::folded(*text) : text::Folded{};
  if (!text) absent_.push_back(row);
  if (!folded.inner.empty()) {
    const std::size_t firstBit = inner_.size();
    addInnerBits(folded.bytes.size());
    for (const std::uint32_t position : folded.inner)
      inner_[firstBit + position] = true;
  }
  bytes_ += folded.bytes;
  ends_.push_back(static_cast<std::uint32_t>(bytes_.size()));
  hasInner_.push_back(!folded.inner.empty());
  bytes_ += kEndOfText;
}

void FoldedColumn::add(const FoldedColumn& other, std::size_t row) {
  const std::size_t begin = other.begin(row);
  const std::size_t size = other.ends_[row] - begin;
  if (other.isAbsent(row)) absent_.push_back(static_cast<std::uint32_t>(rows()));
  if (other.hasInner_[row]) {
    const std::size_t firstBit = inner_.size();
    const std::size_t otherBit = other.firstBitOf(row);
    addInnerBits(size);
    for (std::size_t i = 0; i < size; ++i)
      inner_[firstBit + i] = other.inner_[otherBit + i];
  }
  bytes_.append(other.bytes_, begin, size);
  ends_.push_back(static_cast<std::uint32_t>(bytes_.size()));
  hasInner_.push_back(other.hasInner_[row]);
  bytes_ += kEndOfText;
}

// For the row that is being added.
void FoldedColumn::addInnerBits(std::size_t size) {
  innerRows_.push_back(
      {static_cast<std::uint32_t>(rows()), static_cast<std::uint32_t>(inner_.size())});
  inner_.resize(inner_.size() + size);
}

void FoldedColumn::shrinkToFit() {
  bytes_.shrink_to_fit();
  ends_.shrink_to_fit();
  hasInner_.shrink_to_fit();
  absent_.shrink_to_fit();
  innerRows_.shrink_to_fit();
  inner_.shrink_to_fit();
}

std::size_t FoldedColumn::memory() const {
  return bytes_.capacity() + ends_.capacity() * sizeof(std::uint32_t) + hasInner_.capacity() / 8 +
         absent_.capacity() * sizeof(std::uint32_t) + innerRows_.capacity() * sizeof(InnerRow) +
         inner_.capacity() / 8;
}

bool FoldedColumn::isAbsent(std::size_t row) const {
  return std::binary_search(absent_.begin(), absent_.end(), row);
}

bool FoldedColumn::contains(std::size_t row, const BytePattern& pattern) const {
  BytePattern::Found found{};
  return isAbsent(row) || (findFrom(begin(row), row, pattern, found) && isHit(found, pattern));
}

bool FoldedColumn::findFrom(std::size_t position, std::size_t row, const BytePattern& pattern,
                            BytePattern::Found& found) const {
  const std::string_view upToEnd = std::string_view(bytes_).substr(0, ends_[row]);
  return pattern.findInRuns(upToEnd, ends_, position, row, {&found, 1}) > 0;
}

bool FoldedColumn::isHitBehind(BytePattern::Found found, const BytePattern& pattern) const {
  while (findFrom(found.position + std::size_t{1}, found.run, pattern, found)) {
    if (isWhole(found, pattern.size())) return true;
  }
  return false;
}

std::size_t FoldedColumn::begin(std::size_t row) const {
  return row == 0 ? 0 : ends_[row - 1] + std::size_t{1};
}

bool FoldedColumn::isWhole(BytePattern::Found found, std::size_t size) const {
  const std::size_t firstBit = firstBitOf(found.run);
  const std::size_t start = found.position - begin(found.run);
  const bool reachesEnd = found.position + size == ends_[found.run];
  return !inner_[firstBit + start] && (reachesEnd || !inner_[firstBit + start + size]);
}

std::size_t FoldedColumn::firstBitOf(std::size_t row) const {
  const auto found =
      std::lower_bound(innerRows_.begin(), innerRows_.end(), row,
                       [](const InnerRow& inner, std::size_t each) { return inner.row < each; });
  return found->firstBit;
}

}  // namespace quillfold
