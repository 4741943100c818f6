// A keyed archive that is written whole again and again while little of it
// changes.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/archive/block_store.h"
#include "foundation/archive/plist_format.h"
#include "foundation/archive/record_layout.h"
#include "foundation/error.h"

namespace quillfold {

// The archive of a dictionary (class NSMutableDictionary) of strings to records
// of one class, kept in its encoded form. A record is encoded once for each
// change of it; giving out the whole archive costs little beside writing it to a
// file.
//
// The layout makes that possible. All references are four bytes wide, and each
// record owns a block of consecutive object numbers and of `$objects` indexes, so
// that no byte of a record depends on another one. The file is the shared objects
// (RecordLayout), the blocks (BlockStore), the lists of references that grow with
// the records, the offset table and the trailer.
//
// Not safe to use from several threads at once.
class RecordArchive {
 public:
  using FieldType = RecordLayout::FieldType;
  using Field = RecordLayout::Field;
  using FieldValue = RecordLayout::FieldValue;

  // The largest archive whose offsets fit four bytes.
  static constexpr std::uint64_t kMaximumSize = plist::kMaximumArchiveSize;

  // The fields are encoded in the order given. `maximumSize` is in bytes, at
  // most kMaximumSize.
  RecordArchive(std::string_view recordClass, std::vector<Field> fields,
                std::uint64_t maximumSize = kMaximumSize);
  RecordArchive(const RecordArchive&) = delete;
  RecordArchive& operator=(const RecordArchive&) = delete;

  // Adds or replaces one record; `values` follow the order of the fields.
  // Malformed UTF-8 is written as U+FFFD. Returns the error, or none: domain
  // "NSCocoaErrorDomain", code 3851, if a value doesn't fit its field or the
  // archive would outgrow its maximum size; the archive then stays as it was.
  ErrorPtr set(std::string_view key, std::span<const FieldValue> values);
  // Removes one record, if it is there. Its room is used for a later one.
  void remove(std::string_view key);
  void clear();

  std::size_t recordCount() const { return order_.size(); }
  // The size of the file in bytes.
  std::uint64_t byteCount() const;

  // The archive, one piece behind the other, for one gathered write. The pieces
  // are good until the next call of a member that is not const.
  std::span<const std::string_view> pieces();

 private:
  // The block of a record, and its place in the lists of the root.
  struct Location {
    std::uint32_t slot = 0;
    std::uint32_t position = 0;
  };
  struct KeyHash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  using Index = std::unordered_map<std::string, Location, KeyHash, std::equal_to<>>;

  std::uint64_t sizeWith(std::uint32_t slot, bool replaces) const;
  void putBlock(std::uint32_t slot);
  void addEntry(std::string_view key, std::uint32_t slot);

  const RecordLayout layout_;
  const std::uint64_t maximumSize_;
  BlockStore blocks_;
  std::vector<std::uint32_t> vacantSlots_;

  Index index_;
  // The entries of the index by their places in the lists of the root.
  std::vector<Index::value_type*> order_;
  ReferenceList keys_;
  ReferenceList values_;
  ReferenceList objects_;

  // Reused from call to call.
  Block block_;
  std::string preludeOffsets_;
  std::string trailer_;
  std::vector<std::string_view> pieces_;
};

}  // namespace quillfold
