// Bytes from a disk, read as an archive of records, as one record, as an archive of
// typed contacts and as a value.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "api/records/server_contact.h"
#include "foundation/archive/binary_plist.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archiver.h"

using namespace quillfold;

namespace {

void decode(KeyedDecoder& record) {
  record.decodeStringForKey("contactId");
  record.decodeStringForKey("matchString");
  record.decodeBoolForKey("isDirty");
  record.decodeIntegerForKey("lastSyncedAt");
  record.decodeDoubleForKey("lastSyncedAt");
}

void require(bool condition) {
  if (!condition) std::abort();
}

// Whatever can be read can be archived, and is the same when it is read again.
template <typename Record>
void archiveAgain(std::string_view bytes) {
  ErrorPtr error;
  const auto record = KeyedUnarchiver::unarchivedObjectOfClass<Record>(bytes, &error);
  require((record != nullptr) == !error);
  if (!record) return;
  const auto written = KeyedArchiver::archivedDataWithRootObject(record);
  require(written.has_value());
  const auto again = KeyedUnarchiver::unarchivedObjectOfClass<Record>(*written);
  require(again && again->toDictionary() == record->toDictionary());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  ErrorPtr error;
  const auto root = KeyedUnarchiver::readRecordDictionary(
      bytes, "QFContactSyncInfo", [](const std::string&, KeyedDecoder& record) { decode(record); },
      &error);
  require(root.has_value() == !error);
  KeyedUnarchiver::readRecord(bytes, "QFContactSyncInfo", decode);
  archiveAgain<QFServerContact>(bytes);
  archiveAgain<QFServerContactBulkCreate>(bytes);

  // What was read can be written, and reads as the same. A number that is none
  // differs from itself, so the bytes are compared.
  const auto value = NSPropertyListSerialization::propertyListWithData(bytes);
  if (!value) return 0;
  const auto written = NSPropertyListSerialization::dataWithPropertyList(*value);
  require(written.has_value());
  const auto again = NSPropertyListSerialization::propertyListWithData(*written);
  require(again && NSPropertyListSerialization::dataWithPropertyList(*again) == written);
  return 0;
}
