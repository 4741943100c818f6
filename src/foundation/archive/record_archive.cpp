#include "foundation/archive/record_archive.h"

#include <algorithm>
#include <utility>

namespace quillfold {

namespace {

using plist::kArchiveWidth;

// As much may be left lying about in any case.
constexpr std::uint64_t kSmallWaste = 16 * 1024;

ErrorPtr writeError(std::string text) {
  return plist::errorWithCode(plist::NSPropertyListWriteStreamError, std::move(text));
}

std::array<ReferenceList, RecordLayout::kListCount> emptyLists(const RecordLayout& layout) {
  return {ReferenceList(layout.listObject(RecordLayout::kKeys)),
          ReferenceList(layout.listObject(RecordLayout::kValues)),
          ReferenceList(layout.listObject(RecordLayout::kObjects))};
}

}  // namespace

RecordArchive::RecordArchive(std::string_view recordClass, std::vector<Field> fields,
                             std::uint64_t maximumSize)
    : layout_(recordClass, std::move(fields)),
      maximumSize_(std::min(maximumSize, kMaximumSize)),
      vacancy_(layout_.objectsPerBlock()),
      image_(layout_.prelude(), layout_.rootObject()),
      lists_(emptyLists(layout_)) {
  beginImage();
}

// An image without records in the place of the one that is there.
void RecordArchive::beginImage() {
  image_ = ArchiveImage(layout_.prelude(), layout_.rootObject());
  lists_ = emptyLists(layout_);
  for (ReferenceList& list : lists_)
    list.append(image_, {});
  lists_[RecordLayout::kObjects].append(image_, layout_.sharedObjects());
}

void RecordArchive::clear() {
  slots_.clear();
  vacantSlots_.clear();
  blockBytes_ = 0;
  index_.clear();
  order_.clear();
  beginImage();
}

std::uint64_t RecordArchive::byteCount() const {
  std::uint64_t size = layout_.prelude().bytes.size() + blockBytes_ +
                       std::uint64_t{image_.objectCount()} * kArchiveWidth + plist::kTrailerSize;
  for (const ReferenceList& list : lists_)
    size += list.usedSize();
  return size;
}

ErrorPtr RecordArchive::set(std::string_view key, std::span<const FieldValue> values) {
  if (const auto field = layout_.misfit(values)) {
    return writeError("The archive can't hold the record: no value fits the field \"" +
                      std::string(*field) + "\".");
  }
  if (isWasteful()) layOutAnew();
  const auto known = index_.find(key);
  const bool replaces = known != index_.end();
  const std::uint32_t slot = replaces               ? known->second.slot
                             : vacantSlots_.empty() ? static_cast<std::uint32_t>(slots_.size())
                                                    : vacantSlots_.back();
  layout_.encode(block_, slot, key, values);
  if (sizeWith(slot, replaces) > maximumSize_) {
    return writeError("The archive would be larger than " + std::to_string(maximumSize_) +
                      " bytes.");
  }
  if (slot == slots_.size()) addSlot();
  putBlock(slot);
  if (!replaces) addEntry(key, slot);
  return nullptr;
}

// The size of the archive with the encoded block in a slot.
std::uint64_t RecordArchive::sizeWith(std::uint32_t slot, bool replaces) const {
  std::uint64_t size = byteCount() + block_.bytes.size();
  if (slot < slots_.size()) {
    size -= slots_[slot].size;
  } else {
    size += (layout_.objectsPerBlock() + layout_.archivedPerBlock()) * std::uint64_t{kArchiveWidth};
  }
  return replaces ? size : size + 2 * kArchiveWidth;
}

void RecordArchive::addSlot() {
  const auto slot = static_cast<std::uint32_t>(slots_.size());
  slots_.emplace_back();
  image_.addObjects(layout_.objectsPerBlock());
  vacate(slot);
  std::vector<std::uint32_t> archived;
  for (std::uint32_t i = 0; i < layout_.archivedPerBlock(); ++i)
    archived.push_back(layout_.blockObject(slot, i));
  lists_[RecordLayout::kObjects].append(image_, archived);
}

void RecordArchive::putBlock(std::uint32_t number) {
  Slot& slot = slots_[number];
  const auto size = static_cast<std::uint32_t>(block_.bytes.size());
  if (size > slot.room) {
    const std::uint32_t start = image_.allocate(size);
    image_.clear(slot.start, slot.size);
    slot.start = start;
    slot.room = size;
  } else if (size < slot.size) {
    image_.clear(slot.start + size, slot.size - size);
  }
  image_.store(slot.start, block_.bytes);
  image_.setOffsets(layout_.blockObject(number, 0), block_.offsets, slot.start);
  blockBytes_ += size;
  blockBytes_ -= slot.size;
  slot.size = size;
}

void RecordArchive::vacate(std::uint32_t number) {
  Slot& slot = slots_[number];
  image_.clear(slot.start, slot.size);
  image_.setOffsets(layout_.blockObject(number, 0), vacancy_,
                    image_.offsetOf(layout_.nullObject()));
  blockBytes_ -= slot.size;
  slot = {};
}

void RecordArchive::addEntry(std::string_view key, std::uint32_t slot) {
  if (!vacantSlots_.empty()) vacantSlots_.pop_back();
  const auto position = static_cast<std::uint32_t>(order_.size());
  const auto added = index_.emplace(key, Location{slot, position}).first;
  order_.push_back(&*added);
  lists_[RecordLayout::kKeys].append(image_, std::array{layout_.keyUID(slot)});
  lists_[RecordLayout::kValues].append(image_, std::array{layout_.recordUID(slot)});
}

void RecordArchive::remove(std::string_view key) {
  const auto known = index_.find(key);
  if (known == index_.end()) return;
  const auto [slot, position] = known->second;
  vacate(slot);
  vacantSlots_.push_back(slot);

  // The last entry of the root's lists takes the place of the removed one.
  Index::value_type* const last = order_.back();
  last->second.position = position;
  order_[position] = last;
  order_.pop_back();
  ReferenceList& keys = lists_[RecordLayout::kKeys];
  ReferenceList& values = lists_[RecordLayout::kValues];
  keys.set(image_, position, layout_.keyUID(last->second.slot));
  values.set(image_, position, layout_.recordUID(last->second.slot));
  keys.removeLast(image_);
  values.removeLast(image_);
  index_.erase(known);
}

const RevisedBytes& RecordArchive::contents() {
  if (isWasteful()) layOutAnew();
  return image_.sealed();
}

// Whether more than half of the objects' area is room that blocks and lists have left.
bool RecordArchive::isWasteful() const {
  std::uint64_t used = layout_.prelude().bytes.size() + blockBytes_;
  for (const ReferenceList& list : lists_)
    used += list.size();
  const std::uint64_t left = image_.areaSize() - used;
  return left > kSmallWaste && left > used;
}

void RecordArchive::layOutAnew() {
  const ArchiveImage old = std::move(image_);
  beginImage();
  const std::vector<Slot> slots = std::exchange(slots_, {});
  blockBytes_ = 0;
  for (const Slot& slot : slots) {
    addSlot();
    if (slot.size == 0) continue;
    const auto number = static_cast<std::uint32_t>(slots_.size() - 1);
    block_.bytes = old.bytesAt(slot.start, slot.size);
    block_.offsets.clear();
    for (std::uint32_t i = 0; i < layout_.objectsPerBlock(); ++i)
      block_.offsets.push_back(old.offsetOf(layout_.blockObject(number, i)) - slot.start);
    putBlock(number);
  }
  for (const Index::value_type* entry : order_) {
    const std::uint32_t slot = entry->second.slot;
    lists_[RecordLayout::kKeys].append(image_, std::array{layout_.keyUID(slot)});
    lists_[RecordLayout::kValues].append(image_, std::array{layout_.recordUID(slot)});
  }
}

ErrorPtr RecordArchive::damageOf(std::string_view bytes) {
  if (!ArchiveImage::isTorn(bytes)) return nullptr;
  return plist::errorWithCode(plist::NSCoderReadCorruptError,
                              "The archive is not as it was written.");
}

}  // namespace quillfold
