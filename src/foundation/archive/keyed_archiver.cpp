#include "foundation/archive/keyed_archiver.h"

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "foundation/archive/archive_objects.h"
#include "foundation/archive/keyed_archive_names.h"
#include "foundation/archive/plist_encoding.h"

namespace quillfold {

namespace {

using namespace keyed_archive;

// Equal texts up to this size are archived once. Sharing long ones would spread
// them over more references than a reader takes from a file of that size.
constexpr std::size_t kLargestSharedText = 64;

// Gives every archived object a UID, its index in `$objects`.
class GraphWriter {
 public:
  GraphWriter() { addObject(objects_.addText(kNull)); }

  std::uint32_t uidOfText(const std::string& text);
  std::uint32_t uidOfValue(const Value& value);
  std::uint32_t uidOfObject(const NSSecureCodingPtr& object);
  std::uint32_t uidOfArray(std::span<const std::uint32_t> elements);

  ArchiveObjects& objects() { return objects_; }
  // The property list objects of a key and of a reference to a UID.
  std::uint32_t key(std::string_view name);
  std::uint32_t reference(std::uint32_t uid);

  const std::optional<std::string>& failure() const { return failure_; }
  std::string finish(std::uint32_t rootUID);

 private:
  std::uint32_t addObject(std::uint32_t object) {
    archived_.push_back(object);
    return static_cast<std::uint32_t>(archived_.size() - 1);
  }
  std::vector<std::uint32_t> references(std::span<const std::uint32_t> uids);
  std::uint32_t uidOfClass(std::string_view name);
  std::uint32_t uidOfDictionary(const Dictionary& dictionary);
  std::uint32_t uidOfContainer(const Value& container);
  std::uint32_t addOfClass(std::string_view className, std::vector<std::uint32_t> keys,
                           std::vector<std::uint32_t> values);

  // Calls `write` one level deeper, unless that is too deep.
  template <typename Write>
  void deeper(const Write& write) {
    if (depth_ == plist::kMaximumDepth) failure_ = "it is nested too deeply";
    if (failure_) return;
    ++depth_;
    write();
    --depth_;
  }

  ArchiveObjects objects_;
  std::vector<std::uint32_t> archived_;
  std::unordered_map<std::string, std::uint32_t> keys_;
  std::unordered_map<std::uint32_t, std::uint32_t> references_;
  std::unordered_map<std::string, std::uint32_t> texts_;
  std::unordered_map<std::string, std::uint32_t> classes_;
  // The owners keep an address from being used for another object meanwhile.
  std::unordered_map<NSSecureCodingPtr, std::uint32_t> uids_;
  std::optional<std::uint32_t> nullObject_;
  std::size_t depth_ = 0;
  std::optional<std::string> failure_;
};

// Collects the keys of one record.
class RecordEncoder : public KeyedObjectEncoder {
 public:
  explicit RecordEncoder(GraphWriter& graph) : graph_(graph) {}

  std::vector<std::uint32_t> keys;
  std::vector<std::uint32_t> values;

  void encodeString(const std::optional<std::string>& value, std::string_view key) override {
    add(key, graph_.reference(value ? graph_.uidOfText(*value) : kNullUID));
  }
  void encodeBool(bool value, std::string_view key) override {
    add(key, graph_.objects().addBool(value));
  }
  void encodeDouble(double value, std::string_view key) override {
    add(key, graph_.objects().addReal(value));
  }
  void encodeInteger(std::int64_t value, std::string_view key) override {
    add(key, graph_.objects().addInteger(value));
  }
  void encodeValue(const std::optional<Value>& value, std::string_view key) override {
    add(key, graph_.reference(value ? graph_.uidOfValue(*value) : kNullUID));
  }
  void encodeObject(const NSSecureCodingPtr& object, std::string_view key) override {
    add(key, graph_.reference(object ? graph_.uidOfObject(object) : kNullUID));
  }
  void encodeObjects(std::span<const NSSecureCodingPtr> array, std::string_view key) override {
    std::vector<std::uint32_t> uids;
    for (const auto& object : array) {
      if (object) uids.push_back(graph_.uidOfObject(object));
    }
    add(key, graph_.reference(graph_.uidOfArray(uids)));
  }

 private:
  void add(std::string_view key, std::uint32_t value) {
    keys.push_back(graph_.key(key));
    values.push_back(value);
  }

