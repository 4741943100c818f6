#include "foundation/archive/record_archive.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <random>

#include "tests/foundation/archive/plist_files.h"

namespace quillfold {
namespace {

using namespace std::string_literals;
using namespace testing;
using Type = RecordArchive::FieldType;

// With a field that is always absent for each of "a" to "i": more fields than
// the first byte of an object counts.
std::vector<RecordArchive::Field> fields() {
  std::vector<RecordArchive::Field> out = {{"title", Type::string},  {"when", Type::real},
                                           {"text", Type::string},   {"pinned", Type::boolean},
                                           {"count", Type::integer}, {"hidden", Type::boolean}};
  for (char name = 'a'; name <= 'i'; ++name)
    out.push_back({std::string(1, name), Type::string});
  return out;
}

using Values = std::vector<RecordArchive::FieldValue>;

ErrorPtr put(RecordArchive& archive, std::string_view key, const Note& note) {
  Values values(fields().size());
  if (note.title) values[0] = *note.title;
  values[1] = note.when;
  if (note.text) values[2] = *note.text;
  values[3] = note.pinned;
  values[4] = note.count;
  values[5] = note.hidden;
  return archive.set(key, values);
}

std::string bytesOf(RecordArchive& archive) {
  return std::string(archive.contents().bytes());
}

Notes readBack(std::string_view bytes) {
  const auto outcome = readNotes(bytes);
  EXPECT_EQ(outcome.root, ArchivedKind::dictionary);
  return outcome.notes;
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

  const auto tree = parsedByLibplist(bytesOf(archive));
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(tree.get(), &xml, &length);
  std::string form(xml, length);
  plist_to_xml_free(xml);
  std::erase_if(form, [](char c) { return c == '\t' || c == '\n'; });
  for (const char* part :
       {"<key>$classes</key><array><string>NSMutableDictionary</string>"
        "<string>NSDictionary</string><string>NSObject</string></array>",
        "<key>$classes</key><array><string>Note</string><string>NSObject</string></array>",
        "<key>pinned</key><true/>", "<key>when</key><real>1700000000.25</real>"}) {
    EXPECT_NE(form.find(part), std::string::npos) << part;
  }
}

// A copy of an archive's file that is brought up to date by what has changed in it.
class Twin {
 public:
  // Returns the bytes that were written.
  std::size_t follow(RecordArchive& archive) {
    const RevisedBytes& contents = archive.contents();
    const std::string_view bytes = contents.bytes();
    auto changes = contents.changesSince(revision_);
    if (!changes) {
      bytes_.clear();
      changes = {{0, bytes.size()}};
    }
    bytes_.resize(bytes.size());
    std::size_t written = 0;
    for (const auto& [offset, size] : *changes) {
      bytes_.replace(offset, size, bytes.substr(offset, size));
      written += size;
    }
    revision_ = contents.revision();
    EXPECT_TRUE(bytes_ == bytes);
    return written;
  }

 private:
  std::string bytes_;
  RevisedBytes::Revision revision_;
};

// Records of all sizes come, grow, shrink and go.
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
  Twin often, seldom;
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
    if (step % 40 == 0) often.follow(archive);
    if (upTo(500) == 0) seldom.follow(archive);
    if (step % 500 == 499) {
      EXPECT_LT(bytesOf(archive).size(), 4 * archive.byteCount());
      EXPECT_EQ(RecordArchive::damageOf(bytesOf(archive)), nullptr);
      ASSERT_EQ(readBack(bytesOf(archive)), model) << step;
    }
    if (step == 3000) {
      archive.clear();
      model.clear();
      EXPECT_EQ(archive.byteCount(), RecordArchive("Note", fields()).byteCount());
      EXPECT_TRUE(readBack(bytesOf(archive)).empty());
    }
  }
  EXPECT_EQ(readBack(throughLibplist(bytesOf(archive))), model);
  EXPECT_EQ(archive.recordCount(), model.size());
}

TEST(RecordArchive, KeepsNeitherOldTextsNorTheirRoom) {
  RecordArchive archive("Note", fields());
  const auto holds = [&](const char* text) {
    return bytesOf(archive).find(text) != std::string::npos;
  };
  put(archive, "key", {.title = "first"});
  put(archive, "key", {.title = std::string(3000, 'y') + "second"});
  EXPECT_TRUE(!holds("first") && holds("second"));
  put(archive, "key", {.title = "third"});
  EXPECT_TRUE(!holds("yyyy") && !holds("second") && holds("third"));
  archive.remove("key");
  EXPECT_FALSE(holds("third"));
  for (std::size_t size = 100; size < 20000; size += 100)
    put(archive, "key", {.title = std::string(size, 'z')});
  EXPECT_LT(bytesOf(archive).size(), 150000U);
}

