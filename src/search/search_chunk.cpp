#include "search/search_chunk.h"

#include "foundation/text.h"

namespace quillfold {

SearchEntry SearchEntry::of(QFContactSyncInfoPtr record, std::uint32_t keyHash) {
  SearchEntry entry;
  if (const OptionalString name = record->displayNameForSort())
    entry.sortKey = text::sortKey(*name);
  entry.contactId = record->contactId();
  entry.keyHash = keyHash;
  entry.record = std::move(record);
  return entry;
}

void SearchChunk::add(const SearchEntry& entry) {
  records_.push_back(entry.record);
  keyHashes_.push_back(entry.keyHash);
  match_.add(entry.record->matchString());
  // A decomposed name folds to what the name does.
  name_.add(entry.sortKey);
  sortKeys_ += entry.sortKey.value_or("");
  sortKeys_ += kEndOfText;
}

void SearchChunk::add(const SearchChunk& other, std::size_t row, std::string_view key) {
  records_.push_back(other.records_[row]);
  keyHashes_.push_back(other.keyHashes_[row]);
  match_.add(other.match_, row);
  name_.add(other.name_, row);
  sortKeys_ += key;
  sortKeys_ += kEndOfText;
}

void SearchChunk::shrinkToFit() {
  records_.shrink_to_fit();
  keyHashes_.shrink_to_fit();
  match_.shrinkToFit();
  name_.shrinkToFit();
  sortKeys_.shrink_to_fit();
}

bool SearchChunk::isBefore(const SearchEntry& entry, std::size_t row, std::string_view key) const {
  const bool absent = name_.isAbsent(row);
  if (!entry.sortKey != absent) return absent ? false : true;
  if (!absent && *entry.sortKey != key) return *entry.sortKey < key;
  return entry.contactId < records_[row]->contactId();
}

bool SearchChunk::isBeforeFirst(const SearchEntry& entry) const {
  return isBefore(entry, 0, Keys(*this).next());
}

std::string_view SearchChunk::Keys::next() {
  const std::size_t end = rest_.find(kEndOfText);
  const std::string_view key = rest_.substr(0, end);
  rest_.remove_prefix(end + 1);
  return key;
}

std::size_t SearchChunk::memory() const {
  return sizeof *this + records_.capacity() * sizeof(QFContactSyncInfoPtr) +
         keyHashes_.capacity() * sizeof(std::uint32_t) + match_.memory() + name_.memory() +
         sortKeys_.capacity();
}

void SearchChunkWriter::close() {
  if (!open_) return;
  open_->shrinkToFit();
  chunks_.push_back(std::move(open_));
  open_.reset();
}

}  // namespace quillfold
