// Bytes from a disk, read as the bookkeeping, as one of its records, as typed contacts and as
// a value.
#include "api/records/server_contact.h"
#include "foundation/archive/binary_plist.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archiver.h"
#include "fuzz/subject.h"
#include "sync/sync_info_archive.h"

namespace quillfold::fuzz::keyed_archive {
namespace {

void decode(KeyedDecoder& record) {
  record.decodeStringForKey("contactId");
  record.decodeStringForKey("matchString");
  record.decodeBoolForKey("isDirty");
  record.decodeIntegerForKey("lastSyncedAt");
  record.decodeDoubleForKey("lastSyncedAt");
}

// Whatever was read can be archived, and is the same when it is read again.
template <typename Record>
void archiveAgain(const std::shared_ptr<Record>& record) {
  const auto written = KeyedArchiver::archivedDataWithRootObject(record);
  require(written.has_value());
  const auto again = KeyedUnarchiver::unarchivedObjectOfClass<Record>(*written);
  require(again && KeyedArchiver::archivedDataWithRootObject(again) == written);
}

template <typename Record>
void readRecord(std::string_view bytes) {
  ErrorPtr error;
  const auto record = KeyedUnarchiver::unarchivedObjectOfClass<Record>(bytes, &error);
  require((record != nullptr) == !error);
  if (record) archiveAgain(record);
}

void readBookkeeping(std::string_view bytes) {
  ErrorPtr error;
  const auto root = KeyedUnarchiver::readRecordDictionary(
      bytes, "QFContactSyncInfo", [](const std::string&, KeyedDecoder& record) { decode(record); },
      &error);
  require(root.has_value() == !error);
  const auto entries = SyncInfoArchive::load(bytes, &error);
  require(!entries || root == ArchivedKind::dictionary);
  if (!entries) return;
  for (const auto& [key, record] : *entries)
    archiveAgain(record);
}

void run(std::string_view bytes) {
  readBookkeeping(bytes);
  KeyedUnarchiver::readRecord(bytes, "QFContactSyncInfo", decode);
  readRecord<QFContactSyncInfo>(bytes);
  readRecord<QFServerContact>(bytes);
  readRecord<QFServerContactBulkCreate>(bytes);

  // What was read can be written, and reads as the same. A number that is none
  // differs from itself, so the bytes are compared.
  const auto value = NSPropertyListSerialization::propertyListWithData(bytes);
  if (!value) return;
  const auto written = NSPropertyListSerialization::dataWithPropertyList(*value);
  require(written.has_value());
  const auto again = NSPropertyListSerialization::propertyListWithData(*written);
  require(again && NSPropertyListSerialization::dataWithPropertyList(*again) == written);
}

const Subject subject("keyed_archive", run);

}  // namespace
}  // namespace quillfold::fuzz::keyed_archive