TEST(RecordArchive, ChangesLittleForOneRecordAndTellsAnyDamage) {
  RecordArchive archive("Note", fields());
  Twin twin, next;
  std::size_t written = 0;
  const auto save = [&](int number, std::size_t size) {
    put(archive, std::to_string(number), {.title = std::string(size, 'a')});
    written += twin.follow(archive);
    std::swap(twin, next);
  };
  for (int i = 0; i < 1500; ++i)
    save(i, 200);
  EXPECT_LT(written / 1500, 6000U) << "the size of the archive counts";
  written = 0;
  for (std::size_t i = 0; i < 500; ++i)
    save(static_cast<int>(i * 799 % 1500), 150 + i % 100);
  EXPECT_LT(written / 500, 6000U);

  const std::string good = bytesOf(archive);
  std::mt19937 random(1);
  for (int i = 0; i < 200; ++i) {
    std::string bad = good;
    const std::size_t place = 16 + random() % (good.size() - 16);
    bad[place] = static_cast<char>(bad[place] ^ (1 << random() % 8));
    EXPECT_TRUE(RecordArchive::damageOf(bad)) << place;
  }
  // A piece of an earlier revision, as a power cut leaves it, and a lost end.
  const auto before = archive.contents().revision();
  put(archive, "1000", {.title = std::string(300, 'b')});
  const RevisedBytes& after = archive.contents();
  const auto changes = after.changesSince(before).value();
  EXPECT_GT(changes.size(), 2U);
  for (const auto& [offset, size] : changes) {
    std::string torn(after.bytes());
    EXPECT_TRUE(RecordArchive::damageOf(torn.replace(offset, size, good, offset, size)));
  }
  EXPECT_EQ(reported(RecordArchive::damageOf(good.substr(0, good.size() - 40))),
            "NSCocoaErrorDomain 4864: The archive is not as it was written.");
  // The sum stays the same from one version of the library to the next.
  const auto sealed = "bplist00\xFFqfsum 1\x4C\xCB\x73\xCB\x1E\xD5\x04\xB5"s;
  for (const auto& whole : {""s, "bplist00"s, "bplist00........................"s,
                            sealed + "any bytes of an odd number"})
    EXPECT_EQ(RecordArchive::damageOf(whole), nullptr);
}

TEST(RecordArchive, RefusesWhatItCantHoldAndStaysAsItWas) {
  RecordArchive archive("Note", fields(), 3843);
  int count = 0;
  while (!put(archive, std::to_string(count), {.title = "text"}))
    ++count;
  EXPECT_EQ(put(archive, "0", {.title = "TEXT"}), nullptr);
  EXPECT_EQ(archive.byteCount(), 675U + 8 * 396) << count;  // Reserves do not count.
  const std::string before = bytesOf(archive);
  Values tooMany = {"", 1.0, "", true, std::int64_t{1}, true};
  tooMany.resize(fields().size() + 1);
  const Values noTitle = {1.0}, tooFew = {"", 1.0}, noReal(fields().size());
  const std::string full = "The archive would be larger than 3843 bytes.";
  const std::string misfit = "The archive can't hold the record: no value fits the field ";
  const std::pair<ErrorPtr, std::string> errors[] = {
      {put(archive, "new", {.title = "text"}), full},
      {put(archive, "0", {.title = std::string(4000, 'x')}), full},
      {archive.set("0", noTitle), misfit + "\"title\"."},
      {archive.set("0", noReal), misfit + "\"when\"."},
      {archive.set("0", tooFew), misfit + "\"text\"."},
      {archive.set("0", tooMany), misfit + "\"\"."}};
  for (const auto& [error, text] : errors)
    EXPECT_EQ(reported(error), "NSCocoaErrorDomain 3851: " + text);
  EXPECT_EQ(bytesOf(archive), before);
  // A removed record makes room for another one of its size.
  archive.remove("0");
  EXPECT_EQ(put(archive, "n", {.title = "text"}), nullptr);
}

}  // namespace
}  // namespace quillfold
