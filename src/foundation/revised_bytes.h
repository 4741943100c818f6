// Bytes that are kept on a disk, and what of them has changed since when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/export.h"

namespace quillfold {

// Not safe to use from several threads at once.
class QUILLFOLD_EXPORT RevisedBytes {
 public:
  // What the bytes are at one moment. Objects of this class share no lineage, and one
  // begins another by being cleared.
  struct Revision {
    std::uint64_t lineage = 0;
    std::uint64_t number = 0;
  };
  struct Range {
    std::size_t offset = 0;
    std::size_t size = 0;
    friend bool operator==(const Range&, const Range&) = default;
  };

  RevisedBytes() { clear(); }
  RevisedBytes(const RevisedBytes&) = delete;
  RevisedBytes& operator=(const RevisedBytes&) = delete;
  RevisedBytes(RevisedBytes&&) = default;
  RevisedBytes& operator=(RevisedBytes&&) = default;

  std::string_view bytes() const { return bytes_; }
  Revision revision() const { return {lineage_, number_}; }
  // Where the bytes differ, at most, from an earlier revision with zeros behind its end; in
  // order, far enough apart to be written one by one, and up to the end if that has moved.
  // Absent for a revision of another lineage and for one too long ago.
  std::optional<std::vector<Range>> changesSince(const Revision& earlier) const;

  // The bytes at the offset, which have to be there, become these.
  void store(std::size_t offset, std::string_view bytes);
  // Adds zeros at the end.
  void grow(std::size_t size);
  // No bytes, and no earlier revisions.
  void clear();

 private:
  struct Change {
    std::uint64_t number;
    Range range;
  };

  void forgetOldChanges();

  std::string bytes_;
  std::uint64_t lineage_ = 0;
  std::uint64_t number_ = 0;
  // The changes behind the revision `known_`, and how many bytes they have.
  std::deque<Change> changes_;
  std::uint64_t known_ = 0;
  std::size_t changedBytes_ = 0;
};

}  // namespace quillfold
