// Property lists by hand and by another library, and the record that the tests
// archive.
#pragma once

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/plist_encoding.h"
#include "tests/support/reported.h"

namespace quillfold::testing {

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

inline Plist parsedByLibplist(std::string_view bytes) {
  plist_t node = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &node);
  return Plist(node);
}

inline std::string writtenByLibplist(plist_t node) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(node, &bytes, &length);
  std::string out(bytes, length);
  plist_to_bin_free(bytes);
  return out;
}

// What is left of the bytes once another library has read them.
inline std::string throughLibplist(std::string_view bytes) {
  const Plist tree = parsedByLibplist(bytes);
  return tree ? writtenByLibplist(tree.get()) : "(not read)";
}

inline plist_t dictionaryOf(std::initializer_list<std::pair<const char*, plist_t>> entries) {
  plist_t dictionary = plist_new_dict();
  for (const auto& [key, value] : entries)
    plist_dict_set_item(dictionary, key, value);
  return dictionary;
}

inline plist_t arrayOf(const std::vector<plist_t>& elements) {
  plist_t array = plist_new_array();
  for (plist_t element : elements)
    plist_array_append_item(array, element);
  return array;
}

// A file of objects given as raw bytes, the first one the root.
inline std::string fileOf(const std::vector<std::string>& objects, unsigned offsetWidth = 4,
                          unsigned referenceWidth = 1) {
  std::string out(plist::kMagic);
  std::vector<std::size_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out += object;
  }
  const plist::Trailer trailer{offsetWidth, referenceWidth, objects.size(), 0, out.size()};
  for (const auto offset : offsets)
    plist::appendNumber(out, offset, offsetWidth);
  plist::appendTrailer(out, trailer);
  return out;
}

inline const std::string kUnreadableArchive =
    "NSCocoaErrorDomain 4864: The archive can't be read: ";

struct Note {
  std::optional<std::string> title = {};
  double when = 0;
  std::optional<std::string> text = {};
  bool pinned = false;
  std::int64_t count = 0;
  bool hidden = false;

  friend bool operator==(const Note&, const Note&) = default;
};
using Notes = std::map<std::string, Note>;

inline Note noteFrom(KeyedDecoder& record) {
  return {record.decodeStringForKey("title"),  record.decodeDoubleForKey("when"),
          record.decodeStringForKey("text"),   record.decodeBoolForKey("pinned"),
          record.decodeIntegerForKey("count"), record.decodeBoolForKey("hidden")};
}

struct ReadNotes {
  std::optional<ArchivedKind> root;
  ErrorPtr error;
  Notes notes;
};

inline ReadNotes readNotes(std::string_view bytes) {
  ReadNotes out;
  const auto read = [&](const std::string& key, KeyedDecoder& record) {
    EXPECT_TRUE(out.notes.emplace(key, noteFrom(record)).second) << "called twice for " << key;
  };
  out.root = KeyedUnarchiver::readRecordDictionary(bytes, "Note", read, &out.error);
  return out;
}

}  // namespace quillfold::testing
