#include "search/folded_column.h"

#include <algorithm>

#include "platform/text.h"

namespace quillfold {

namespace {

// Not part of any UTF-8.
constexpr char kEnd = '\xFF';

}  // namespace

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
  ends_.push_back(
      {static_cast<std::uint32_t>(bytes_.size()) & 0x7FFFFFFFU, folded.inner.empty() ? 0U : 1U});
  bytes_ += kEnd;
}

void FoldedColumn::add(const FoldedColumn& other, std::size_t row) {
  const std::size_t begin = other.begin(row);
  const std::size_t size = other.ends_[row].position - begin;
  if (other.isAbsent(row)) absent_.push_back(static_cast<std::uint32_t>(rows()));
  if (other.ends_[row].hasInner != 0) {
    const std::size_t firstBit = inner_.size();
    const std::size_t otherBit = other.firstBitOf(row);
    addInnerBits(size);
    for (std::size_t i = 0; i < size; ++i)
      inner_[firstBit + i] = other.inner_[otherBit + i];
  }
  bytes_.append(other.bytes_, begin, size);
  ends_.push_back(
      {static_cast<std::uint32_t>(bytes_.size()) & 0x7FFFFFFFU, other.ends_[row].hasInner});
  bytes_ += kEnd;
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
  absent_.shrink_to_fit();
  innerRows_.shrink_to_fit();
  inner_.shrink_to_fit();
}

std::size_t FoldedColumn::memory() const {
  return bytes_.capacity() + ends_.capacity() * sizeof(End) +
         absent_.capacity() * sizeof(std::uint32_t) + innerRows_.capacity() * sizeof(InnerRow) +
         inner_.capacity() / 8;
}

bool FoldedColumn::isAbsent(std::size_t row) const {
  return std::binary_search(absent_.begin(), absent_.end(), row);
}

bool FoldedColumn::contains(std::size_t row, const BytePattern& pattern) const {
  const std::string_view upToEnd = std::string_view(bytes_).substr(0, ends_[row].position);
  for (std::size_t at = begin(row);; ++at) {
    at = pattern.find(upToEnd, at);
    if (at == std::string_view::npos) return isAbsent(row);
    if (isWhole(row, at, pattern.size())) return true;
  }
}

std::size_t FoldedColumn::find(const BytePattern& pattern, std::size_t row) const {
  if (row >= rows()) return rows();
  for (std::size_t at = begin(row);; ++at) {
    at = pattern.find(bytes_, at);
    if (at == std::string_view::npos) return rows();
    row = rowAt(at, row);
    if (isWhole(row, at, pattern.size())) return row;
  }
}

std::size_t FoldedColumn::begin(std::size_t row) const {
  return row == 0 ? 0 : ends_[row - 1].position + std::size_t{1};
}

// Rows between two hits are few for a frequent pattern and many for a rare one:
// the step doubles until it has gone too far.
std::size_t FoldedColumn::rowAt(std::size_t position, std::size_t from) const {
  std::size_t step = 1;
  while (from + step < rows() && ends_[from + step - 1].position < position) {
    from += step;
    step *= 2;
  }
  const auto first = ends_.begin() + static_cast<std::ptrdiff_t>(from);
  const auto last = ends_.begin() + static_cast<std::ptrdiff_t>(std::min(from + step, rows()));
  const auto found = std::lower_bound(
      first, last, position, [](const End& end, std::size_t at) { return end.position < at; });
  return static_cast<std::size_t>(found - ends_.begin());
}

bool FoldedColumn::isWhole(std::size_t row, std::size_t position, std::size_t size) const {
  if (ends_[row].hasInner == 0) return true;
  const std::size_t firstBit = firstBitOf(row);
  const std::size_t start = position - begin(row);
  const bool reachesEnd = position + size == ends_[row].position;
  return !inner_[firstBit + start] && (reachesEnd || !inner_[firstBit + start + size]);
}

std::size_t FoldedColumn::firstBitOf(std::size_t row) const {
  const auto found =
      std::lower_bound(innerRows_.begin(), innerRows_.end(), row,
                       [](const InnerRow& inner, std::size_t each) { return inner.row < each; });
  return found->firstBit;
}

}  // namespace quillfold
