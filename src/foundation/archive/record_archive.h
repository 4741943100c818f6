// A keyed archive that is written again and again while little of it changes.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/archive/archive_image.h"
#include "foundation/archive/plist_format.h"
#include "foundation/archive/record_layout.h"
#include "foundation/archive/reference_list.h"
#include "foundation/error.h"

namespace quillfold {

// The archive of a dictionary (class NSMutableDictionary) of strings to records
// of one class, kept as the bytes of its file. A change of a record changes few of them,
// and these know which.
//
// The layout makes that possible. All references are four bytes wide, and each
// record owns a block of consecutive object numbers and of `$objects` indexes, so
// that no byte of a record depends on another one. A block that outgrows its room moves
// behind the last one; so do the lists of references that grow with the records. Once half
// of the file is room that was left, everything is laid out anew.
//
// Not safe to use from several threads at once.
class RecordArchive {
 public:
  using FieldType = RecordLayout::FieldType;
  using Field = RecordLayout::Field;
  using FieldValue = RecordLayout::FieldValue;

  // The most bytes in use. With the rooms that are left and the reserves, the offsets of
  // such an archive still fit four bytes.
  static constexpr std::uint64_t kMaximumSize = plist::kMaximumArchiveSize / 4;

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
  // Removes one record, if it is there; nothing of it stays in the file.
  void remove(std::string_view key);
  void clear();

  std::size_t recordCount() const { return order_.size(); }
  // The bytes in use.
  std::uint64_t byteCount() const;

  // The file, good until the next call of a member that is not const.
  const RevisedBytes& contents();

  // The error of a file that a RecordArchive wrote and that is not as it was written: domain
  // "NSCocoaErrorDomain", code 4864. None for any other bytes.
  static ErrorPtr damageOf(std::string_view bytes);

 private:
  // A block of the file, and where it may grow to. Without a size it belongs to no record.
  struct Slot {
    std::uint32_t start = 0;
    std::uint32_t size = 0;
    std::uint32_t room = 0;
  };
  // The slot of a record, and its place in the lists of the root.
  struct Location {
    std::uint32_t slot = 0;
    std::uint32_t position = 0;
  };
  struct KeyHash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  using Index = std::unordered_map<std::string, Location, KeyHash, std::equal_to<>>;

  std::uint64_t sizeWith(std::uint32_t slot, bool replaces) const;
  void addSlot();
  void putBlock(std::uint32_t slot);
  void vacate(std::uint32_t slot);
  void addEntry(std::string_view key, std::uint32_t slot);
  void beginImage();
  bool isWasteful() const;
  void layOutAnew();

  const RecordLayout layout_;
  const std::uint64_t maximumSize_;
  // Where the objects of a vacant block begin, counted from the null object.
  const std::vector<std::uint32_t> vacancy_;

  ArchiveImage image_;
  std::vector<Slot> slots_;
  std::vector<std::uint32_t> vacantSlots_;
  // The sum of the blocks' sizes.
  std::uint64_t blockBytes_ = 0;

  Index index_;
  // The entries of the index by their places in the lists of the root.
  std::vector<Index::value_type*> order_;
  std::array<ReferenceList, RecordLayout::kListCount> lists_;

  // Reused from call to call.
  Block block_;
};

}  // namespace quillfold
