// Bytes from a disk, read as an archive of records, as one record and as a value.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/archive/binary_plist.h"
#include "platform/archive/keyed_archive.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  ErrorPtr error;
  const auto root = KeyedUnarchiver::readRecordDictionary(
      bytes, "QFContactSyncInfo", [](const std::string&, KeyedDecoder& record) { decode(record); },
      &error);
  require(root.has_value() == !error);
  KeyedUnarchiver::readRecord(bytes, "QFContactSyncInfo", decode);

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
