#include "foundation/archive/keyed_archive.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <vector>

#include "foundation/archive/archive_graph.h"
#include "foundation/archive/keyed_archive_names.h"

namespace quillfold {

namespace {

using namespace keyed_archive;
using plist::Kind;
using plist::Malformed;
using plist::Object;

// The immutable class of a mutable one; every other name as it is.
std::string_view immutableClass(std::string_view name) {
  constexpr std::string_view kMutable = "NSMutable";
  if (!name.starts_with(kMutable)) return name;
  for (const auto known : {kString, kArray, kDictionary, kData}) {
    if (name.substr(kMutable.size()) == known.substr(2)) return known;
  }
  return name;
}

// Makes values and objects of what an archive holds, and refuses every class
// that is not among those allowed.
class SecureReader {
 public:
  explicit SecureReader(std::string_view bytes) : graph_(bytes) {}

  ArchiveGraph& graph() { return graph_; }

  ArchivedKind classify(const std::optional<Object>& object, std::string_view recordClass) {
    if (!object) return ArchivedKind::null;
    const std::array allowed = {kString, kDictionary, recordClass};
    const auto name = requireClass(*object, allowed);
    if (name == kString) return ArchivedKind::string;
    return name == kDictionary ? ArchivedKind::dictionary : ArchivedKind::record;
  }

  // The class of an object, without regard to mutability.
  std::string_view requireClass(const Object& object, ClassSet allowed) {
    const auto name = immutableClass(graph_.className(object));
    if (std::find(allowed.begin(), allowed.end(), name) != allowed.end()) return name;
    throwNotAllowed(name);
  }

  std::optional<std::string> text(const std::optional<Object>& object) {
    if (!object) return std::nullopt;
    requireClass(*object, std::array{kString});
    return parser().text(graph_.content(*object, kStringKey, Kind::string));
  }

  Value value(const std::optional<Object>& object, ClassSet allowed);
  // Null for the UID of an absent object.
  NSSecureCodingPtr object(std::uint64_t uid, const SecureClass& allowed);

  // The first failure of a decoder: its calls come through code that must not see
  // the exception.
  std::optional<std::string> failure;
  void throwFailure() const {
    if (failure) throw Malformed(*failure);
  }

 private:
  [[noreturn]] static void throwNotAllowed(std::string_view className) {
    throw Malformed("an object of class " + quoted(className) + " is not allowed");
  }
  plist::Parser& parser() { return graph_.parser(); }
  Value container(const Object& object, bool isArray, ClassSet allowed);
  Data data(const Object& object);

  template <typename Read>
  auto deeper(const Read& read) {
    if (depth_ == plist::kMaximumDepth) throw Malformed("it is nested too deeply");
    ++depth_;
    auto result = read();
    --depth_;
    return result;
  }

  ArchiveGraph graph_;
  // The objects by their UIDs; null for one whose keys are being read.
  struct Made {
    std::string className;
    NSSecureCodingPtr object;
  };
  std::unordered_map<std::uint64_t, Made> made_;
  std::size_t depth_ = 0;
};

class RecordDecoder : public KeyedDecoder {
 public:
  explicit RecordDecoder(SecureReader& reader) : reader_(reader) {}

  void open(const Object& record) { members_.load(parser(), record); }

  std::optional<std::string> decodeStringForKey(std::string_view key) override {
    return guarded(key, [&] { return reader_.text(referenced(key)); });
  }
  bool decodeBoolForKey(std::string_view key) override { return number(key).boolValue(); }
  std::int64_t decodeIntegerForKey(std::string_view key) override {
    return number(key).integerValue();
  }
  double decodeDoubleForKey(std::string_view key) override { return number(key).doubleValue(); }

  std::optional<Value> decodeValueForKey(std::string_view key, ClassSet allowed) override {
    return guarded(key, [&]() -> std::optional<Value> {
      const auto object = referenced(key);
      if (!object) return std::nullopt;
      return reader_.value(object, allowed);
    });
  }
  NSSecureCodingPtr decodeObjectForKey(std::string_view key, const SecureClass& allowed) override {
    return guarded(key, [&]() -> NSSecureCodingPtr {
      const auto reference = members_.find(parser(), key);
      if (!reference) return nullptr;
      if (reference->kind != Kind::uid) throw Malformed("a value is no object");
      return reader_.object(reference->uid, allowed);
    });
  }
  std::optional<std::vector<NSSecureCodingPtr>> decodeObjectsForKey(
      std::string_view key, const SecureClass& allowed) override {
    return guarded(key, [&] { return objects(referenced(key), allowed); });
  }

