#include "foundation/archive/keyed_archive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/support/keyed_plist.h"

namespace quillfold {
namespace {

using namespace std::string_literals;
using namespace testing;

plist_t uids(const std::vector<std::uint64_t>& values) {
  std::vector<plist_t> nodes;
  std::transform(values.begin(), values.end(), std::back_inserter(nodes), uidOf);
  return arrayOf(nodes);
}

// Objects 1 to 5 are a root and what it needs, 6 and on what the test adds.
std::string noteArchive(const std::vector<plist_t>& more,
                        const char* dictionaryClass = "NSDictionary",
                        const std::vector<std::uint64_t>& keys = {5},
                        const std::vector<std::uint64_t>& values = {4}) {
  plist_t root =
      dictionaryOf({{"NS.keys", uids(keys)}, {"NS.objects", uids(values)}, {"$class", uidOf(2)}});
  plist_t record = dictionaryOf({{"$class", uidOf(3)},
                                 {"title", uidOf(6)},
                                 {"pinned", plist_new_bool(1)},
                                 {"count", plist_new_uint(7)},
                                 {"when", plist_new_real(0.0)}});
  std::vector<plist_t> objects = {root, classOf(dictionaryClass), classOf("Note"), record,
                                  textOf("key")};
  objects.insert(objects.end(), more.begin(), more.end());
  return archiveOf(objects, 1);
}

TEST(KeyedArchive, ReadsWhatOtherWritersWrite) {
  for (const std::string prefix : {"NS", "NSMutable"}) {
    const std::string dictionary = prefix + "Dictionary", string = prefix + "String";
    for (const bool direct : {true, false}) {
      plist_t content = direct ? textOf("Grüße 👋") : uidOf(8);
      const auto boxed =
          readNotes(noteArchive({dictionaryOf({{"$class", uidOf(7)}, {"NS.string", content}}),
                                 classOf(string.c_str()), textOf("Grüße 👋")},
                                dictionary.c_str()));
      EXPECT_EQ(boxed.notes, (Notes{{"key", {"Grüße 👋", 0.0, {}, true, 7, false}}}));
    }
  }
  // One record under two keys, a key that stands twice, and wide UIDs.
  std::vector<plist_t> many = {textOf("one"), textOf("two"),
                               dictionaryOf({{"$class", uidOf(3)}, {"title", uidOf(0)}})};
  while (many.size() < 303)
    many.push_back(plist_new_data("x", 1));
  many.push_back(dictionaryOf({{"$class", uidOf(3)}, {"title", uidOf(310)}}));
  many.push_back(textOf("far"));
  const auto shared = readNotes(noteArchive(many, "NSDictionary", {5, 7, 5, 6}, {4, 4, 8, 309}));
  ASSERT_TRUE(shared.root) << shared.error->localizedDescription();
  EXPECT_EQ(shared.notes, (Notes{{"key", {}},
                                 {"one", {"far", 0, {}, false, 0, false}},
                                 {"two", {"one", 0, {}, true, 7, false}}}));
}

// What the root of an archive is as a note, and the error.
std::pair<Note, std::string> rootOf(const std::string& bytes) {
  std::pair<Note, std::string> out = {{.title = "not read"}, ""};
  const auto read = [&](KeyedDecoder& record) { out.first = noteFrom(record); };
  out.second = reported(KeyedUnarchiver::readRecord(bytes, "Note", read));
  return out;
}

// One record and what it needs, with UIDs given as the bytes of an object.
std::string recordFile(const std::string& root, const std::string& cls, const std::string& title) {
  const auto file = [](const auto&... objects) { return fileOf({std::string(objects)...}); };
  return file("\xD4\x01\x02\x03\x04\x05\x06\x07\x08", "\x58$version", "\x59$archiver", "\x54$top",
              "\x58$objects", "\x12\x00\x01\x86\xA0"s, "\x5F\x10\x0FNSKeyedArchiver",
              "\xD1\x09\x0A", "\xA3\x0B\x0C\x0D", "\x54root", root, "\x55$null",
              "\xD2\x0E\x0F\x10\x11", "\xD1\x12\x13", "\x66\0$\0c\0l\0a\0s\0s"s, "\x55title", cls,
              title, "\x5A$classname", "\x54Note");
}

TEST(KeyedArchive, ReadsUIDsOfEveryWidth) {
  for (std::size_t width = 1; width <= 16; ++width) {
    const auto wide = [&](char value) {
      return static_cast<char>(0x7F + width) + std::string(width - 1, '\0') + value;
    };
    const auto good = recordFile(wide(1), wide(2), wide(0));
    EXPECT_EQ(rootOf(good), std::pair(Note{}, ""s)) << width;
    std::string large = wide(1);
    large[1] = '\x7F';
    EXPECT_EQ(rootOf(recordFile(large, wide(2), wide(0))).second,
              kUnreadableArchive + "a UID is out of range.");
  }
}

TEST(KeyedArchive, TellsARootThatIsNoDictionaryFromAFailure) {
  plist_t record = dictionaryOf({{"$class", uidOf(2)}});
  const std::pair<std::string, ArchivedKind> cases[] = {
      {archiveOf({textOf("a string")}, 1), ArchivedKind::string},
      {archiveOf({record, classOf("Note")}, 1), ArchivedKind::record},
      {archiveOf({}, 0), ArchivedKind::null},
      {noteArchive({textOf("t")}), ArchivedKind::dictionary},
  };
  for (const auto& [bytes, kind] : cases) {
    const auto outcome = readNotes(bytes);
    EXPECT_EQ(outcome.root, kind);
    EXPECT_EQ(outcome.notes.empty(), kind != ArchivedKind::dictionary);
    EXPECT_EQ(reported(outcome.error), "");
    EXPECT_EQ(rootOf(bytes).second,
              kind == ArchivedKind::record ? "" : kUnreadableArchive + "its root is no record.");
  }
}

TEST(KeyedArchive, MissingAndOddlyTypedInlineValuesReadAsNothing) {
  const auto read = [](plist_t record) {
    plist_dict_set_item(record, "$class", uidOf(2));
    return rootOf(archiveOf({record, classOf("Note")}, 1));
  };
  plist_t texts = dictionaryOf({{"title", textOf("1")},
                                {"when", textOf("1")},
                                {"text", uidOf(0)},
                                {"pinned", uidOf(0)},
                                {"count", textOf("1")}});
  EXPECT_EQ(read(texts), std::pair(Note{.title = "1"}, ""s));
  plist_t reals = dictionaryOf({{"when", plist_new_real(-2.75)},
                                {"pinned", plist_new_real(0.5)},
                                {"count", plist_new_real(-2.75)}});
  EXPECT_EQ(read(reals), std::pair(Note({{}, -2.75, {}, true, -2}), ""s));
  plist_t large = dictionaryOf({{"count", plist_new_real(1e30)}});
  EXPECT_EQ(read(large), std::pair(Note{.count = INT64_MAX}, ""s));
}

TEST(KeyedArchive, RefusesOtherClassesAndBrokenGraphs) {
  const auto with = [](const char* key, plist_t value) {
    const Plist top = parsedByLibplist(archiveOf({textOf("root")}, 1));
    plist_dict_set_item(top.get(), key, value);
    return writtenByLibplist(top.get());
  };
  const std::pair<const char*, std::string> cases[] = {
      {"it was written by another archiver", with("$archiver", textOf("NSArchiver"))},
      {"it was written by another archiver", with("$version", plist_new_uint(1))},
      {"its objects don't start with \"$null\"", with("$objects", plist_new_array())},
      {"its objects don't start with \"$null\"",
       with("$objects", arrayOf({plist_new_data("$null", 5), textOf("y")}))},
      {"a UID is out of range", archiveOf({}, 1)},
      {"an object has no class", archiveOf({uidOf(1)}, 1)},
      {"an object has no class", archiveOf({dictionaryOf({{"$class", uidOf(0)}})}, 1)},
      {"the key \"$class\" is missing or of a wrong type",
       archiveOf({dictionaryOf({{"a", textOf("b")}})}, 1)},
      {"key \"title\": a UID is out of range", noteArchive({})},
      {"key \"title\": an object of class \"X\" is not allowed",
       noteArchive({dictionaryOf({{"$class", uidOf(7)}}), classOf("X")})},
      {"key \"title\": an object has no content",
       noteArchive(
           {dictionaryOf({{"$class", uidOf(7)}, {"NS.string", uidOf(6)}}), classOf("NSString")})},
      {"an entry is no record", noteArchive({}, "NSDictionary", {5}, {5})},
      {"an entry is no record", noteArchive({}, "NSDictionary", {5}, {0})},
      {"a dictionary has an absent key", noteArchive({}, "NSDictionary", {0}, {4})},
      {"a dictionary has more keys than objects", noteArchive({}, "NSDictionary", {5, 6}, {4})},
      {"a dictionary has more keys than objects", noteArchive({}, "NSDictionary", {5}, {4, 4})},
  };
  for (const auto& [reason, bytes] : cases) {
    const auto outcome = readNotes(bytes);
    EXPECT_FALSE(outcome.root) << reason;
    EXPECT_EQ(reported(outcome.error), kUnreadableArchive + reason + '.');
  }
}

TEST(KeyedArchive, TheFirstFailureOfARecordEndsTheReading) {
  const auto outcome =
      readNotes(noteArchive({plist_new_uint(1), textOf("other")}, "NSDictionary", {5, 7}, {4, 4}));
  EXPECT_EQ(outcome.notes, (Notes{{"key", {}}}));
  const std::string problem =
      kUnreadableArchive + "key \"title\": an object of class \"NSNumber\" is not allowed.";
  EXPECT_EQ(reported(outcome.error), problem);
  EXPECT_EQ(rootOf(recordFile("\x80\x01", "\x80\x02", "\x08")), std::pair(Note{}, problem));
}

}  // namespace
}  // namespace quillfold
