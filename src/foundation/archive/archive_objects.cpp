#include "foundation/archive/archive_objects.h"

#include <array>

#include "foundation/archive/keyed_archive_names.h"
#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

void appendReferences(std::string& out, std::span<const std::uint32_t> objects) {
  for (const std::uint32_t object : objects)
    plist::appendNumber(out, object, plist::kArchiveWidth);
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

ArchiveObjects::ArchiveObjects(std::size_t room) {
  block_.bytes = plist::kMagic;
  block_.bytes.append(room, '\0');
}

std::uint32_t ArchiveObjects::addBool(bool value) {
  const std::uint32_t object = block_.begin();
  plist::appendBool(block_.bytes, value);
  return object;
}

std::uint32_t ArchiveObjects::addInteger(std::int64_t value) {
  const std::uint32_t object = block_.begin();
  plist::appendInteger(block_.bytes, value);
  return object;
}

std::uint32_t ArchiveObjects::addReal(double value) {
  const std::uint32_t object = block_.begin();
  plist::appendReal(block_.bytes, value);
  return object;
}

std::uint32_t ArchiveObjects::addText(std::string_view text) {
  const std::uint32_t object = block_.begin();
  plist::appendString(block_.bytes, text);
  return object;
}

std::uint32_t ArchiveObjects::addData(std::string_view bytes) {
  const std::uint32_t object = block_.begin();
  plist::appendData(block_.bytes, bytes);
  return object;
}

std::uint32_t ArchiveObjects::addUID(std::uint32_t uid) {
  const std::uint32_t object = block_.begin();
  plist::appendUID(block_.bytes, uid, plist::kArchiveWidth);
  return object;
}

std::uint32_t ArchiveObjects::addArray(std::span<const std::uint32_t> elements) {
  const std::uint32_t object = block_.begin();
  plist::appendHeader(block_.bytes, plist::Marker::array, elements.size());
  appendReferences(block_.bytes, elements);
  return object;
}

std::uint32_t ArchiveObjects::addDictionary(std::span<const std::uint32_t> keys,
                                            std::span<const std::uint32_t> values) {
  const std::uint32_t object = block_.begin();
  plist::appendHeader(block_.bytes, plist::Marker::dictionary, keys.size());
  appendReferences(block_.bytes, keys);
  appendReferences(block_.bytes, values);
  return object;
}

std::uint32_t ArchiveObjects::addClass(std::span<const std::string_view> chain) {
  std::vector<std::uint32_t> names;
  for (const auto name : chain)
    names.push_back(addText(name));
  const std::uint32_t classes = addArray(names);
  const std::array keys = {addText(keyed_archive::kClassNameKey),
                           addText(keyed_archive::kClassesKey)};
  return addDictionary(keys, std::array{names.front(), classes});
}

std::uint32_t ArchiveObjects::addTop(std::uint32_t rootUID, std::uint32_t objects) {
  using namespace keyed_archive;
  const std::array rootKey = {addText(kRootKey)};
  const std::uint32_t top = addDictionary(rootKey, std::array{addUID(rootUID)});
  const std::array keys = {addText(kVersionKey), addText(kArchiverKey), addText(kTopKey),
                           addText(kObjectsKey)};
  const std::array values = {addInteger(kVersion), addText(kArchiver), top, objects};
  return addDictionary(keys, values);
}

}  // namespace quillfold
