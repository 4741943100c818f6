// Descriptions of records that are read from JSON objects and written to them, and
// that may be archived: a table with one line for each field, which has the field,
// the rule by which it is read, the rule by which it is written, and its key, and
// for an archived record the rule by which it is coded and its coding key.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "foundation/date.h"
#include "foundation/json_field.h"
#include "foundation/value.h"

namespace quillfold {

class KeyedDecoder;
class KeyedObjectEncoder;

// One line of a table. A key is of one field only, and reading never fails.
template <typename Record>
struct FieldDescription {
  const char* key;
  // Sets the field from the entry under the key; null stands for a missing key.
  void (*read)(const Value* entry, Record& record);
  // The entry; absent where there is none to write.
  std::optional<Value> (*write)(const Record& record);
  // The key in an archive; null, as are the operations, where there is none.
  const char* codingKey = nullptr;
  void (*encode)(const Record& record, KeyedObjectEncoder& coder, const char* codingKey) = nullptr;
  void (*decode)(KeyedDecoder& coder, const char* codingKey, Record& record) = nullptr;
};

template <typename Record>
using RecordDescription = std::span<const FieldDescription<Record>>;

template <typename Record>
void readRecord(RecordDescription<Record> fields, const Dictionary& dictionary,
                std::type_identity_t<Record>& record) {
  for (const auto& field : fields)
    field.read(find(dictionary, field.key), record);
}

template <typename Record>
Dictionary writeRecord(RecordDescription<Record> fields,
                       const std::type_identity_t<Record>& record) {
  Dictionary out;
  for (const auto& field : fields)
    setIfPresent(out, field.key, field.write(record));
  return out;
}

// A record that is encoded has coding keys in all lines.
template <typename Record>
void encodeRecord(RecordDescription<Record> fields, const std::type_identity_t<Record>& record,
                  KeyedObjectEncoder& coder) {
  for (const auto& field : fields)
    field.encode(record, coder, field.codingKey);
}

template <typename Record>
void decodeRecord(RecordDescription<Record> fields, KeyedDecoder& coder,
                  std::type_identity_t<Record>& record) {
  for (const auto& field : fields)
    field.decode(coder, field.codingKey, record);
}

// The value that stands for a field's content in JSON.
template <typename T>
Value wireValue(const T& content) {
  return Value(content);
}
template <typename Record>
Value wireValue(const std::shared_ptr<Record>& record) {
  return record->toDictionary();
}
template <typename Record>
Value wireValue(const std::vector<std::shared_ptr<Record>>& list) {
  Array out;
  for (const auto& record : list) {
    if (record) out.push_back(wireValue(record));
  }
  return out;
}

// The entry of a field that may be absent.
inline std::optional<Value> wireEntry(const JSONField& field) {
  return field.value();
}
template <typename T>
std::optional<Value> wireEntry(const T& field) {
  return field ? std::optional(wireValue(*field)) : std::nullopt;
}
template <typename Record>
std::optional<Value> wireEntry(const std::shared_ptr<Record>& record) {
  return record ? std::optional(wireValue(record)) : std::nullopt;
}

// A reading rule is a type with `read(entry, field)`; records add rules of their
// own beside these. What a rule makes of a missing entry is the field's default.
namespace reading {

struct None {
  template <typename T>
  static void read(const Value*, T&) {}
};

// Whatever stands there, without a test of its type.
struct Copy {
  static void read(const Value* entry, JSONField& field) { field = JSONField(entry); }
};

// The same, with the empty string for a missing key.
struct CopyOrEmpty {
  static void read(const Value* entry, JSONField& field) {
    field = entry != nullptr ? JSONField(*entry) : JSONField("");
  }
};

struct Boolean {
  static void read(const Value* entry, bool& field) {
    field = entry != nullptr && entry->boolValue();
  }
};

struct Integer {
  static void read(const Value* entry, std::int64_t& field) {
    field = entry != nullptr ? entry->integerValue() : 0;
  }
};

// 0 for anything but a number.
struct IntegerOfNumber {
  static void read(const Value* entry, std::int64_t& field) {
    Integer::read(entry != nullptr && entry->isNumber() ? entry : nullptr, field);
  }
};

// An empty array or dictionary for anything of another type.
struct Container {
  static void read(const Value* entry, std::optional<Array>& field) {
    const Array* array = entry != nullptr ? entry->asArray() : nullptr;
    field = array != nullptr ? *array : Array();
  }
  static void read(const Value* entry, std::optional<Dictionary>& field) {
    const Dictionary* dictionary = entry != nullptr ? entry->asDictionary() : nullptr;
    field = dictionary != nullptr ? *dictionary : Dictionary();
  }
};

// The date that a string names.
struct DateFromText {
  static void read(const Value* entry, std::optional<NSDate>& field) {
    const std::string* text = entry != nullptr ? entry->asString() : nullptr;
    field = text != nullptr ? NSDate::dateFromISOString(*text) : std::nullopt;
  }
};

// A date as it is, or the one that a string names.
struct Date {
  static void read(const Value* entry, std::optional<NSDate>& field) {
    DateFromText::read(entry, field);
    if (entry != nullptr && entry->isDate()) field = *entry->asDate();
  }
};

// A record for an object, none for anything else.
template <typename Record>
struct Nested {
  static void read(const Value* entry, std::shared_ptr<Record>& field) {
    const Dictionary* object = entry != nullptr ? entry->asDictionary() : nullptr;
    field = object != nullptr ? Record::initWithDictionary(*object) : nullptr;
  }
};

// A record for each object of an array; elements of another type are dropped, and
// anything but an array gives an empty list.
template <auto recordFromDictionary>
struct List {
  template <typename Record>
  static void read(const Value* entry, std::vector<std::shared_ptr<Record>>& field) {
    field.clear();
    const Array* array = entry != nullptr ? entry->asArray() : nullptr;
    if (array == nullptr) return;
    for (const Value& element : *array) {
      if (const auto* object = element.asDictionary()) {
        field.push_back(recordFromDictionary(*object));
      }
    }
  }
  template <typename Record>
  static void read(const Value* entry, std::optional<std::vector<std::shared_ptr<Record>>>& field) {
    read(entry, field.emplace());
  }
};

// Leaves the field as it is where the key is missing.
template <typename Rule>
struct IfThere {
  template <typename T>
  static void read(const Value* entry, T& field) {
    if (entry != nullptr) Rule::read(entry, field);
  }
};

}  // namespace reading

// A writing rule is a type with `write(field)`. Lists and nested records are
// written by their own toDictionary.
namespace writing {

struct None {
  template <typename T>
  static std::optional<Value> write(const T&) {
    return std::nullopt;
  }
};

// No key for an absent field.
struct Omit {
  template <typename T>
  static std::optional<Value> write(const T& field) {
    return wireEntry(field);
  }
};

// JSON null for an absent field.
struct Null {
  template <typename T>
  static std::optional<Value> write(const T& field) {
    return valueOrNull(wireEntry(field));
  }
};

// A field that can't be absent.
struct Always {
  template <typename T>
  static std::optional<Value> write(const T& field) {
    return wireValue(field);
  }
};

struct ISODate {
  static std::optional<Value> write(const std::optional<NSDate>& field) {
    return field ? std::optional<Value>(toISOString(*field)) : std::nullopt;
  }
};

// Seconds since 1970, as a number.
struct EpochDate {
  static std::optional<Value> write(const std::optional<NSDate>& field) {
    return field ? std::optional<Value>(field->timeIntervalSince1970()) : std::nullopt;
  }
};

}  // namespace writing

template <typename Member>
struct MemberOwner;
template <typename T, typename Record>
struct MemberOwner<T Record::*> {
  using type = Record;
};

// A coding rule is a type with `encode(field, coder, key)` and `decode(coder, key,
// field)`, which tells whether it found something; otherwise the field gets the
// default of its reading rule. The rules are in foundation/archive/field_coding.h.
namespace coding {

struct None;

}  // namespace coding

// A line of a table: field<&Record::member_, reading::Copy, writing::Omit>("key").
template <auto member, typename Read, typename Write, typename Coding = coding::None>
constexpr auto field(const char* key, const char* codingKey = nullptr) {
  using Record = typename MemberOwner<decltype(member)>::type;
  FieldDescription<Record> line{
      key, [](const Value* entry, Record& record) { Read::read(entry, record.*member); },
      [](const Record& record) -> std::optional<Value> { return Write::write(record.*member); }};
  if constexpr (!std::is_same_v<Coding, coding::None>) {
    line.codingKey = codingKey;
    line.encode = [](const Record& record, KeyedObjectEncoder& coder, const char* name) {
      Coding::encode(record.*member, coder, name);
    };
    line.decode = [](KeyedDecoder& coder, const char* name, Record& record) {
      if (!Coding::decode(coder, name, record.*member)) Read::read(nullptr, record.*member);
    };
  }
  return line;
}

}  // namespace quillfold
