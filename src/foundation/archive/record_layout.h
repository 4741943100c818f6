// Which bytes, object numbers and `$objects` indexes make up an archive of
// records of one class.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/archive/archive_objects.h"

namespace quillfold {

// Every number in the file that does not depend on what the records hold. The
// objects that all records share come first; behind them each record, by its
// slot, has a block of the same number of objects.
class RecordLayout {
 public:
  enum class FieldType { string, boolean, integer, real };
  struct Field {
    std::string name;
    FieldType type;
  };
  // std::monostate is an absent string.
  using FieldValue = std::variant<std::monostate, std::string_view, bool, std::int64_t, double>;

  // The lists that grow with the records, in the order of their object numbers.
  enum List { kKeys, kValues, kObjects, kListCount };

  RecordLayout(std::string_view recordClass, std::vector<Field> fields);

  // The magic, room for a seal, the shared objects, and where each of these begins. The
  // entries of the lists are the caller's to fill in.
  const Block& prelude() const { return prelude_.block(); }
  std::uint32_t listObject(List list) const { return firstList_ + list; }
  std::uint32_t rootObject() const { return rootObject_; }
  // The start of the `$objects` list; each block adds its share.
  const std::vector<std::uint32_t>& sharedObjects() const { return sharedObjects_; }

  std::uint32_t objectsPerBlock() const { return objectsPerBlock_; }
  // How many objects at a block's start `$objects` lists: record, key, strings.
  std::uint32_t archivedPerBlock() const { return 2 + stringCount_; }
  std::uint32_t blockObject(std::uint32_t slot, std::uint32_t index) const {
    return static_cast<std::uint32_t>(prelude().offsets.size()) + slot * objectsPerBlock_ + index;
  }
  // The objects that hold the UIDs of a block's record and key.
  std::uint32_t recordUID(std::uint32_t slot) const { return blockObject(slot, firstUID()); }
  std::uint32_t keyUID(std::uint32_t slot) const { return blockObject(slot, firstUID() + 1); }

  // The name of the first field that no value fits, empty for a value beyond the
  // fields; absent if all fit.
  std::optional<std::string_view> misfit(std::span<const FieldValue> values) const;

  // Encodes a record whose values fit.
  void encode(Block& block, std::uint32_t slot, std::string_view key,
              std::span<const FieldValue> values) const;
  // Stands for every object of a block that belongs to no record.
  std::uint32_t nullObject() const { return sharedObjects_.front(); }

 private:
  std::uint32_t firstUID() const { return archivedPerBlock(); }
  std::uint32_t firstNumber() const { return 2 * archivedPerBlock(); }

  void buildPrelude(std::string_view recordClass);
  void appendDictionary(Block& block, std::uint32_t slot, std::span<const FieldValue> values) const;
  void appendStrings(Block& block, std::span<const FieldValue> values) const;
  void appendUIDs(Block& block, std::uint32_t slot, std::span<const FieldValue> values) const;
  void appendNumbers(Block& block, std::span<const FieldValue> values) const;

  const std::vector<Field> fields_;
  std::uint32_t stringCount_ = 0;
  std::uint32_t objectsPerBlock_ = 0;

  ArchiveObjects prelude_;
  std::vector<std::uint32_t> sharedObjects_;
  std::uint32_t firstList_ = 0;
  std::uint32_t rootObject_ = 0;
  std::uint32_t classUID_ = 0;
  std::uint32_t falseObject_ = 0;
  std::uint32_t trueObject_ = 0;
  // The start of every record: its header and the references of its keys.
  std::string recordStart_;
};

}  // namespace quillfold
