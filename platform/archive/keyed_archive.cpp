#include "platform/archive/keyed_archive.h"

#include <unordered_map>
#include <vector>

#include "platform/archive/keyed_archive_names.h"
#include "platform/archive/plist_parser.h"
#include "platform/value.h"

namespace quillfold {

namespace {

using plist::Kind;
using plist::Malformed;
using plist::Object;

constexpr std::int64_t kCoderReadCorrupt = 4864;

std::string quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

// A dictionary of the property list, with its keys looked up once.
class Members {
 public:
  Members() = default;
  Members(plist::Parser& parser, const Object& dictionary) { load(parser, dictionary); }

  void load(plist::Parser& parser, const Object& dictionary) {
    if (dictionary.kind != Kind::dictionary) throw Malformed("an object is no dictionary");
    members_.clear();
    for (std::uint64_t i = 0; i < dictionary.count; ++i) {
      members_.push_back({.key = parser.element(dictionary, i),
                          .object = parser.reference(dictionary, dictionary.count + i)});
    }
  }

  std::optional<Object> find(plist::Parser& parser, std::string_view key) const {
    for (const Member& member : members_) {
      if (parser.isText(member.key, key)) return parser.objectAt(member.object);
    }
    return std::nullopt;
  }

  Object require(plist::Parser& parser, std::string_view key, Kind kind) const {
    const auto object = find(parser, key);
    if (!object || object->kind != kind) {
      throw Malformed("the key " + quoted(key) + " is missing or of a wrong type");
    }
    return *object;
  }

 private:
  struct Member {
    Object key;
    std::uint64_t object = 0;
  };
  std::vector<Member> members_;
};

// The object graph of an archive, by the UIDs of its objects.
class Graph {
 public:
  explicit Graph(std::string_view bytes) : parser_(bytes) {
    using namespace keyed_archive;
    const Members top(parser_, parser_.objectAt(parser_.rootObject()));
    if (!parser_.isText(top.require(parser_, kArchiverKey, Kind::string), kArchiver) ||
        top.require(parser_, kVersionKey, Kind::integer).integer != kVersion) {
      throw Malformed("it was written by another archiver");
    }
    objects_ = top.require(parser_, kObjectsKey, Kind::array);
    if (objects_.count == 0 || !parser_.isText(parser_.element(objects_, 0), kNull)) {
      throw Malformed("its objects don't start with " + quoted(kNull));
    }
    const Members roots(parser_, top.require(parser_, kTopKey, Kind::dictionary));
    root_ = roots.require(parser_, kRootKey, Kind::uid).uid;
  }

  plist::Parser& parser() { return parser_; }
  std::uint64_t root() const { return root_; }

  // Absent for the UID that stands for an absent object.
  std::optional<Object> objectFor(std::uint64_t uid) {
    if (uid == 0) return std::nullopt;
    if (uid >= objects_.count) throw Malformed("a UID is out of range");
    return parser_.element(objects_, uid);
  }

  // The same for one element of an array of UIDs.
  std::optional<Object> objectFor(const Object& array, std::uint64_t index) {
    const Object uid = parser_.element(array, index);
    if (uid.kind != Kind::uid) throw Malformed("an element is no UID");
    return objectFor(uid.uid);
  }

  // Plain objects count as their classes, all others name theirs.
  std::string_view className(const Object& object) {
    switch (object.kind) {
      case Kind::string:
        return keyed_archive::kString;
      case Kind::boolean:
      case Kind::integer:
      case Kind::real:
        return "NSNumber";
      case Kind::data:
        return "NSData";
      case Kind::dictionary:
        return namedClass(object);
      default:
        throw Malformed("an object has no class");
    }
  }

  // The text of an object of one of the string classes.
  std::string text(const Object& string) {
    if (string.kind == Kind::string) return parser_.text(string);
    const Members members(parser_, string);
    auto content = members.find(parser_, keyed_archive::kStringKey);
    if (content && content->kind == Kind::uid) content = objectFor(content->uid);
    if (!content || content->kind != Kind::string) throw Malformed("a string has no text");
    return parser_.text(*content);
  }

 private:
  std::string_view namedClass(const Object& object) {
    using namespace keyed_archive;
    const Members members(parser_, object);
    const std::uint64_t uid = members.require(parser_, kClassKey, Kind::uid).uid;
    const auto [known, added] = classNames_.try_emplace(uid);
    if (added) {
      const auto entry = objectFor(uid);
      if (!entry) throw Malformed("an object has no class");
      const Members described(parser_, *entry);
      known->second = parser_.text(described.require(parser_, kClassNameKey, Kind::string));
    }
    return known->second;
  }

  plist::Parser parser_;
  Object objects_;
  std::uint64_t root_ = 0;
  // Nearly all objects share a few class entries.
  std::unordered_map<std::uint64_t, std::string> classNames_;
};

// Maps the class of an object to one of those allowed, and refuses all others.
class SecureReader {
 public:
  SecureReader(std::string_view bytes, std::string_view recordClass)
      : graph_(bytes), recordClass_(recordClass) {}

