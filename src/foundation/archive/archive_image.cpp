#include "foundation/archive/archive_image.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

using plist::kArchiveWidth;

constexpr std::uint32_t kLeastReserve = 4096;
constexpr std::size_t kWord = 8;

// The seal: a mark, as which no object begins, and the sum.
constexpr std::string_view kMark = "\xFFqfsum 1";
constexpr std::size_t kMarkPlace = plist::kMagic.size();
constexpr std::size_t kSumPlace = kMarkPlace + kMark.size();
static_assert(kSumPlace % kWord == 0 && kMark.size() + kWord == ArchiveImage::kSealSize);

std::uint64_t wordAt(std::string_view bytes, std::size_t place) {
  std::uint64_t word = 0;
  const std::size_t count = std::min(kWord, bytes.size() - place);
  if (std::endian::native == std::endian::little && count == kWord) {
    std::memcpy(&word, bytes.data() + place, kWord);
    return word;
  }
  for (std::size_t i = 0; i < count; ++i)
    word |= std::uint64_t{static_cast<unsigned char>(bytes[place + i])} << (8 * i);
  return word;
}

// What a word adds to the sum. Scrambled, or the changes of two words might cancel out.
std::uint64_t share(std::uint64_t word, std::size_t place) {
  if (word == 0 || place == kSumPlace) return 0;
  word += place * 0x9E3779B97F4A7C15;
  word = (word ^ (word >> 32)) * 0xD6E8FEB86659FD93;
  word = (word ^ (word >> 32)) * 0xD6E8FEB86659FD93;
  return word ^ (word >> 32);
}

// The shares of all words that have a byte in the range. Zeros have none, so that it doesn't
// matter whether the file ends within a word.
std::uint64_t sumOf(std::string_view bytes, std::size_t offset, std::size_t size) {
  std::uint64_t sum = 0;
  for (std::size_t place = offset / kWord * kWord; place < offset + size; place += kWord)
    sum += share(wordAt(bytes, place), place);
  return sum;
}

}  // namespace

ArchiveImage::ArchiveImage(const Block& prelude, std::uint32_t rootObject)
    : offsets_(prelude.offsets),
      rootObject_(rootObject),
      areaEnd_(static_cast<std::uint32_t>(prelude.bytes.size())) {
  contents_.grow(areaEnd_);
  store(0, prelude.bytes);
  store(kMarkPlace, kMark);
  moveTable(areaEnd_ + kLeastReserve);
}

const RevisedBytes& ArchiveImage::sealed() {
  std::string sum;
  plist::appendNumber(sum, sum_, kWord);
  if (bytesAt(kSumPlace, kWord) != sum) contents_.store(kSumPlace, sum);
  return contents_;
}

bool ArchiveImage::isTorn(std::string_view bytes) {
  if (bytes.size() < kSumPlace + kWord || bytes.substr(kMarkPlace, kMark.size()) != kMark) {
    return false;
  }
  std::string sum;
  plist::appendNumber(sum, sumOf(bytes, 0, bytes.size()), kWord);
  return bytes.substr(kSumPlace, kWord) != sum;
}

void ArchiveImage::store(std::uint32_t offset, std::string_view bytes) {
  sum_ -= sumOf(contents_.bytes(), offset, bytes.size());
  contents_.store(offset, bytes);
  sum_ += sumOf(contents_.bytes(), offset, bytes.size());
}

void ArchiveImage::clear(std::uint32_t offset, std::uint32_t size) {
  store(offset, std::string(size, '\0'));
}

std::uint32_t ArchiveImage::allocate(std::uint32_t size) {
  const std::uint32_t offset = areaEnd_;
  if (size > table_ - areaEnd_) moveTable(areaEnd_ + size + std::max(areaEnd_ / 2, kLeastReserve));
  areaEnd_ += size;
  return offset;
}

void ArchiveImage::addObjects(std::uint32_t count) {
  offsets_.resize(offsets_.size() + count);
  contents_.grow(std::size_t{count} * kArchiveWidth);
  storeTrailer();
}

void ArchiveImage::setOffsets(std::uint32_t firstObject, std::span<const std::uint32_t> distances,
                              std::uint32_t start) {
  std::transform(distances.begin(), distances.end(), offsets_.begin() + firstObject,
                 [start](std::uint32_t distance) { return start + distance; });
  storeTable(firstObject, static_cast<std::uint32_t>(distances.size()));
}

void ArchiveImage::storeTable(std::uint32_t firstObject, std::uint32_t count) {
  scratch_.clear();
  for (std::uint32_t i = 0; i < count; ++i)
    plist::appendNumber(scratch_, offsets_[firstObject + i], kArchiveWidth);
  store(table_ + firstObject * kArchiveWidth, scratch_);
}

void ArchiveImage::storeTrailer() {
  scratch_.clear();
  plist::appendTrailer(scratch_, {.offsetWidth = kArchiveWidth,
                                  .referenceWidth = kArchiveWidth,
                                  .objectCount = objectCount(),
                                  .rootObject = rootObject_,
                                  .offsetTable = table_});
  store(table_ + objectCount() * kArchiveWidth, scratch_);
}

void ArchiveImage::moveTable(std::uint32_t to) {
  if (table_ != 0) clear(table_, static_cast<std::uint32_t>(contents_.bytes().size()) - table_);
  table_ = to;
  contents_.grow(table_ + offsets_.size() * kArchiveWidth + plist::kTrailerSize -
                 contents_.bytes().size());
  storeTable(0, objectCount());
  storeTrailer();
}

}  // namespace quillfold
