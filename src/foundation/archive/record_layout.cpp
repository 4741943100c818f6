#include "foundation/archive/record_layout.h"

#include <algorithm>

#include "foundation/archive/archive_image.h"
#include "foundation/archive/keyed_archive_names.h"
#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

// The `$objects` indexes of what all archives share.
constexpr std::uint32_t kRootUID = 1;
constexpr std::uint32_t kDictionaryClassUID = 2;
constexpr std::uint32_t kRecordClassUID = 3;

bool fits(RecordLayout::FieldType type, const RecordLayout::FieldValue& value) {
  switch (type) {
    case RecordLayout::FieldType::string:
      return std::holds_alternative<std::monostate>(value) ||
             std::holds_alternative<std::string_view>(value);
    case RecordLayout::FieldType::boolean:
      return std::holds_alternative<bool>(value);
    case RecordLayout::FieldType::integer:
      return std::holds_alternative<std::int64_t>(value);
    case RecordLayout::FieldType::real:
      return std::holds_alternative<double>(value);
  }
  return false;
}

void appendReference(std::string& out, std::uint32_t object) {
  plist::appendNumber(out, object, plist::kArchiveWidth);
}

}  // namespace

RecordLayout::RecordLayout(std::string_view recordClass, std::vector<Field> fields)
    : fields_(std::move(fields)), prelude_(ArchiveImage::kSealSize) {
  std::uint32_t numbers = 0;
  for (const Field& field : fields_) {
    if (field.type == FieldType::string) ++stringCount_;
    if (field.type == FieldType::integer || field.type == FieldType::real) ++numbers;
  }
  objectsPerBlock_ = firstNumber() + numbers;
  buildPrelude(recordClass);
}

void RecordLayout::buildPrelude(std::string_view recordClass) {
  using namespace keyed_archive;
  firstList_ = prelude_.addPlaceholder();
  while (prelude().offsets.size() < kListCount)
    prelude_.addPlaceholder();

  falseObject_ = prelude_.addBool(false);
  trueObject_ = prelude_.addBool(true);
  sharedObjects_.push_back(prelude_.addText(kNull));
  const std::uint32_t classKey = prelude_.addText(kClassKey);
  const std::array dictionaryKeys = {prelude_.addText(kDictionaryKeysKey),
                                     prelude_.addText(kObjectsOfContainerKey), classKey};
  const std::array dictionaryValues = {listObject(kKeys), listObject(kValues),
                                       prelude_.addUID(kDictionaryClassUID)};
  sharedObjects_.push_back(prelude_.addDictionary(dictionaryKeys, dictionaryValues));
  sharedObjects_.push_back(prelude_.addClass(std::array{kMutableDictionary, kDictionary, kObject}));
  sharedObjects_.push_back(prelude_.addClass(std::array{recordClass, kObject}));

  classUID_ = prelude_.addUID(kRecordClassUID);
  plist::appendHeader(recordStart_, plist::Marker::dictionary, fields_.size() + 1);
  for (const Field& field : fields_)
    appendReference(recordStart_, prelude_.addText(field.name));
  appendReference(recordStart_, classKey);
  rootObject_ = prelude_.addTop(kRootUID, listObject(kObjects));
}

std::optional<std::string_view> RecordLayout::misfit(std::span<const FieldValue> values) const {
  for (std::size_t i = 0; i < std::min(values.size(), fields_.size()); ++i) {
    if (!fits(fields_[i].type, values[i])) return fields_[i].name;
  }
  if (values.size() < fields_.size()) return fields_[values.size()].name;
  if (values.size() > fields_.size()) return "";
  return std::nullopt;
}

void RecordLayout::encode(Block& block, std::uint32_t slot, std::string_view key,
                          std::span<const FieldValue> values) const {
  block.clear();
  block.begin();
  appendDictionary(block, slot, values);
  block.begin();
  plist::appendString(block.bytes, key);
  appendStrings(block, values);
  appendUIDs(block, slot, values);
  appendNumbers(block, values);
}

// An absent string leaves an empty object behind that nothing refers to, so that
// all blocks are alike.
void RecordLayout::appendStrings(Block& block, std::span<const FieldValue> values) const {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (fields_[i].type != FieldType::string) continue;
    const auto* text = std::get_if<std::string_view>(&values[i]);
    block.begin();
    plist::appendString(block.bytes, text != nullptr ? *text : std::string_view());
  }
}

void RecordLayout::appendUIDs(Block& block, std::uint32_t slot,
                              std::span<const FieldValue> values) const {
  std::uint32_t uid = static_cast<std::uint32_t>(sharedObjects_.size()) + slot * archivedPerBlock();
  const auto append = [&](bool present) {
    block.begin();
    plist::appendUID(block.bytes, present ? uid : keyed_archive::kNullUID, plist::kArchiveWidth);
    ++uid;
  };
  append(true);
  append(true);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (fields_[i].type == FieldType::string) {
      append(!std::holds_alternative<std::monostate>(values[i]));
    }
  }
}

void RecordLayout::appendNumbers(Block& block, std::span<const FieldValue> values) const {
  for (const FieldValue& value : values) {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
      block.begin();
      plist::appendInteger(block.bytes, *integer);
    } else if (const auto* real = std::get_if<double>(&value)) {
      block.begin();
      plist::appendReal(block.bytes, *real);
    }
  }
}

void RecordLayout::appendDictionary(Block& block, std::uint32_t slot,
                                    std::span<const FieldValue> values) const {
  block.bytes += recordStart_;
  std::uint32_t string = blockObject(slot, firstUID() + 2);
  std::uint32_t number = blockObject(slot, firstNumber());
  for (const FieldValue& value : values) {
    if (const auto* boolean = std::get_if<bool>(&value)) {
      appendReference(block.bytes, *boolean ? trueObject_ : falseObject_);
    } else if (std::holds_alternative<std::int64_t>(value) ||
               std::holds_alternative<double>(value)) {
      appendReference(block.bytes, number++);
    } else {
      appendReference(block.bytes, string++);
    }
  }
  appendReference(block.bytes, classUID_);
}

}  // namespace quillfold
