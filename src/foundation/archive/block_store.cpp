#include "foundation/archive/block_store.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

constexpr std::size_t kChunkSize = 64 * 1024;
constexpr std::size_t kWidth = plist::kArchiveWidth;
// The first byte of an array, and a count of four bytes whatever it is.
constexpr std::size_t kCountPlace = 2;
constexpr std::size_t kListHeader = kCountPlace + sizeof(std::uint32_t);

// Between the order of the file and that of the machine, either way. The form
// that compilers know how to do for many numbers at once.
std::uint32_t reordered(std::uint32_t value) {
  if constexpr (std::endian::native == std::endian::big) return value;
  return (value >> 24) | ((value >> 8) & 0xFF00U) | ((value << 8) & 0xFF0000U) | (value << 24);
}

std::uint32_t load(const char* from) {
  std::uint32_t value;
  std::memcpy(&value, from, kWidth);
  return reordered(value);
}

void store(char* to, std::uint32_t value) {
  value = reordered(value);
  std::memcpy(to, &value, kWidth);
}

}  // namespace

void Block::clear() {
  bytes.clear();
  offsets.clear();
}

std::uint32_t Block::begin() {
  offsets.push_back(static_cast<std::uint32_t>(bytes.size()));
  return static_cast<std::uint32_t>(offsets.size() - 1);
}

ReferenceList::ReferenceList() {
  clear();
}

void ReferenceList::clear() {
  using plist::Marker;
  bytes_ = {plist::firstByte(Marker::array, plist::kCountFollows),
            plist::firstByte(Marker::integer, plist::logarithmOf(sizeof count_))};
  bytes_.resize(kListHeader);
  count_ = 0;
}

void ReferenceList::append(std::uint32_t object) {
  plist::appendNumber(bytes_, object, kWidth);
  ++count_;
  storeCount();
}

void ReferenceList::set(std::uint32_t index, std::uint32_t object) {
  store(bytes_.data() + kListHeader + index * kWidth, object);
}

void ReferenceList::removeLast() {
  bytes_.resize(bytes_.size() - kWidth);
  --count_;
  storeCount();
}

void ReferenceList::storeCount() {
  store(bytes_.data() + kCountPlace, count_);
}

std::size_t BlockStore::chunkIndex(std::uint32_t slot) const {
  const auto behind = std::upper_bound(
      chunks_.begin(), chunks_.end(), slot,
      [](std::uint32_t wanted, const Chunk& chunk) { return wanted < chunk.firstSlot; });
  return static_cast<std::size_t>(behind - chunks_.begin()) - 1;
}

std::uint32_t BlockStore::endSlot(std::size_t chunk) const {
  return chunk + 1 < chunks_.size() ? chunks_[chunk + 1].firstSlot : count_;
}

// Places within the chunk. A block begins where its first object does.
std::uint32_t BlockStore::beginOf(std::size_t chunk, std::uint32_t slot) const {
  return load(offsets_.data() + std::size_t{slot} * objectsPerBlock_ * kWidth) -
         chunks_[chunk].start;
}

std::uint32_t BlockStore::endOf(std::size_t chunk, std::uint32_t slot) const {
  if (slot + 1 < endSlot(chunk)) return beginOf(chunk, slot + 1);
  return static_cast<std::uint32_t>(chunks_[chunk].bytes.size());
}

std::uint32_t BlockStore::sizeOf(std::uint32_t slot) const {
  const std::size_t chunk = chunkIndex(slot);
  return endOf(chunk, slot) - beginOf(chunk, slot);
}

void BlockStore::append(const Block& block) {
  if (chunks_.empty() || chunks_.back().bytes.size() >= kChunkSize) {
    // Any start will do: `place` moves the chunk to where it belongs.
    chunks_.push_back({.firstSlot = count_});
  }
  Chunk& chunk = chunks_.back();
  const auto begin = static_cast<std::uint32_t>(chunk.bytes.size());
  chunk.bytes += block.bytes;
  byteCount_ += block.bytes.size();
  offsets_.resize(offsets_.size() + objectsPerBlock_ * kWidth);
  storeOffsets(count_++, chunk.start + begin, block);
}

void BlockStore::replace(std::uint32_t slot, const Block& block) {
  const std::size_t at = chunkIndex(slot);
  const std::uint32_t begin = beginOf(at, slot);
  const std::uint32_t size = endOf(at, slot) - begin;
  Chunk& chunk = chunks_[at];
  chunk.bytes.replace(begin, size, block.bytes);
  byteCount_ = byteCount_ - size + block.bytes.size();
  storeOffsets(slot, chunk.start + begin, block);
  shiftOffsets(slot + 1, endSlot(at), static_cast<std::uint32_t>(block.bytes.size()) - size);
}

void BlockStore::clear() {
  chunks_.clear();
  offsets_.clear();
  count_ = 0;
  byteCount_ = 0;
}

std::uint32_t BlockStore::place(std::uint32_t offset, std::vector<std::string_view>& pieces) {
  for (std::size_t i = 0; i < chunks_.size(); ++i) {
    Chunk& chunk = chunks_[i];
    shiftOffsets(chunk.firstSlot, endSlot(i), offset - chunk.start);
    chunk.start = offset;
    pieces.push_back(chunk.bytes);
    offset += static_cast<std::uint32_t>(chunk.bytes.size());
  }
  return offset;
}

void BlockStore::storeOffsets(std::uint32_t slot, std::uint32_t start, const Block& block) {
  char* to = offsets_.data() + std::size_t{slot} * objectsPerBlock_ * kWidth;
  for (const std::uint32_t offset : block.offsets) {
    store(to, start + offset);
    to += kWidth;
  }
}

// A negative delta works as well, since the sum wraps around.
void BlockStore::shiftOffsets(std::uint32_t slot, std::uint32_t endSlot, std::uint32_t delta) {
  if (delta == 0) return;
  char* const from = offsets_.data() + std::size_t{slot} * objectsPerBlock_ * kWidth;
  const std::size_t size = std::size_t{endSlot - slot} * objectsPerBlock_ * kWidth;
  for (std::size_t i = 0; i < size; i += kWidth)
    store(from + i, load(from + i) + delta);
}

}  // namespace quillfold
