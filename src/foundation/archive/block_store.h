// The growing parts of an archive of records, kept as they stand in the file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillfold {

// Consecutive encoded objects, and where each of them begins.
struct Block {
  std::string bytes;
  std::vector<std::uint32_t> offsets;

  void clear();
  // The next object begins here. Returns its place in the block.
  std::uint32_t begin();
};

// The references of an array object, four bytes wide.
class ReferenceList {
 public:
  ReferenceList();

  std::uint32_t count() const { return count_; }
  std::uint64_t byteCount() const { return bytes_.size(); }
  void append(std::uint32_t object);
  void set(std::uint32_t index, std::uint32_t object);
  void removeLast();
  void clear();

  // The whole object, good until the next change.
  std::string_view bytes() const { return bytes_; }

 private:
  void storeCount();

  std::string bytes_;
  std::uint32_t count_ = 0;
};

// Blocks of the same number of objects, one behind the other, with their part of
// the offset table. They are kept in chunks of about 64 KiB: a block that changes
// its size moves the rest of its chunk, and shifts the offsets behind it.
// Offsets are four bytes wide; the owner sees to it that they suffice.
class BlockStore {
 public:
  explicit BlockStore(std::uint32_t objectsPerBlock) : objectsPerBlock_(objectsPerBlock) {}

  std::uint32_t count() const { return count_; }
  std::uint64_t byteCount() const { return byteCount_; }
  std::uint64_t offsetTableSize() const { return offsets_.size(); }
  std::uint32_t sizeOf(std::uint32_t slot) const;

  void append(const Block& block);
  void replace(std::uint32_t slot, const Block& block);
  void clear();

  // Sets the place in the file where the first block begins, and appends the
  // chunks to `pieces`. Returns the place behind the last block.
  std::uint32_t place(std::uint32_t offset, std::vector<std::string_view>& pieces);
  // The offset table as of the last `place`, good until the next change.
  std::string_view offsetTable() const { return offsets_; }

 private:
  // The blocks from `firstSlot` to the next chunk's first. The chunk's entries of
  // the offset table count from `start`, which is brought up to date by `place`.
  struct Chunk {
    std::uint32_t firstSlot = 0;
    std::uint32_t start = 0;
    std::string bytes = {};
  };

  std::size_t chunkIndex(std::uint32_t slot) const;
  std::uint32_t endSlot(std::size_t chunk) const;
  std::uint32_t beginOf(std::size_t chunk, std::uint32_t slot) const;
  std::uint32_t endOf(std::size_t chunk, std::uint32_t slot) const;
  void storeOffsets(std::uint32_t slot, std::uint32_t start, const Block& block);
  void shiftOffsets(std::uint32_t slot, std::uint32_t endSlot, std::uint32_t delta);

  const std::uint32_t objectsPerBlock_;
  std::vector<Chunk> chunks_;
  std::uint32_t count_ = 0;
  std::uint64_t byteCount_ = 0;
  std::string offsets_;
};

}  // namespace quillfold
