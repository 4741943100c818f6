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

// The archive as another library's reader sees it.
class LibplistArchive {
 public:
  explicit LibplistArchive(std::string_view bytes) : top_(testing::parsedByLibplist(bytes)) {
    if (!top_) throw std::runtime_error("libplist can't read the archive");
    objects_ = plist_dict_get_item(top_.get(), "$objects");
  }

  plist_t top(const char* key) const { return plist_dict_get_item(top_.get(), key); }
  plist_t object(std::uint32_t index) const { return plist_array_get_item(objects_, index); }
  plist_t follow(plist_t node) const {
    std::uint64_t uid = 0;
    plist_get_uid_val(node, &uid);
    return object(static_cast<std::uint32_t>(uid));
  }
  plist_t root() const { return follow(plist_dict_get_item(top("$top"), "root")); }

  std::vector<std::string> classes(plist_t node) const {
    plist_t entry = follow(plist_dict_get_item(node, "$class"));
    plist_t chain = plist_dict_get_item(entry, "$classes");
    std::vector<std::string> names = {testing::stringOf(plist_dict_get_item(entry, "$classname"))};
    for (std::uint32_t i = 0; i < plist_array_get_size(chain); ++i) {
      names.push_back(testing::stringOf(plist_array_get_item(chain, i)));
    }
    return names;
  }

  Notes notes() const {
    plist_t keys = plist_dict_get_item(root(), "NS.keys");
    plist_t values = plist_dict_get_item(root(), "NS.objects");
    EXPECT_EQ(plist_array_get_size(keys), plist_array_get_size(values));
    Notes out;
    for (std::uint32_t i = 0; i < plist_array_get_size(keys); ++i) {
      plist_t record = follow(plist_array_get_item(values, i));
      EXPECT_EQ(plist_dict_get_size(record), fields().size() + 1);
      out[testing::stringOf(follow(plist_array_get_item(keys, i)))] = noteOf(record);
    }
    EXPECT_EQ(out.size(), plist_array_get_size(keys));
    return out;
  }

 private:
  std::optional<std::string> text(plist_t record, const char* key) const {
    plist_t object = follow(plist_dict_get_item(record, key));
    if (object == this->object(0)) return std::nullopt;
    return testing::stringOf(object);
  }
  Note noteOf(plist_t record) const {
    EXPECT_EQ(classes(record), (std::vector<std::string>{"Note", "Note", "NSObject"}));
    const auto value = [&](const char* key) { return plist_dict_get_item(record, key); };
    Note out = {text(record, "title"),
                0,
                text(record, "note"),
                plist_bool_val_is_true(value("pinned")) == 1,
                0,
                plist_bool_val_is_true(value("hidden")) == 1};
    std::uint64_t count = 0;
    plist_get_real_val(value("when"), &out.when);
    plist_get_uint_val(value("count"), &count);
    out.count = static_cast<std::int64_t>(count);
    return out;
  }

  testing::Plist top_;
  plist_t objects_ = nullptr;
};

TEST(RecordArchive, HasTheFormOfAKeyedArchive) {
  RecordArchive archive("Note", fields());
  EXPECT_TRUE(LibplistArchive(bytesOf(archive)).notes().empty());
  const Notes notes = {{"", {}},
                       {"A", {"", 0.0, "Grüße 👋", true, -3, false}},
                       {"Ключ", {"a\xFFz", 1700000000.25, std::nullopt, false, INT64_MAX, true}}};
  for (const auto& [key, note] : notes)
    ASSERT_EQ(put(archive, key, note), nullptr);
  const std::string bytes = bytesOf(archive);
  Notes expected = notes;
  expected["Ключ"].title = "a\uFFFDz";
  const LibplistArchive tree(bytes);
  EXPECT_EQ(tree.notes(), expected);
  EXPECT_EQ(readBack(bytes), expected);

  std::uint64_t version = 0;
  plist_get_uint_val(tree.top("$version"), &version);
  EXPECT_EQ(version, 100000U);
  EXPECT_EQ(testing::stringOf(tree.top("$archiver")), "NSKeyedArchiver");
  EXPECT_EQ(testing::stringOf(tree.object(0)), "$null");
  EXPECT_EQ(tree.classes(tree.root()),
            (std::vector<std::string>{"NSMutableDictionary", "NSMutableDictionary", "NSDictionary",
                                      "NSObject"}));

  ASSERT_EQ(put(archive, "A\0B"s, {"x\0y"s, 0, std::nullopt, false, 0, false}), nullptr);
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
  const std::string bytes = bytesOf(archive);
  EXPECT_EQ(LibplistArchive(bytes).notes(), model);
  EXPECT_EQ(archive.recordCount(), model.size());
  for (const auto& [key, note] : model)
    archive.remove(key);
  EXPECT_TRUE(LibplistArchive(bytesOf(archive)).notes().empty());
  EXPECT_EQ(bytesOf(archive).find("zzzz"), std::string::npos) << "removed text stays in the file";
}

TEST(RecordArchive, TouchesOnlyThePiecesThatChange) {
  RecordArchive archive("Note", fields());
  for (int i = 0; i < 5000; ++i)
    put(archive, std::to_string(i), titled(std::string(100, 'a')));
  const auto copies = [&] {
    std::vector<std::string> out;
    for (const auto piece : archive.pieces())
      out.emplace_back(piece);
    return out;
  };
  const auto changed = [](const std::vector<std::string>& a, const std::vector<std::string>& b) {
    int count = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
      count += a[i] == b[i] ? 0 : 1;
    return count;
  };
  const auto before = copies();
  ASSERT_GT(before.size(), 15U);
  put(archive, "2500", titled(std::string(100, 'b')));
  const auto sameSize = copies();
  EXPECT_EQ(changed(before, sameSize), 1);
  put(archive, "2500", titled(std::string(101, 'b')));
  // The chunk, both parts of the offset table and the trailer.
  EXPECT_EQ(changed(sameSize, copies()), 4);
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