  Graph& graph() { return graph_; }

  ArchivedKind classify(const std::optional<Object>& object) {
    using namespace keyed_archive;
    if (!object) return ArchivedKind::null;
    const auto name = graph_.className(*object);
    if (name == kString || name == kMutableString) return ArchivedKind::string;
    if (name == kDictionary || name == kMutableDictionary) return ArchivedKind::dictionary;
    if (name == recordClass_) return ArchivedKind::record;
    throw Malformed("an object of class " + quoted(name) + " is not allowed");
  }

  std::optional<std::string> text(const std::optional<Object>& object) {
    switch (classify(object)) {
      case ArchivedKind::null:
        return std::nullopt;
      case ArchivedKind::string:
        return graph_.text(*object);
      default:
        throw Malformed("an object is no string");
    }
  }

 private:
  Graph graph_;
  std::string_view recordClass_;
};

class RecordDecoder : public KeyedDecoder {
 public:
  explicit RecordDecoder(SecureReader& reader) : reader_(reader) {}

  void open(const Object& record) { members_.load(parser(), record); }
  // The decoder's calls come through code that must not see the exception.
  void throwFirstFailure() const {
    if (failure_) throw Malformed(*failure_);
  }

  std::optional<std::string> decodeStringForKey(std::string_view key) override {
    return guarded(key, [&]() -> std::optional<std::string> {
      auto object = members_.find(parser(), key);
      if (object && object->kind == Kind::uid) object = reader_.graph().objectFor(object->uid);
      return reader_.text(object);
    });
  }
  bool decodeBoolForKey(std::string_view key) override { return number(key).boolValue(); }
  std::int64_t decodeIntegerForKey(std::string_view key) override {
    return number(key).integerValue();
  }
  double decodeDoubleForKey(std::string_view key) override { return number(key).doubleValue(); }

 private:
  plist::Parser& parser() { return reader_.graph().parser(); }

  // Null, which reads as false and 0, for what is no number.
  Value number(std::string_view key) {
    return guarded(key, [&]() -> Value {
      const auto object = members_.find(parser(), key);
      if (!object) return nullptr;
      if (object->kind == Kind::boolean) return object->integer != 0;
      if (object->kind == Kind::integer) return object->integer;
      if (object->kind == Kind::real) return object->real;
      if (object->kind == Kind::uid && object->uid != 0) throw Malformed("an object is no number");
      return nullptr;
    });
  }

  template <typename Read>
  auto guarded(std::string_view key, const Read& read) -> decltype(read()) {
    try {
      if (!failure_) return read();
    } catch (const Malformed& problem) {
      failure_ = "key " + quoted(key) + ": " + problem.what();
    }
    return {};
  }

  SecureReader& reader_;
  Members members_;
  std::optional<std::string> failure_;
};

void readEntries(SecureReader& reader, const Object& dictionary,
                 const KeyedUnarchiver::RecordReader& read) {
  plist::Parser& parser = reader.graph().parser();
  const Members members(parser, dictionary);
  const Object names = members.require(parser, keyed_archive::kDictionaryKeysKey, Kind::array);
  const Object values = members.require(parser, keyed_archive::kDictionaryObjectsKey, Kind::array);
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
    if (reader.classify(value) != ArchivedKind::record) throw Malformed("an entry is no record");
    if (lastOf.at(*keys[i]) != i) continue;
    decoder.open(*value);
    read(*keys[i], decoder);
    decoder.throwFirstFailure();
  }
}

template <typename Read>
ErrorPtr errorOf(const Read& read) {
  try {
    read();
    return nullptr;
  } catch (const Malformed& problem) {
    return NSError::errorWithDomain(
        "NSCocoaErrorDomain", kCoderReadCorrupt,
        {{NSLocalizedDescriptionKey,
          std::string("The archive can't be read: ") + problem.what() + "."}});
  }
}

}  // namespace

std::optional<ArchivedKind> KeyedUnarchiver::readRecordDictionary(std::string_view bytes,
                                                                  std::string_view recordClass,
                                                                  const RecordReader& read,
                                                                  ErrorPtr* error) {
  ArchivedKind kind = ArchivedKind::null;
  auto problem = errorOf([&] {
    SecureReader reader(bytes, recordClass);
    const auto root = reader.graph().objectFor(reader.graph().root());
    kind = reader.classify(root);
    if (kind == ArchivedKind::dictionary) readEntries(reader, *root, read);
  });
  if (!problem) return kind;
  if (error != nullptr) *error = std::move(problem);
  return std::nullopt;
}

ErrorPtr KeyedUnarchiver::readRecord(std::string_view bytes, std::string_view recordClass,
                                     const std::function<void(KeyedDecoder& record)>& read) {
  return errorOf([&] {
    SecureReader reader(bytes, recordClass);
    const auto root = reader.graph().objectFor(reader.graph().root());
    if (reader.classify(root) != ArchivedKind::record) throw Malformed("its root is no record");
    RecordDecoder decoder(reader);
    decoder.open(*root);
    read(decoder);
    decoder.throwFirstFailure();
  });
}

}  // namespace quillfold
