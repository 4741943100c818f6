// The property list objects that make up a keyed archive.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "foundation/archive/block_store.h"

namespace quillfold {

// Encoded objects, one behind the other behind the magic of the file, numbered
// from 0.
class ArchiveObjects {
 public:
  ArchiveObjects();

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
