// One searchable text for each of some contacts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/optional_string.h"
#include "platform/byte_pattern.h"

namespace quillfold {

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
  // The first row at or behind `row` that contains the pattern, absent ones left
  // out; rows() if there is none.
  std::size_t find(const BytePattern& pattern, std::size_t row) const;

 private:
  // Where a row's text ends, and whether it has inner positions at all.
  struct End {
    std::uint32_t position : 31;
    std::uint32_t hasInner : 1;
  };
  // A row with inner positions, and its first bit of `inner_`.
  struct InnerRow {
    std::uint32_t row;
    std::uint32_t firstBit;
  };

  std::size_t begin(std::size_t row) const;
  std::size_t rowAt(std::size_t position, std::size_t from) const;
  bool isWhole(std::size_t row, std::size_t position, std::size_t size) const;
  std::size_t firstBitOf(std::size_t row) const;
  void addInnerBits(std::size_t size);

  // Each text is followed by a byte that no text has.
  std::string bytes_;
  std::vector<End> ends_;
  std::vector<std::uint32_t> absent_;
  std::vector<InnerRow> innerRows_;
  // One bit for each byte of the rows with inner positions.
  std::vector<bool> inner_;
};

}  // namespace quillfold
