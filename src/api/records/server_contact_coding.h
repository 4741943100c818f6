// The forms of a typed contact record, from the description of its fields, and
// the lines that recur in such descriptions. For the sources that instantiate them.
#pragma once

#include "api/records/server_contact_record.h"
#include "foundation/archive/field_coding.h"
#include "foundation/record_description.h"

namespace quillfold {

// A text: read untested, left out of the JSON form where it is absent.
template <auto member, typename Read = reading::Copy>
constexpr auto textField(const char* key, const char* codingKey) {
  return field<member, Read, writing::Omit, coding::String>(key, codingKey);
}

template <auto member, typename Read = reading::Boolean>
constexpr auto flagField(const char* key, const char* codingKey) {
  return field<member, Read, writing::Always, coding::Boolean>(key, codingKey);
}

// A list of records of the class T.
template <auto member, typename T>
constexpr auto listField(const char* key, const char* codingKey) {
  return field<member, reading::List<&T::fromDictionary>, writing::Omit, coding::Records<T>>(
      key, codingKey);
}

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
