// The object graph of a keyed archive that nobody vouches for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/archive/plist_parser.h"

namespace quillfold {

// A dictionary of the property list, with its keys looked up once.
class ArchiveMembers {
 public:
  ArchiveMembers() = default;
  ArchiveMembers(plist::Parser& parser, const plist::Object& dictionary) {
    load(parser, dictionary);
  }

  void load(plist::Parser& parser, const plist::Object& dictionary);
  std::optional<plist::Object> find(plist::Parser& parser, std::string_view key) const;
  plist::Object require(plist::Parser& parser, std::string_view key, plist::Kind kind) const;

 private:
  struct Member {
    plist::Object key;
    std::uint64_t object = 0;
  };
  std::vector<Member> members_;
};

// The objects of an archive by their UIDs. Every operation may throw
// plist::Malformed.
class ArchiveGraph {
 public:
  explicit ArchiveGraph(std::string_view bytes);

  plist::Parser& parser() { return parser_; }
  std::uint64_t root() const { return root_; }

  // Absent for the UID that stands for an absent object.
  std::optional<plist::Object> objectFor(std::uint64_t uid);
  // An element of an array of UIDs.
  std::uint64_t uidAt(const plist::Object& array, std::uint64_t index);
  std::optional<plist::Object> objectFor(const plist::Object& array, std::uint64_t index) {
    return objectFor(uidAt(array, index));
  }

  // Plain objects count as their classes, all others name theirs.
  std::string_view className(const plist::Object& object);
  // A string or data as it stands, or the one in an object of such a class under
  // a key.
  plist::Object content(const plist::Object& object, std::string_view key, plist::Kind kind);

 private:
  std::string_view namedClass(const plist::Object& object);

  plist::Parser parser_;
  plist::Object objects_;
  std::uint64_t root_ = 0;
  // Nearly all objects share a few class entries.
  std::unordered_map<std::uint64_t, std::string> classNames_;
};

// A text as messages show it.
inline std::string quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

}  // namespace quillfold
