// The property list objects that make up a keyed archive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
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

// Encoded objects, one behind the other behind the magic of the file and `room` zeros,
// numbered from 0.
class ArchiveObjects {
 public:
  explicit ArchiveObjects(std::size_t room = 0);

  const Block& block() const { return block_; }

  // Each adds one object (a class has further ones for its names) and returns
  // its number.
  std::uint32_t addPlaceholder() { return block_.begin(); }
  std::uint32_t addBool(bool value);
  std::uint32_t addInteger(std::int64_t value);
  std::uint32_t addReal(double value);
  std::uint32_t addText(std::string_view text);
  std::uint32_t addData(std::string_view bytes);
  std::uint32_t addUID(std::uint32_t uid);
  std::uint32_t addArray(std::span<const std::uint32_t> elements);
  std::uint32_t addDictionary(std::span<const std::uint32_t> keys,
                              std::span<const std::uint32_t> values);
  // The entry of a class: its name, and the names from it up to the root class.
  std::uint32_t addClass(std::span<const std::string_view> chain);
  // The top dictionary of an archive, whose `$objects` is the array given.
  std::uint32_t addTop(std::uint32_t rootUID, std::uint32_t objects);

 private:
  Block block_;
};

}  // namespace quillfold