 private:
  plist::Parser& parser() { return reader_.graph().parser(); }

  // What stands under a key, directly or by its UID.
  std::optional<Object> referenced(std::string_view key) {
    const auto object = members_.find(parser(), key);
    if (!object || object->kind != Kind::uid) return object;
    return reader_.graph().objectFor(object->uid);
  }

  std::optional<std::vector<NSSecureCodingPtr>> objects(const std::optional<Object>& array,
                                                        const SecureClass& allowed) {
    if (!array) return std::nullopt;
    reader_.requireClass(*array, std::array{kArray});
    const ArchiveMembers members(parser(), *array);
    const Object elements = members.require(parser(), kObjectsOfContainerKey, Kind::array);
    std::vector<NSSecureCodingPtr> out;
    for (std::uint64_t i = 0; i < elements.count; ++i) {
      out.push_back(reader_.object(reader_.graph().uidAt(elements, i), allowed));
      if (!out.back()) throw Malformed("an array has an absent element");
    }
    return out;
  }

  // Null, which reads as false and 0, for what is no number.
  Value number(std::string_view key) {
    return guarded(key, [&]() -> Value {
      const auto object = members_.find(parser(), key);
      if (!object) return nullptr;
      if (object->kind == Kind::boolean) return object->integer != 0;
      if (object->kind == Kind::integer) return object->integer;
      if (object->kind == Kind::real) return object->real;
      if (object->kind == Kind::uid && object->uid != kNullUID)
        throw Malformed("an object is no number");
      return nullptr;
    });
  }

  template <typename Read>
  auto guarded(std::string_view key, const Read& read) -> decltype(read()) {
    try {
      if (!reader_.failure) return read();
    } catch (const Malformed& problem) {
      reader_.failure = "key " + quoted(key) + ": " + problem.what();
    }
    return {};
  }