  GraphWriter& graph_;
};

std::uint32_t GraphWriter::key(std::string_view name) {
  const auto [known, added] = keys_.try_emplace(std::string(name), 0);
  if (added) known->second = objects_.addText(name);
  return known->second;
}

std::uint32_t GraphWriter::reference(std::uint32_t uid) {
  const auto [known, added] = references_.try_emplace(uid, 0);
  if (added) known->second = objects_.addUID(uid);
  return known->second;
}

std::vector<std::uint32_t> GraphWriter::references(std::span<const std::uint32_t> uids) {
  std::vector<std::uint32_t> out;
  for (const std::uint32_t uid : uids)
    out.push_back(reference(uid));
  return out;
}

std::uint32_t GraphWriter::uidOfText(const std::string& text) {
  if (text.size() > kLargestSharedText) return addObject(objects_.addText(text));
  const auto [known, added] = texts_.try_emplace(text, 0);
  if (added) known->second = addObject(objects_.addText(text));
  return known->second;
}

std::uint32_t GraphWriter::uidOfClass(std::string_view name) {
  const auto [known, added] = classes_.try_emplace(std::string(name), 0);
  if (added) known->second = addObject(objects_.addClass(std::array{name, kObject}));
  return known->second;
}

// The property list object of an archived object that names its class.
std::uint32_t GraphWriter::addOfClass(std::string_view className, std::vector<std::uint32_t> keys,
                                      std::vector<std::uint32_t> values) {
  keys.push_back(key(kClassKey));
  values.push_back(reference(uidOfClass(className)));
  return objects_.addDictionary(keys, values);
}

std::uint32_t GraphWriter::uidOfObject(const NSSecureCodingPtr& object) {
  const auto [known, added] = uids_.try_emplace(object, 0);
  const std::uint32_t uid = added ? addObject(0) : known->second;
  if (!added) return uid;
  // Known before it is written: it may lead back to itself.
  known->second = uid;
  deeper([&] {
    RecordEncoder record(*this);
    object->encodeWithCoder(record);
    archived_[uid] =
        addOfClass(object->archivedClassName(), std::move(record.keys), std::move(record.values));
  });
  return uid;
}

std::uint32_t GraphWriter::uidOfArray(std::span<const std::uint32_t> elements) {
  const std::uint32_t list = objects_.addArray(references(elements));
  return addObject(addOfClass(kArray, {key(kObjectsOfContainerKey)}, {list}));
}

std::uint32_t GraphWriter::uidOfDictionary(const Dictionary& dictionary) {
  std::vector<std::uint32_t> names;
  std::vector<std::uint32_t> values;
  for (const auto& [name, value] : dictionary) {
    names.push_back(uidOfText(name));
    values.push_back(uidOfValue(value));
  }
  const std::uint32_t nameList = objects_.addArray(references(names));
  const std::uint32_t valueList = objects_.addArray(references(values));
  return addObject(addOfClass(kDictionary, {key(kDictionaryKeysKey), key(kObjectsOfContainerKey)},
                              {nameList, valueList}));
}

std::uint32_t GraphWriter::uidOfContainer(const Value& container) {
  std::uint32_t uid = kNullUID;
  deeper([&] {
    if (const auto* dictionary = container.asDictionary()) {
      uid = uidOfDictionary(*dictionary);
      return;
    }
    std::vector<std::uint32_t> elements;
    for (const Value& element : *container.asArray())
      elements.push_back(uidOfValue(element));
    uid = uidOfArray(elements);
  });
  return uid;
}

std::uint32_t GraphWriter::uidOfValue(const Value& value) {
  if (const auto* text = value.asString()) return uidOfText(*text);
  if (const auto* v = value.asBool()) return addObject(objects_.addBool(*v));
  if (const auto* v = value.asInteger()) return addObject(objects_.addInteger(*v));
  if (const auto* v = value.asDouble()) return addObject(objects_.addReal(*v));
  if (const auto* v = value.asData()) return addObject(objects_.addData(v->bytes()));
  if (const auto* v = value.asDate()) {
    const double seconds = v->timeIntervalSince1970() - plist::kReferenceDate;
    return addObject(addOfClass(kDate, {key(kDateKey)}, {objects_.addReal(seconds)}));
  }
  if (!value.isNull()) return uidOfContainer(value);
  if (!nullObject_) nullObject_ = addObject(addOfClass(kNullObject, {}, {}));
  return *nullObject_;
}

std::string GraphWriter::finish(std::uint32_t rootUID) {
  const std::uint32_t top = objects_.addTop(rootUID, objects_.addArray(archived_));
  const Block& block = objects_.block();
  std::string out = block.bytes;
  for (const std::uint32_t offset : block.offsets)
    plist::appendNumber(out, offset, plist::kArchiveWidth);
  plist::appendTrailer(out, {.offsetWidth = plist::kArchiveWidth,
                             .referenceWidth = plist::kArchiveWidth,
                             .objectCount = block.offsets.size(),
                             .rootObject = top,
                             .offsetTable = block.bytes.size()});
  if (block.bytes.size() > plist::kMaximumArchiveSize) failure_ = "it is too large";
  return out;
}

}  // namespace

std::optional<std::string> KeyedArchiver::archivedDataWithRootObject(const NSSecureCodingPtr& root,
                                                                     ErrorPtr* error) {
  std::string problem = "there is none";
  if (root) {
    GraphWriter graph;
    std::string bytes = graph.finish(graph.uidOfObject(root));
    if (!graph.failure()) return bytes;
    problem = *graph.failure();
  }
  if (error != nullptr) {
    *error = plist::errorWithCode(plist::NSPropertyListWriteStreamError,
                                  "The object can't be archived: " + problem + ".");
  }
  return std::nullopt;
}

}  // namespace quillfold
