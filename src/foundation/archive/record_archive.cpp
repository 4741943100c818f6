#include "foundation/archive/record_archive.h"

#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

using plist::kArchiveWidth;

ErrorPtr writeError(std::string text) {
  return plist::errorWithCode(plist::NSPropertyListWriteStreamError, std::move(text));
}

}  // namespace

RecordArchive::RecordArchive(std::string_view recordClass, std::vector<Field> fields,
                             std::uint64_t maximumSize)
    : layout_(recordClass, std::move(fields)),
      maximumSize_(std::min(maximumSize, kMaximumSize)),
      blocks_(layout_.objectsPerBlock()) {
  clear();
}

void RecordArchive::clear() {
  blocks_.clear();
  vacantSlots_.clear();
  index_.clear();
  order_.clear();
  keys_.clear();
  values_.clear();
  objects_.clear();
  for (const std::uint32_t object : layout_.sharedObjects())
    objects_.append(object);
}

std::uint64_t RecordArchive::byteCount() const {
  return layout_.prelude().bytes.size() + blocks_.byteCount() + keys_.byteCount() +
         values_.byteCount() + objects_.byteCount() +
         layout_.prelude().offsets.size() * kArchiveWidth + blocks_.offsetTableSize() +
         plist::kTrailerSize;
}

ErrorPtr RecordArchive::set(std::string_view key, std::span<const FieldValue> values) {
  if (const auto field = layout_.misfit(values)) {
    return writeError("The archive can't hold the record: no value fits the field \"" +
                      std::string(*field) + "\".");
  }
  const auto known = index_.find(key);
  const bool replaces = known != index_.end();
  const std::uint32_t slot = replaces               ? known->second.slot
                             : vacantSlots_.empty() ? blocks_.count()
                                                    : vacantSlots_.back();
  layout_.encode(block_, slot, key, values);
  if (sizeWith(slot, replaces) > maximumSize_) {
    return writeError("The archive would be larger than " + std::to_string(maximumSize_) +
                      " bytes.");
  }
  putBlock(slot);
  if (!replaces) addEntry(key, slot);
  return nullptr;
}

// The size of the archive with the encoded block in a slot.
std::uint64_t RecordArchive::sizeWith(std::uint32_t slot, bool replaces) const {
  std::uint64_t size = byteCount() + block_.bytes.size();
  if (slot < blocks_.count()) {
    size -= blocks_.sizeOf(slot);
  } else {
    size += (layout_.objectsPerBlock() + layout_.archivedPerBlock()) * std::uint64_t{kArchiveWidth};
  }
  return replaces ? size : size + 2 * kArchiveWidth;
}

void RecordArchive::putBlock(std::uint32_t slot) {
  if (slot < blocks_.count()) return blocks_.replace(slot, block_);
  blocks_.append(block_);
  for (std::uint32_t i = 0; i < layout_.archivedPerBlock(); ++i) {
    objects_.append(layout_.blockObject(slot, i));
  }
}

void RecordArchive::addEntry(std::string_view key, std::uint32_t slot) {
  if (!vacantSlots_.empty()) vacantSlots_.pop_back();
  const auto position = static_cast<std::uint32_t>(order_.size());
  const auto added = index_.emplace(key, Location{slot, position}).first;
  order_.push_back(&*added);
  keys_.append(layout_.keyUID(slot));
  values_.append(layout_.recordUID(slot));
}

void RecordArchive::remove(std::string_view key) {
  const auto known = index_.find(key);
  if (known == index_.end()) return;
  const auto [slot, position] = known->second;
  layout_.encodeVacancy(block_);
  blocks_.replace(slot, block_);
  vacantSlots_.push_back(slot);

  // The last entry of the root's lists takes the place of the removed one.
  Index::value_type* const last = order_.back();
  last->second.position = position;
  order_[position] = last;
  keys_.set(position, layout_.keyUID(last->second.slot));
  values_.set(position, layout_.recordUID(last->second.slot));
  order_.pop_back();
  keys_.removeLast();
  values_.removeLast();
  index_.erase(known);
}

std::span<const std::string_view> RecordArchive::pieces() {
  const Block& prelude = layout_.prelude();
  pieces_.assign({prelude.bytes});
  std::uint32_t offset = blocks_.place(static_cast<std::uint32_t>(prelude.bytes.size()), pieces_);

  preludeOffsets_.clear();
  for (const std::uint32_t start : prelude.offsets) {
    plist::appendNumber(preludeOffsets_, start, kArchiveWidth);
  }
  const std::array<const ReferenceList*, RecordLayout::kListCount> lists = {&keys_, &values_,
                                                                            &objects_};
  for (std::size_t i = 0; i < lists.size(); ++i) {
    const auto object = layout_.listObject(static_cast<RecordLayout::List>(i));
    plist::storeNumber(preludeOffsets_.data() + std::size_t{object} * kArchiveWidth, offset,
                       kArchiveWidth);
    pieces_.push_back(lists[i]->bytes());
    offset += static_cast<std::uint32_t>(lists[i]->byteCount());
  }
  pieces_.push_back(preludeOffsets_);
  pieces_.push_back(blocks_.offsetTable());
  trailer_.clear();
  plist::appendTrailer(trailer_, {.offsetWidth = kArchiveWidth,
                                  .referenceWidth = kArchiveWidth,
                                  .objectCount = layout_.blockObject(blocks_.count(), 0),
                                  .rootObject = layout_.rootObject(),
                                  .offsetTable = offset});
  pieces_.push_back(trailer_);
  return pieces_;
}

}  // namespace quillfold
