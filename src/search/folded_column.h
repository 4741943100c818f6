// One searchable text for each of some contacts.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/optional_string.h"
#include "search/byte_pattern.h"

namespace quillfold {

// Not part of any UTF-8.
inline constexpr char kEndOfText = '\xFF';

// The folded texts of consecutive rows, end to end in one buffer, so that one
// sweep goes over all of them. A row whose text is absent has none there, and yet
// contains every pattern.
class FoldedColumn {
 public:
  void add(const OptionalString& text);
  // A row of another column.
  void add(const FoldedColumn& other, std::size_t row);
  void shrinkToFit();

  std::size_t rows() const { return ends_.size(); }
  bool isAbsent(std::size_t row) const;
  bool hasAbsentRows() const { return !absent_.empty(); }
  std::string_view bytes() const { return bytes_; }
  std::size_t memory() const;

  // Patterns are folded texts. A row contains one where it neither begins nor
  // ends within what belongs together.
  bool contains(std::size_t row, const BytePattern& pattern) const;
  // Calls `hit` with each row that contains the pattern, in order and absent ones
  // left out, until it returns false; returns whether it never did.
  template <typename Hit>
  bool forEachRow(const BytePattern& pattern, const Hit& hit) const;

 private:
  // A row with inner positions, and its first bit of `inner_`.
  struct InnerRow {
    std::uint32_t row;
    std::uint32_t firstBit;
  };

  std::size_t begin(std::size_t row) const;
  // Whether it is a whole one, or another one behind it in the row is.
  bool isHit(BytePattern::Found found, const BytePattern& pattern) const {
    return !hasInner_[found.run] || isWhole(found, pattern.size()) || isHitBehind(found, pattern);
  }
  bool isHitBehind(BytePattern::Found found, const BytePattern& pattern) const;
  bool isWhole(BytePattern::Found found, std::size_t size) const;
  // The next one in the row; returns whether there is one.
  bool findFrom(std::size_t position, std::size_t row, const BytePattern& pattern,
                BytePattern::Found& found) const;
  std::size_t firstBitOf(std::size_t row) const;
  void addInnerBits(std::size_t size);

  // Each text is followed by kEndOfText.
  std::string bytes_;
  std::vector<std::uint32_t> ends_;
  std::vector<bool> hasInner_;
  std::vector<std::uint32_t> absent_;
  std::vector<InnerRow> innerRows_;
  // One bit for each byte of the rows with inner positions.
  std::vector<bool> inner_;
};

template <typename Hit>
bool FoldedColumn::forEachRow(const BytePattern& pattern, const Hit& hit) const {
  std::array<BytePattern::Found, 64> found;
  for (std::size_t row = 0; row < rows();) {
    const std::size_t count = pattern.findInRuns(bytes_, ends_, begin(row), row, found);
    for (std::size_t i = 0; i < count; ++i) {
      if (isHit(found[i], pattern) && !hit(found[i].run)) return false;
    }
    row = count < found.size() ? rows() : found.back().run + std::size_t{1};
  }
  return true;
}

}  // namespace quillfold
