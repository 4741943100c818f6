#include "foundation/archive/keyed_archive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/foundation/archive/plist_files.h"

namespace quillfold {
namespace {

using namespace std::string_literals;
using namespace testing;

constexpr auto uid = plist_new_uid;
constexpr auto text = plist_new_string;

plist_t classEntry(const char* name) {
  return dictionaryOf(
      {{"$classname", text(name)}, {"$classes", arrayOf({text(name), text("NSObject")})}});
}

plist_t uids(const std::vector<std::uint64_t>& values) {
  std::vector<plist_t> nodes;
  std::transform(values.begin(), values.end(), std::back_inserter(nodes), uid);
  return arrayOf(nodes);
}

plist_t topOf(plist_t objects, std::uint64_t root = 1) {
  return dictionaryOf({{"$version", plist_new_uint(100000)},
                       {"$archiver", text("NSKeyedArchiver")},
                       {"$top", dictionaryOf({{"root", uid(root)}})},
                       {"$objects", objects}});
}

std::string bytesOf(plist_t top) {
  return writtenByLibplist(Plist(top).get());
}

// Objects 1 to 5 are a root and what it needs, 6 and on what the test adds.
std::string noteArchive(const std::vector<plist_t>& more,
                        const char* dictionaryClass = "NSDictionary",
                        const std::vector<std::uint64_t>& keys = {5},
                        const std::vector<std::uint64_t>& values = {4}) {
  plist_t root =
      dictionaryOf({{"NS.keys", uids(keys)}, {"NS.objects", uids(values)}, {"$class", uid(2)}});
  plist_t record = dictionaryOf({{"$class", uid(3)},
                                 {"title", uid(6)},
                                 {"pinned", plist_new_bool(1)},
                                 {"count", plist_new_uint(7)},
                                 {"when", plist_new_real(0.0)}});
  std::vector<plist_t> objects;
  for (plist_t object : {text("$null"), root, classEntry(dictionaryClass), classEntry("Note"),
                         record, text("key")}) {
    objects.push_back(object);
  }
  objects.insert(objects.end(), more.begin(), more.end());
  return bytesOf(topOf(arrayOf(objects)));
}

TEST(KeyedArchive, ReadsWhatOtherWritersWrite) {
  for (const char* name : {"NSDictionary", "NSMutableDictionary"}) {
    const auto plain = readNotes(noteArchive({text("Grüße 👋")}, name));
    EXPECT_EQ(plain.root, ArchivedKind::dictionary);
    EXPECT_EQ(plain.notes, (Notes{{"key", {"Grüße 👋", 0.0, {}, true, 7, false}}}));
  }
  for (const char* name : {"NSString", "NSMutableString"}) {
    for (const bool direct : {true, false}) {
      const auto boxed = readNotes(noteArchive(
          {dictionaryOf({{"$class", uid(7)}, {"NS.string", direct ? text("boxed") : uid(8)}}),
           classEntry(name), text("boxed")}));
      EXPECT_EQ(boxed.notes.at("key").title, "boxed");
    }
  }
  // One record under two keys, a key that stands twice, and wide UIDs.
  std::vector<plist_t> many = {text("one"), text("two"),
                               dictionaryOf({{"$class", uid(3)}, {"title", uid(0)}})};
  while (many.size() < 303)
    many.push_back(plist_new_data("x", 1));
  many.push_back(dictionaryOf({{"$class", uid(3)}, {"title", uid(310)}}));
  many.push_back(text("far"));
  const auto shared = readNotes(noteArchive(many, "NSDictionary", {5, 7, 5, 6}, {4, 4, 8, 309}));
  ASSERT_TRUE(shared.root) << shared.error->localizedDescription();
  EXPECT_EQ(shared.notes, (Notes{{"key", {}},
                                 {"one", {"far", 0, {}, false, 0, false}},
                                 {"two", {"one", 0, {}, true, 7, false}}}));
}

// One record and what it needs, with UIDs given as the bytes of an object.
std::string recordFile(const std::string& root, const std::string& cls, const std::string& title) {
  std::vector<std::string> objects;
  objects.insert(objects.end(), {"\xD4\x01\x02\x03\x04\x05\x06\x07\x08",
                                 "\x58$version",
                                 "\x59$archiver",
                                 "\x54$top",
                                 "\x58$objects",
                                 "\x12\x00\x01\x86\xA0"s,
                                 "\x5F\x10\x0FNSKeyedArchiver",
                                 "\xD1\x09\x0A",
                                 "\xA3\x0B\x0C\x0D",
                                 "\x54root",
                                 root,
                                 "\x55$null",
                                 "\xD2\x0E\x0F\x10\x11",
                                 "\xD1\x12\x13",
                                 "\x56$class",
                                 "\x55title",
                                 cls,
                                 title,
                                 "\x5A$classname",
                                 "\x54Note"});
  return fileOf(objects);
}

TEST(KeyedArchive, ReadsUIDsOfEveryWidth) {
  for (std::size_t width = 1; width <= 16; ++width) {
    const auto wide = [&](char value) {
      return static_cast<char>(0x7F + width) + std::string(width - 1, '\0') + value;
    };
    Note note{.title = "not read"};
    const auto read = [&](KeyedDecoder& record) { note = noteFrom(record); };
    const auto good = recordFile(wide(1), wide(2), wide(0));
    EXPECT_EQ(KeyedUnarchiver::readRecord(good, "Note", read), nullptr) << width;
    EXPECT_EQ(note, Note{}) << width;
    const std::string large = static_cast<char>(0x7F + width) + std::string(width, '\x7F');
    EXPECT_TRUE(KeyedUnarchiver::readRecord(recordFile(large, wide(2), wide(0)), "Note", read));
  }
}

TEST(KeyedArchive, TellsARootThatIsNoDictionaryFromAFailure) {
  const auto ignore = [](KeyedDecoder&) {};
  plist_t record = dictionaryOf({{"$class", uid(2)}});
  const std::pair<std::string, ArchivedKind> cases[] = {
      {bytesOf(topOf(arrayOf({text("$null"), text("a string")}))), ArchivedKind::string},
      {bytesOf(topOf(arrayOf({text("$null"), record, classEntry("Note")}))), ArchivedKind::record},
      {bytesOf(topOf(arrayOf({text("$null")}), 0)), ArchivedKind::null},
  };
  for (const auto& [bytes, kind] : cases) {
    const auto outcome = readNotes(bytes);
    EXPECT_EQ(outcome.root, kind);
    EXPECT_TRUE(!outcome.error && outcome.notes.empty());
    const bool isRecord = KeyedUnarchiver::readRecord(bytes, "Note", ignore) == nullptr;
    EXPECT_EQ(isRecord, kind == ArchivedKind::record);
  }
  EXPECT_TRUE(KeyedUnarchiver::readRecord(noteArchive({text("t")}), "Note", ignore));
}

TEST(KeyedArchive, MissingAndOddlyTypedInlineValuesReadAsNothing) {
  const auto bytes = bytesOf(topOf(arrayOf({text("$null"),
                                            dictionaryOf({{"$class", uid(2)},
                                                          {"text", text("1")},
                                                          {"real", plist_new_real(-2.75)},
                                                          {"large", plist_new_real(1e30)},
                                                          {"null", uid(0)}}),
                                            classEntry("Note")})));
  const auto check = [](KeyedDecoder& record) {
    EXPECT_EQ(record.decodeStringForKey("nowhere"), std::nullopt);
    EXPECT_EQ(record.decodeStringForKey("null"), std::nullopt);
    EXPECT_EQ(record.decodeStringForKey("text"), "1");
    EXPECT_EQ(record.decodeIntegerForKey("text"), 0);
    EXPECT_FALSE(record.decodeBoolForKey("null"));
    EXPECT_TRUE(record.decodeBoolForKey("real"));
    EXPECT_EQ(record.decodeIntegerForKey("real"), -2);
    EXPECT_EQ(record.decodeIntegerForKey("large"), INT64_MAX);
  };
  EXPECT_EQ(KeyedUnarchiver::readRecord(bytes, "Note", check), nullptr);
}

TEST(KeyedArchive, RefusesOtherClassesAndBrokenGraphs) {
  const auto objects = [](plist_t root) { return topOf(arrayOf({text("$null"), root})); };
  const auto with = [&](const char* key, plist_t value) {
    plist_t top = objects(text("root"));
    plist_dict_set_item(top, key, value);
    return bytesOf(top);
  };
  const std::pair<const char*, std::string> cases[] = {
      {"other archiver", with("$archiver", text("NSArchiver"))},
      {"other version", with("$version", plist_new_uint(1))},
      {"no objects", with("$objects", plist_new_array())},
      {"no null", with("$objects", arrayOf({text("x"), text("y")}))},
      {"root out of range", bytesOf(topOf(arrayOf({text("$null")}), 9))},
      {"root is a UID to itself", bytesOf(objects(uid(1)))},
      {"root without class", bytesOf(objects(dictionaryOf({{"a", text("b")}})))},
      {"text out of range", noteArchive({})},
      {"text of an unknown class",
       noteArchive({dictionaryOf({{"$class", uid(7)}}), classEntry("X")})},
      {"text that leads to itself",
       noteArchive(
           {dictionaryOf({{"$class", uid(7)}, {"NS.string", uid(6)}}), classEntry("NSString")})},
      {"entry is a string", noteArchive({text("t")}, "NSDictionary", {5}, {6})},
      {"entry is absent", noteArchive({text("t")}, "NSDictionary", {5}, {0})},
      {"key is absent", noteArchive({text("t")}, "NSDictionary", {0}, {4})},
      {"more keys than objects", noteArchive({text("t")}, "NSDictionary", {5, 6}, {4})},
      {"more objects than keys", noteArchive({text("t")}, "NSDictionary", {5}, {4, 4})},
  };
  for (const auto& [name, bytes] : cases) {
    const auto outcome = readNotes(bytes);
    EXPECT_FALSE(outcome.root) << name;
    ASSERT_TRUE(outcome.error) << name;
    EXPECT_EQ(outcome.error->domain() + std::to_string(outcome.error->code()),
              "NSCocoaErrorDomain4864")
        << name;
  }
}

TEST(KeyedArchive, TheFirstFailureOfARecordEndsTheReading) {
  const auto outcome =
      readNotes(noteArchive({plist_new_uint(1), text("other")}, "NSDictionary", {5, 7}, {4, 4}));
  EXPECT_EQ(outcome.notes, (Notes{{"key", {}}}));
  ASSERT_TRUE(outcome.error);
  EXPECT_NE(outcome.error->localizedDescription().find("\"title\""), std::string::npos);
  EXPECT_NE(outcome.error->localizedDescription().find("\"NSNumber\""), std::string::npos);
}

TEST(KeyedArchive, RefusesTruncatedFilesAndObjectsRepeatedWithoutEnd) {
  const std::string good = noteArchive({text("Grüße")});
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_FALSE(readNotes(good.substr(0, length)).root) << length;
  EXPECT_TRUE(readNotes("<?xml version=\"1.0\"?><plist><dict/></plist>").error);

  // Half a megabyte that asks for fifty thousand copies of a long text.
  const std::string longText(400000, 'x');
  const std::vector<std::uint64_t> keys(50000, 6);
  const std::vector<std::uint64_t> values(50000, 4);
  const auto repeated =
      readNotes(noteArchive({text(longText.c_str())}, "NSDictionary", keys, values));
  EXPECT_TRUE(repeated.error);
}

}  // namespace
}  // namespace quillfold
