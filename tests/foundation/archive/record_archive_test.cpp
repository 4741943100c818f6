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

ErrorPtr put(RecordArchive& archive, std::string_view key, const Note& note) {
  std::vector<RecordArchive::FieldValue> values(fields().size());
  if (note.title) values[0] = *note.title;
  values[1] = note.when;
  if (note.text) values[2] = *note.text;
  values[3] = note.pinned;
  values[4] = note.count;
  values[5] = note.hidden;
  return archive.set(key, values);
}

std::string bytesOf(RecordArchive& archive) {
  std::string bytes;
  for (const auto piece : archive.pieces())
    bytes += piece;
  EXPECT_EQ(bytes.size(), archive.byteCount());
  return bytes;
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

  ASSERT_EQ(put(archive, "A\0B"s, {.title = "x\0y"s}), nullptr);
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

TEST(RecordArchive, AChangeThatKeepsTheSizeTouchesOnePiece) {
  RecordArchive archive("Note", fields());
  for (int i = 0; i < 5000; ++i)
    put(archive, std::to_string(i), {.title = std::string(100, 'a')});
  const std::vector<std::string> before(archive.pieces().begin(), archive.pieces().end());
  put(archive, "2500", {.title = std::string(100, 'b')});
  const auto after = archive.pieces();
  ASSERT_GT(after.size(), 15U);
  EXPECT_EQ(std::inner_product(before.begin(), before.end(), after.begin(), 0U, std::plus<>(),
                               std::not_equal_to<>()),
            1U);
}

TEST(RecordArchive, RefusesWhatItCantHoldAndStaysAsItWas) {
  RecordArchive archive("Note", fields(), 4000);
  int count = 0;
  while (!put(archive, std::to_string(count), {.title = "text"}))
    ++count;
  EXPECT_GT(count, 3);
  const std::string before = bytesOf(archive);
  EXPECT_LE(before.size(), 4000U);
  const std::vector<RecordArchive::FieldValue> wrongType(fields().size());
  const RecordArchive::FieldValue tooFew[] = {"", 1.0};
  const ErrorPtr errors[] = {put(archive, "new", {.title = "text"}),
                             put(archive, "0", {.title = std::string(4000, 'x')}),
                             archive.set("0", wrongType), archive.set("0", tooFew)};
  for (const auto& error : errors) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain() + std::to_string(error->code()), "NSCocoaErrorDomain3851");
  }
  EXPECT_EQ(bytesOf(archive), before);
  // A removed record makes room for another one of its size.
  archive.remove("0");
  EXPECT_EQ(put(archive, "n", {.title = "text"}), nullptr);
  EXPECT_EQ(bytesOf(archive).size(), before.size());
}

}  // namespace
}  // namespace quillfold
