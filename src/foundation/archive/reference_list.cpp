#include "foundation/archive/reference_list.h"

#include <algorithm>
#include <array>
#include <string>

#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

using plist::kArchiveWidth;

constexpr std::uint32_t kLeastCapacity = 16;
// The first byte of an array, and a count of four bytes whatever it is.
constexpr std::uint32_t kCountPlace = 2;
constexpr std::uint32_t kHeaderSize = kCountPlace + sizeof(std::uint32_t);

std::string encoded(std::uint32_t number) {
  std::string bytes;
  plist::appendNumber(bytes, number, kArchiveWidth);
  return bytes;
}

}  // namespace

std::uint32_t ReferenceList::sizeFor(std::uint32_t count) {
  return kHeaderSize + count * kArchiveWidth;
}

void ReferenceList::append(ArchiveImage& image, std::span<const std::uint32_t> references) {
  const auto count = count_ + static_cast<std::uint32_t>(references.size());
  if (capacity_ == 0 || count > capacity_)
    reserve(image, std::max({count, 2 * count_, kLeastCapacity}));
  std::string bytes;
  for (const std::uint32_t reference : references)
    bytes += encoded(reference);
  image.store(image.offsetOf(object_) + usedSize(), bytes);
  count_ = count;
  storeCount(image);
}

void ReferenceList::set(ArchiveImage& image, std::uint32_t index, std::uint32_t reference) const {
  image.store(image.offsetOf(object_) + sizeFor(index), encoded(reference));
}

void ReferenceList::removeLast(ArchiveImage& image) {
  set(image, --count_, 0);
  storeCount(image);
}

// Moves the object to where there is room.
void ReferenceList::reserve(ArchiveImage& image, std::uint32_t capacity) {
  using plist::Marker;
  std::string bytes = {plist::firstByte(Marker::array, plist::kCountFollows),
                       plist::firstByte(Marker::integer, plist::logarithmOf(sizeof count_))};
  const std::uint32_t start = image.allocate(sizeFor(capacity));
  if (capacity_ > 0) {
    const std::uint32_t old = image.offsetOf(object_);
    bytes = image.bytesAt(old, usedSize());
    image.clear(old, size());
  }
  image.store(start, bytes);
  image.setOffsets(object_, std::array{std::uint32_t{0}}, start);
  capacity_ = capacity;
}

void ReferenceList::storeCount(ArchiveImage& image) const {
  image.store(image.offsetOf(object_) + kCountPlace, encoded(count_));
}

}  // namespace quillfold