  SecureReader& reader_;
  ArchiveMembers members_;
};

Value SecureReader::value(const std::optional<Object>& object, ClassSet allowed) {
  if (!object) throw Malformed("a container has an absent element");
  const auto name = requireClass(*object, allowed);
  if (name == kString) return *text(object);
  if (name == kData) return data(*object);
  if (name == kNullObject) return nullptr;
  if (name == kNumber) {
    if (object->kind == Kind::boolean) return object->integer != 0;
    return object->kind == Kind::integer ? Value(object->integer) : Value(object->real);
  }
  if (name == kDate) {
    const ArchiveMembers members(parser(), *object);
    const double seconds = members.require(parser(), kDateKey, Kind::real).real;
    return NSDate::dateWithTimeIntervalSince1970(seconds + plist::kReferenceDate);
  }
  if (name != kArray && name != kDictionary) throw Malformed("an object is no value");
  return deeper([&] { return container(*object, name == kArray, allowed); });
}

Data SecureReader::data(const Object& object) {
  const auto bytes = graph_.content(object, kDataKey, Kind::data).bytes;
  parser().spend(bytes.size());
  return Data(std::string(bytes));
}

Value SecureReader::container(const Object& object, bool isArray, ClassSet allowed) {
  const ArchiveMembers members(parser(), object);
  const Object values = members.require(parser(), kObjectsOfContainerKey, Kind::array);
  if (isArray) {
    Array array;
    for (std::uint64_t i = 0; i < values.count; ++i)
      array.push_back(value(graph_.objectFor(values, i), allowed));
    return array;
  }
  const Object names = members.require(parser(), kDictionaryKeysKey, Kind::array);
  if (names.count != values.count) throw Malformed("a dictionary has more keys than objects");
  Dictionary dictionary;
  for (std::uint64_t i = 0; i < names.count; ++i) {
    auto name = text(graph_.objectFor(names, i));
    if (!name) throw Malformed("a dictionary has an absent key");
    dictionary.insert_or_assign(std::move(*name), value(graph_.objectFor(values, i), allowed));
  }
  return dictionary;
}

NSSecureCodingPtr SecureReader::object(std::uint64_t uid, const SecureClass& allowed) {
  if (const auto known = made_.find(uid); known != made_.end()) {
    if (known->second.className != allowed.name) throwNotAllowed(known->second.className);
    if (!known->second.object) throw Malformed("an object leads to itself");
    return known->second.object;
  }
  const auto archived = graph_.objectFor(uid);
  if (!archived) return nullptr;
  requireClass(*archived, std::array{allowed.name});
  made_[uid].className = allowed.name;
  auto object = deeper([&] {
    RecordDecoder decoder(*this);
    decoder.open(*archived);
    return allowed.initWithCoder(decoder);
  });
  throwFailure();
  if (!object) throw Malformed("no object could be made of a record");
  return made_[uid].object = std::move(object);
}

void readEntries(SecureReader& reader, const Object& dictionary, std::string_view recordClass,
                 const KeyedUnarchiver::RecordReader& read) {
  plist::Parser& parser = reader.graph().parser();
  const ArchiveMembers members(parser, dictionary);
  const Object names = members.require(parser, kDictionaryKeysKey, Kind::array);
  const Object values = members.require(parser, kObjectsOfContainerKey, Kind::array);
  if (names.count != values.count) throw Malformed("a dictionary has more keys than objects");

  std::vector<const std::string*> keys;
  std::unordered_map<std::string, std::uint64_t> lastOf;
  for (std::uint64_t i = 0; i < names.count; ++i) {
    auto key = reader.text(reader.graph().objectFor(names, i));
    if (!key) throw Malformed("a dictionary has an absent key");
    const auto entry = lastOf.insert_or_assign(std::move(*key), i).first;
    keys.push_back(&entry->first);
  }
  RecordDecoder decoder(reader);
  for (std::uint64_t i = 0; i < values.count; ++i) {
    const auto value = reader.graph().objectFor(values, i);
    if (reader.classify(value, recordClass) != ArchivedKind::record)
      throw Malformed("an entry is no record");
    if (lastOf.at(*keys[i]) != i) continue;
    decoder.open(*value);
    read(*keys[i], decoder);
    reader.throwFailure();
  }
}

template <typename Read>
ErrorPtr errorOf(const Read& read) {
  try {
    read();
    return nullptr;
  } catch (const Malformed& problem) {
    return plist::errorWithCode(plist::NSCoderReadCorruptError,
                                std::string("The archive can't be read: ") + problem.what() + ".");
  }
}

}  // namespace

std::optional<ArchivedKind> KeyedUnarchiver::readRecordDictionary(std::string_view bytes,
                                                                  std::string_view recordClass,
                                                                  const RecordReader& read,
                                                                  ErrorPtr* error) {
  ArchivedKind kind = ArchivedKind::null;
  auto problem = errorOf([&] {
    SecureReader reader(bytes);
    const auto root = reader.graph().objectFor(reader.graph().root());
    kind = reader.classify(root, recordClass);
    if (kind == ArchivedKind::dictionary) readEntries(reader, *root, recordClass, read);
  });
  if (!problem) return kind;
  if (error != nullptr) *error = std::move(problem);
  return std::nullopt;
}

ErrorPtr KeyedUnarchiver::readRecord(std::string_view bytes, std::string_view recordClass,
                                     const std::function<void(KeyedDecoder& record)>& read) {
  return errorOf([&] {
    SecureReader reader(bytes);
    const auto root = reader.graph().objectFor(reader.graph().root());
    if (reader.classify(root, recordClass) != ArchivedKind::record)
      throw Malformed("its root is no record");
    RecordDecoder decoder(reader);
    decoder.open(*root);
    read(decoder);
    reader.throwFailure();
  });
}

NSSecureCodingPtr KeyedUnarchiver::unarchivedObjectOfClass(const SecureClass& allowed,
                                                           std::string_view bytes,
                                                           ErrorPtr* error) {
  NSSecureCodingPtr root;
  auto problem = errorOf([&] {
    SecureReader reader(bytes);
    auto made = reader.object(reader.graph().root(), allowed);
    if (!made) throw Malformed("its root is absent");
    root = std::move(made);
  });
  if (problem && error != nullptr) *error = std::move(problem);
  return root;
}

}  // namespace quillfold
