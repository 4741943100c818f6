#include "foundation/archive/archive_graph.h"

#include "foundation/archive/keyed_archive_names.h"

namespace quillfold {

using plist::Kind;
using plist::Malformed;
using plist::Object;

void ArchiveMembers::load(plist::Parser& parser, const Object& dictionary) {
  if (dictionary.kind != Kind::dictionary) throw Malformed("an object is no dictionary");
  members_.clear();
  for (std::uint64_t i = 0; i < dictionary.count; ++i) {
    members_.push_back({.key = parser.element(dictionary, i),
                        .object = parser.reference(dictionary, dictionary.count + i)});
  }
}

std::optional<Object> ArchiveMembers::find(plist::Parser& parser, std::string_view key) const {
  for (const Member& member : members_) {
    if (parser.isText(member.key, key)) return parser.objectAt(member.object);
  }
  return std::nullopt;
}

Object ArchiveMembers::require(plist::Parser& parser, std::string_view key, Kind kind) const {
  const auto object = find(parser, key);
  if (!object || object->kind != kind) {
    throw Malformed("the key " + quoted(key) + " is missing or of a wrong type");
  }
  return *object;
}

ArchiveGraph::ArchiveGraph(std::string_view bytes) : parser_(bytes) {
  using namespace keyed_archive;
  const ArchiveMembers top(parser_, parser_.objectAt(parser_.rootObject()));
  if (!parser_.isText(top.require(parser_, kArchiverKey, Kind::string), kArchiver) ||
      top.require(parser_, kVersionKey, Kind::integer).integer != kVersion) {
    throw Malformed("it was written by another archiver");
  }
  objects_ = top.require(parser_, kObjectsKey, Kind::array);
  if (objects_.count == 0 || !parser_.isText(parser_.element(objects_, kNullUID), kNull)) {
    throw Malformed("its objects don't start with " + quoted(kNull));
  }
  const ArchiveMembers roots(parser_, top.require(parser_, kTopKey, Kind::dictionary));
  root_ = roots.require(parser_, kRootKey, Kind::uid).uid;
}

std::optional<Object> ArchiveGraph::objectFor(std::uint64_t uid) {
  if (uid == keyed_archive::kNullUID) return std::nullopt;
  if (uid >= objects_.count) throw Malformed("a UID is out of range");
  return parser_.element(objects_, uid);
}

std::uint64_t ArchiveGraph::uidAt(const Object& array, std::uint64_t index) {
  const Object uid = parser_.element(array, index);
  if (uid.kind != Kind::uid) throw Malformed("an element is no UID");
  return uid.uid;
}

std::string_view ArchiveGraph::className(const Object& object) {
  switch (object.kind) {
    case Kind::string:
      return keyed_archive::kString;
    case Kind::boolean:
    case Kind::integer:
    case Kind::real:
      return keyed_archive::kNumber;
    case Kind::data:
      return keyed_archive::kData;
    case Kind::dictionary:
      return namedClass(object);
    default:
      throw Malformed("an object has no class");
  }
}

std::string_view ArchiveGraph::namedClass(const Object& object) {
  using namespace keyed_archive;
  const ArchiveMembers members(parser_, object);
  const std::uint64_t uid = members.require(parser_, kClassKey, Kind::uid).uid;
  const auto [known, added] = classNames_.try_emplace(uid);
  if (added) {
    const auto entry = objectFor(uid);
    if (!entry) throw Malformed("an object has no class");
    const ArchiveMembers described(parser_, *entry);
    known->second = parser_.text(described.require(parser_, kClassNameKey, Kind::string));
  }
  return known->second;
}

Object ArchiveGraph::content(const Object& object, std::string_view key, Kind kind) {
  if (object.kind == kind) return object;
  const ArchiveMembers members(parser_, object);
  auto content = members.find(parser_, key);
  if (content && content->kind == Kind::uid) content = objectFor(content->uid);
  if (!content || content->kind != kind) throw Malformed("an object has no content");
  return *content;
}

}  // namespace quillfold
