// The file of an archive that changes in place.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/archive/archive_objects.h"
#include "foundation/revised_bytes.h"

namespace quillfold {

// The bytes of a binary property list, kept so that a change of an object changes few of
// them: behind the objects lies a reserve, in front of the offset table, which has to end
// where the trailer begins. What no offset names is zero, but for a sum of all the bytes
// behind the magic, by which a file that was not written to its end is told.
//
// Offsets are four bytes wide; the owner sees to it that they suffice.
class ArchiveImage {
 public:
  // The room that the sum takes behind the magic.
  static constexpr std::size_t kSealSize = 16;

  // The first objects: the magic, room for the sum, and the objects themselves.
  ArchiveImage(const Block& prelude, std::uint32_t rootObject);

  std::uint32_t objectCount() const { return static_cast<std::uint32_t>(offsets_.size()); }
  std::uint32_t offsetOf(std::uint32_t object) const { return offsets_[object]; }
  // The bytes from the magic to the end of the last object, unused ones included.
  std::uint32_t areaSize() const { return areaEnd_; }
  std::string_view bytesAt(std::uint32_t offset, std::uint32_t size) const {
    return contents_.bytes().substr(offset, size);
  }
  // The file, with its sum.
  const RevisedBytes& sealed();

  // Room for objects behind the last one. Makes the reserve larger where it doesn't suffice.
  std::uint32_t allocate(std::uint32_t size);
  void store(std::uint32_t offset, std::string_view bytes);
  void clear(std::uint32_t offset, std::uint32_t size);
  // Adds objects, which have to get an offset next.
  void addObjects(std::uint32_t count);
  // Consecutive objects begin at these distances from `start`.
  void setOffsets(std::uint32_t firstObject, std::span<const std::uint32_t> distances,
                  std::uint32_t start);

  // Whether the bytes have a sum, and it is not theirs.
  static bool isTorn(std::string_view bytes);

 private:
  void storeTable(std::uint32_t firstObject, std::uint32_t count);
  void storeTrailer();
  void moveTable(std::uint32_t to);

  RevisedBytes contents_;
  std::uint64_t sum_ = 0;
  std::vector<std::uint32_t> offsets_;
  std::uint32_t rootObject_;
  std::uint32_t areaEnd_ = 0;
  std::uint32_t table_ = 0;
  // Reused from call to call.
  std::string scratch_;
};

}  // namespace quillfold
