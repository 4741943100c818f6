#include "foundation/archive/binary_plist.h"

#include <unordered_map>

#include "foundation/archive/plist_encoding.h"
#include "foundation/archive/plist_parser.h"

namespace quillfold {

namespace {

std::nullopt_t failure(ErrorPtr* error, plist::ErrorCode code, std::string text) {
  if (error != nullptr) *error = plist::errorWithCode(code, std::move(text));
  return std::nullopt;
}

class ValueReader {
 public:
  explicit ValueReader(std::string_view bytes) : parser_(bytes) {}

  Value read() { return valueOf(parser_.rootObject(), 1); }

 private:
  Value valueOf(std::uint64_t number, std::size_t depth) {
    const plist::Object object = parser_.objectAt(number);
    switch (object.kind) {
      case plist::Kind::boolean:
        return object.integer != 0;
      case plist::Kind::integer:
        return object.integer;
      case plist::Kind::real:
        return object.real;
      case plist::Kind::date:
        return NSDate::dateWithTimeIntervalSince1970(object.real);
      case plist::Kind::data:
        parser_.spend(object.bytes.size());
        return Data(std::string(object.bytes));
      case plist::Kind::string:
        return parser_.text(object);
      case plist::Kind::array:
      case plist::Kind::dictionary:
        if (depth > plist::kMaximumDepth) {
          throw plist::Malformed("it is nested too deeply");
        }
        if (object.kind == plist::Kind::array) return arrayOf(object, depth);
        return dictionaryOf(object, depth);
      case plist::Kind::uid:
        break;
    }
    throw plist::Malformed("it holds a UID, which is no value");
  }

  Array arrayOf(const plist::Object& object, std::size_t depth) {
    Array array;
    for (std::uint64_t i = 0; i < object.count; ++i) {
      array.push_back(valueOf(parser_.reference(object, i), depth + 1));
    }
    return array;
  }

  Dictionary dictionaryOf(const plist::Object& object, std::size_t depth) {
    Dictionary dictionary;
    for (std::uint64_t i = 0; i < object.count; ++i) {
      const plist::Object key = parser_.element(object, i);
      if (key.kind != plist::Kind::string) throw plist::Malformed("a key is no string");
      dictionary.insert_or_assign(parser_.text(key),
                                  valueOf(parser_.reference(object, object.count + i), depth + 1));
    }
    return dictionary;
  }

  plist::Parser parser_;
};

struct Unwritable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Numbers the objects first, since the width of the references depends on how
// many there are, and encodes them in that order.
class ValueWriter {
 public:
  explicit ValueWriter(const Value& root) { number(root, 1); }

  std::string write() {
    std::string out(plist::kMagic);
    std::vector<std::uint64_t> offsets;
    offsets.reserve(objects_.size());
    referenceWidth_ = plist::widthFor(objects_.size());
    for (const Entry& entry : objects_) {
      offsets.push_back(out.size());
      append(out, entry);
    }
    const std::uint64_t table = out.size();
    const unsigned offsetWidth = plist::widthFor(table);
    for (const auto offset : offsets)
      plist::appendNumber(out, offset, offsetWidth);
    plist::appendTrailer(out, {.offsetWidth = offsetWidth,
                               .referenceWidth = referenceWidth_,
                               .objectCount = objects_.size(),
                               .offsetTable = table});
    return out;
  }

 private:
  struct Entry {
    // Absent for a string, which may be a key.
    const Value* value = nullptr;
    std::string_view text = {};
    std::vector<std::uint64_t> references = {};
  };

  std::uint64_t number(const Value& value, std::size_t depth) {
    if (value.isNull()) throw Unwritable("null is no property list value");
    if (const auto* text = value.asString()) return number(*text);
    const std::size_t self = objects_.size();
    objects_.push_back({.value = &value});
    const auto* array = value.asArray();
    const auto* dictionary = value.asDictionary();
    if (array == nullptr && dictionary == nullptr) return self;
    if (depth > plist::kMaximumDepth) {
      throw Unwritable("the value is nested too deeply");
    }
    std::vector<std::uint64_t> references;
    if (array != nullptr) {
      for (const Value& element : *array)
        references.push_back(number(element, depth + 1));
    } else {
      for (const auto& [key, entry] : *dictionary)
        references.push_back(number(key));
      for (const auto& [key, entry] : *dictionary)
        references.push_back(number(entry, depth + 1));
    }
    objects_[self].references = std::move(references);
    return self;
  }

  // Equal strings are one object: the keys of like dictionaries recur.
  std::uint64_t number(std::string_view text) {
    const auto [known, added] = strings_.try_emplace(text, objects_.size());
    if (added) objects_.push_back({.text = text});
    return known->second;
  }

  void append(std::string& out, const Entry& entry) const {
    if (entry.value == nullptr) return plist::appendString(out, entry.text);
    const Value& value = *entry.value;
    if (const auto* v = value.asBool()) return plist::appendBool(out, *v);
    if (const auto* v = value.asInteger()) return plist::appendInteger(out, *v);
    if (const auto* v = value.asDouble()) return plist::appendReal(out, *v);
    if (const auto* v = value.asDate()) return plist::appendDate(out, v->timeIntervalSince1970());
    if (const auto* v = value.asData()) return plist::appendData(out, v->bytes());
    if (value.isArray()) {
      plist::appendHeader(out, plist::Marker::array, entry.references.size());
    } else {
      plist::appendHeader(out, plist::Marker::dictionary, entry.references.size() / 2);
    }
    for (const auto reference : entry.references) {
      plist::appendNumber(out, reference, referenceWidth_);
    }
  }

  std::vector<Entry> objects_;
  std::unordered_map<std::string_view, std::uint64_t> strings_;
  unsigned referenceWidth_ = 1;
};

}  // namespace

std::optional<Value> NSPropertyListSerialization::propertyListWithData(std::string_view bytes,
                                                                       ErrorPtr* error) {
  try {
    return ValueReader(bytes).read();
  } catch (const plist::Malformed& problem) {
    return failure(error, plist::NSPropertyListReadCorruptError,
                   std::string("The property list can't be read: ") + problem.what() + ".");
  }
}

std::optional<std::string> NSPropertyListSerialization::dataWithPropertyList(const Value& value,
                                                                             ErrorPtr* error) {
  try {
    return ValueWriter(value).write();
  } catch (const Unwritable& problem) {
    return failure(error, plist::NSPropertyListWriteStreamError,
                   std::string("The property list can't be written: ") + problem.what() + ".");
  }
}

}  // namespace quillfold
