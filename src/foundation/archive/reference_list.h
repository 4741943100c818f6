// An array object that grows in place.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/archive/archive_image.h"

namespace quillfold {

// The references of an array object of an image, the same image in each call. They are four
// bytes wide and have a reserve behind them; the first ones put the object into the image.
class ReferenceList {
 public:
  explicit ReferenceList(std::uint32_t object) : object_(object) {}

  // The bytes that it needs, and those that it has with its reserve.
  std::uint32_t usedSize() const { return sizeFor(count_); }
  std::uint32_t size() const { return sizeFor(capacity_); }

  void append(ArchiveImage& image, std::span<const std::uint32_t> references);
  void set(ArchiveImage& image, std::uint32_t index, std::uint32_t reference) const;
  void removeLast(ArchiveImage& image);

 private:
  static std::uint32_t sizeFor(std::uint32_t count);
  void reserve(ArchiveImage& image, std::uint32_t capacity);
  void storeCount(ArchiveImage& image) const;

  std::uint32_t object_;
  std::uint32_t count_ = 0;
  std::uint32_t capacity_ = 0;
};

}  // namespace quillfold
