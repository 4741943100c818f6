#include "platform/archive/record_archive.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "platform/archive/keyed_archive.h"
#include "plist_files.h"

namespace quillfold {
namespace {

using namespace std::string_literals;
using Type = RecordArchive::FieldType;

struct Note {
  std::optional<std::string> title;
  double when = 0;
  std::optional<std::string> note;
  bool pinned = false;
  std::int64_t count = 0;
  bool hidden = false;

  friend bool operator==(const Note&, const Note&) = default;
};
using Notes = std::map<std::string, Note>;

// With a field that is always absent for each of "a" to "i": more fields than
// the first byte of an object counts.
std::vector<RecordArchive::Field> fields() {
  std::vector<RecordArchive::Field> out = {{"title", Type::string},  {"when", Type::real},
                                           {"note", Type::string},   {"pinned", Type::boolean},
                                           {"count", Type::integer}, {"hidden", Type::boolean}};
  for (char name = 'a'; name <= 'i'; ++name)
    out.push_back({std::string(1, name), Type::string});
  return out;
}

ErrorPtr put(RecordArchive& archive, std::string_view key, const Note& note) {
  std::vector<RecordArchive::FieldValue> values(fields().size());
  if (note.title) values[0] = *note.title;
  values[1] = note.when;
  if (note.note) values[2] = *note.note;
  values[3] = note.pinned;
  values[4] = note.count;
  values[5] = note.hidden;
  return archive.set(key, values);
}

Note titled(std::string title) {
  Note note;
  note.title = std::move(title);
  return note;
}

std::string bytesOf(RecordArchive& archive) {
  std::string bytes;
  for (const auto piece : archive.pieces())
    bytes += piece;
  EXPECT_EQ(bytes.size(), archive.byteCount());
  return bytes;
}

Notes readBack(std::string_view bytes) {
  Notes notes;
  const auto read = [&](const std::string& key, KeyedDecoder& record) {
    notes[key] = {record.decodeStringForKey("title"),  record.decodeDoubleForKey("when"),
                  record.decodeStringForKey("note"),   record.decodeBoolForKey("pinned"),
                  record.decodeIntegerForKey("count"), record.decodeBoolForKey("hidden")};
    EXPECT_EQ(record.decodeStringForKey("i"), std::nullopt);
  };
  EXPECT_EQ(KeyedUnarchiver::readRecordDictionary(bytes, "Note", read), ArchivedKind::dictionary);
  return notes;
}

// What is left of the bytes once another library has read them.
std::string throughLibplist(std::string_view bytes) {
  const auto tree = testing::parsedByLibplist(bytes);
  EXPECT_TRUE(tree);
  return tree ? testing::writtenByLibplist(tree.get()) : std::string();
}

TEST(RecordArchive, HasTheFormOfAKeyedArchive) {
  RecordArchive archive("Note", fields());
  EXPECT_TRUE(readBack(throughLibplist(bytesOf(archive))).empty());
  Notes notes = {{"", {}},
                 {"A", {"", 0.0, "Grüße 👋", true, -3, false}},
                 {"Ключ", {"a\xFFz", 1700000000.25, std::nullopt, false, INT64_MAX, true}}};
  for (const auto& [key, note] : notes)
    ASSERT_EQ(put(archive, key, note), nullptr);
  notes["Ключ"].title = "a\uFFFDz";
  EXPECT_EQ(readBack(bytesOf(archive)), notes);
  EXPECT_EQ(readBack(throughLibplist(bytesOf(archive))), notes);

  const auto tree = testing::parsedByLibplist(bytesOf(archive));
  plist_t objects = plist_dict_get_item(tree.get(), "$objects");
  const auto classOf = [&](plist_t object) {
    std::uint64_t uid = 0;
    plist_get_uid_val(plist_dict_get_item(object, "$class"), &uid);
    plist_t entry = plist_array_get_item(objects, static_cast<std::uint32_t>(uid));
    plist_t chain = plist_dict_get_item(entry, "$classes");
    std::string names = testing::stringOf(plist_dict_get_item(entry, "$classname")) + ":";
    for (std::uint32_t i = 0; i < plist_array_get_size(chain); ++i) {
      names += " " + testing::stringOf(plist_array_get_item(chain, i));
    }
    return names;
  };
  EXPECT_EQ(classOf(plist_array_get_item(objects, 1)),
            "NSMutableDictionary: NSMutableDictionary NSDictionary NSObject");
  plist_t record = plist_array_get_item(objects, 4);
  EXPECT_EQ(classOf(record), "Note: Note NSObject");
  EXPECT_EQ(plist_dict_get_size(record), fields().size() + 1);
  EXPECT_EQ(plist_get_node_type(plist_dict_get_item(record, "when")), PLIST_REAL);
  EXPECT_EQ(plist_get_node_type(plist_dict_get_item(record, "pinned")), PLIST_BOOLEAN);

  ASSERT_EQ(put(archive, "A\0B"s, titled("x\0y"s)), nullptr);
  EXPECT_EQ(readBack(bytesOf(archive)).at("A\0B"s).title, "x\0y"s);
}

// Records of all sizes come, grow, shrink and go, over many chunks.
TEST(RecordArchive, StaysTrueThroughAnyChanges) {
  std::mt19937 random(7);
  const auto upTo = [&](unsigned bound) {
    return std::uniform_int_distribution<unsigned>(0, bound)(random);
  };
  const auto someText = [&]() -> std::optional<std::string> {
    const unsigned kind = upTo(20);
    if (kind == 0) return std::nullopt;
    if (kind == 1) return "é" + std::string(upTo(2000), 'z');
    return std::string(kind == 2 ? upTo(90000) : upTo(200), static_cast<char>('a' + upTo(25)));
  };
  RecordArchive archive("Note", fields());
  Notes model;
  for (int step = 0; step < 6000; ++step) {
    const std::string key = "key " + std::to_string(upTo(1500));
    if (upTo(9) < 3) {
      archive.remove(key);
      model.erase(key);
    } else {
      const Note note{someText(), upTo(9) / 4.0, someText(), upTo(1) == 1, upTo(1U << 30), true};
      ASSERT_EQ(put(archive, key, note), nullptr);
      model[key] = note;
    }
    if (step % 40 == 0) archive.pieces();
    if (step % 500 == 499) {
      ASSERT_EQ(readBack(bytesOf(archive)), model) << step;
    }
    if (step == 3000) {
      archive.clear();
      model.clear();
      EXPECT_TRUE(readBack(bytesOf(archive)).empty());
    }
  }
  EXPECT_EQ(readBack(throughLibplist(bytesOf(archive))), model);
  EXPECT_EQ(archive.recordCount(), model.size());
  for (const auto& [key, note] : model)
    archive.remove(key);
  EXPECT_TRUE(readBack(bytesOf(archive)).empty());
  EXPECT_EQ(bytesOf(archive).find("zzzz"), std::string::npos) << "removed text stays in the file";
}

TEST(RecordArchive, TouchesOnlyThePiecesThatChange) {
  RecordArchive archive("Note", fields());
  for (int i = 0; i < 5000; ++i)
    put(archive, std::to_string(i), titled(std::string(100, 'a')));
  std::vector<std::string> before;
  const auto changed = [&] {
    const auto pieces = archive.pieces();
    std::size_t same = 0;
    for (std::size_t i = 0; i < before.size(); ++i)
      same += pieces[i] == before[i] ? 1U : 0U;
    before.assign(pieces.begin(), pieces.end());
    return pieces.size() - same;
  };
  ASSERT_GT(changed(), 15U);
  put(archive, "2500", titled(std::string(100, 'b')));
  EXPECT_EQ(changed(), 1U);
  put(archive, "2500", titled(std::string(101, 'b')));
  // The chunk, both parts of the offset table and the trailer.
  EXPECT_EQ(changed(), 4U);
}

TEST(RecordArchive, RefusesWhatItCantHoldAndStaysAsItWas) {
  RecordArchive archive("Note", fields(), 4000);
  int count = 0;
  while (!put(archive, std::to_string(count), titled("text")))
    ++count;
  EXPECT_GT(count, 3);
  const std::string before = bytesOf(archive);
  EXPECT_LE(before.size(), 4000U);
  const RecordArchive::FieldValue wrongType[] = {1.0, 1.0, "", true, std::int64_t{1}, false};
  const RecordArchive::FieldValue tooFew[] = {"", 1.0};
  const ErrorPtr errors[] = {put(archive, "new", titled("text")),
                             put(archive, "0", titled(std::string(4000, 'x'))),
                             archive.set("0", wrongType), archive.set("0", tooFew)};
  for (const auto& error : errors) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error->code(), 3851);
  }
  EXPECT_EQ(bytesOf(archive), before);
  // A removed record makes room for another one of its size.
  archive.remove("0");
  EXPECT_EQ(put(archive, "n", titled("text")), nullptr);
  EXPECT_EQ(bytesOf(archive).size(), before.size());
}

}  // namespace
}  // namespace quillfold
