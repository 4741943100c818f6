// The forms of a typed contact record, from the description of its fields. For
// the sources that instantiate them.
#pragma once

#include "api/records/server_contact_record.h"
#include "foundation/archive/field_coding.h"
#include "foundation/record_description.h"

namespace quillfold {

template <typename Record>
Dictionary QFServerRecord<Record>::toDictionary() const {
  return writeRecord(Record::wireFields(), static_cast<const Record&>(*this));
}

template <typename Record>
void QFServerRecord<Record>::encodeWithCoder(KeyedObjectEncoder& coder) const {
  encodeRecord(Record::wireFields(), static_cast<const Record&>(*this), coder);
}

template <typename Record>
std::shared_ptr<Record> QFServerRecord<Record>::initWithCoder(KeyedDecoder& coder) {
  std::shared_ptr<Record> record(new Record);
  decodeRecord(Record::wireFields(), coder, *record);
  return record;
}

template <typename Record>
std::shared_ptr<Record> QFServerRecord<Record>::fromDictionary(const Dictionary& dictionary) {
  std::shared_ptr<Record> record(new Record);
  readRecord(Record::wireFields(), dictionary, *record);
  return record;
}

}  // namespace quillfold
