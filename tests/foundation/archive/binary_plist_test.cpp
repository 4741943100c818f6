#include "foundation/archive/binary_plist.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/foundation/archive/plist_files.h"

namespace quillfold {
namespace {

using namespace std::string_literals;
using testing::fileOf;

std::optional<Value> read(std::string_view bytes, ErrorPtr* error = nullptr) {
  return NSPropertyListSerialization::propertyListWithData(bytes, error);
}

std::string written(const Value& value) {
  return NSPropertyListSerialization::dataWithPropertyList(value).value_or("(refused)");
}

Value everything() {
  Array many;
  Dictionary wide;
  for (int i = 0; i < 300; ++i) {
    many.emplace_back("text " + std::to_string(i));
    wide["key " + std::to_string(i)] = i;
  }
  Dictionary all = {{"true", true}, {"false", false}, {"ключ", Array{}}, {"empty", Dictionary{}}};
  all["integers"] = Array{0, 255, 256, 65536, std::int64_t{1} << 40, -1, INT64_MIN, INT64_MAX};
  all["reals"] = Array{0.0, -1.5, 1e300, HUGE_VAL};
  all["dates"] = Array{NSDate::dateWithTimeIntervalSince1970(1700000000.5), NSDate()};
  all["data"] = Array{Data("\0\x01\xFF"s), Data(std::string(70000, 'x'))};
  all["texts"] = Array{"", "ascii", "Grüße", "日本語", "👩‍👩‍👧", std::string(300, 'y')};
  all["many"] = many;
  all["wide"] = wide;
  return all;
}

TEST(BinaryPlist, AnotherLibraryReadsWhatWasWrittenAndTheOtherWayRound) {
  const std::string bytes = written(everything());
  EXPECT_EQ(read(bytes), everything());
  EXPECT_EQ(read(testing::throughLibplist(bytes)), everything());
  // In the least width, and only ASCII in single bytes.
  EXPECT_EQ(written(Array{255, 65535, std::int64_t{0xFFFFFFFF}, "é", "a"}),
            fileOf({"\xA5\x01\x02\x03\x04\x05", "\x10\xFF", "\x11\xFF\xFF", "\x12\xFF\xFF\xFF\xFF",
                    "\x61\0\xE9"s, "\x51\x61"},
                   1));
}

TEST(BinaryPlist, TextKeepsNULsAndReplacesWhatIsNoUnicode) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\0b"s, "a\0b"s},
      {"é\0"s, "é\0"s},
      {"a\xFFz", "a\uFFFDz"},
      {"\U0010FFFF\uFFFF\u0800\u07FF", "\U0010FFFF\uFFFF\u0800\u07FF"},
  };
  for (const auto& [text, back] : cases)
    EXPECT_EQ(read(written(text)), Value(back)) << text;
  // Halves of surrogate pairs: alone, in the wrong order, at the end.
  EXPECT_EQ(read(fileOf({"\x64\xD8\x3D\0A\xDE\0\xD8\x3D"s})), Value("\uFFFDA\uFFFD\uFFFD"));
  EXPECT_EQ(read(fileOf({"\x53\xC3\xA9\xFF"})), Value("é\uFFFD"));
}

TEST(BinaryPlist, ReadsEveryWidth) {
  const std::pair<std::string, Value> cases[] = {
      {"\x10\xFF"s, 255},
      {"\x11\xFF\xFE"s, 65534},
      {"\x12\xFF\xFF\xFF\xFF"s, std::int64_t{0xFFFFFFFF}},
      {"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"s, -2},
      {"\x14"s + std::string(16, '\0'), 0},
      {"\x14"s + std::string(15, '\xFF') + "\xF9", -7},
      {"\x14"s + std::string(8, '\0') + std::string(8, '\xFF'), 18446744073709551615.0},
      {"\x22\x3F\xC0\x00\x00"s, 1.5},
      {"\x5F\x11\x00\x02hi"s, "hi"},
  };
  for (unsigned width = 1; width <= 8; ++width) {
    for (const auto& [object, value] : cases) {
      const std::string reference = std::string(width - 1, '\0') + '\x01';
      const auto bytes = fileOf({"\xA1" + reference, object}, width, width);
      EXPECT_EQ(read(bytes), Value(Array{value})) << width << value.description();
    }
  }
  // Two references to one object, and a key that stands twice.
  EXPECT_EQ(read(fileOf({"\xA2\x01\x01", "\x51x"})), Value(Array{"x", "x"}));
  EXPECT_EQ(read(fileOf({"\xD2\x01\x01\x02\x03", "\x51k", "\x09", "\x08"})),
            Value(Dictionary{{"k", false}}));
}

// Arrays, each of which holds the next one once or several times; of those that hold it once
// every other one is a dictionary.
std::string nestedBytes(std::size_t depth, char times = 1) {
  std::vector<std::string> objects;
  for (std::size_t i = 1; i < depth; ++i) {
    const bool keyed = times == 1 && i % 2 == 0;
    objects.emplace_back(1, static_cast<char>((keyed ? '\xD0' : '\xA0') + times));
    if (keyed) plist::appendNumber(objects.back(), depth, 2);
    for (char n = 0; n < times; ++n)
      plist::appendNumber(objects.back(), i, 2);
  }
  objects.insert(objects.end(), {"\xA0", "\x51k"});
  return fileOf(objects, 2, 2);
}

TEST(BinaryPlist, RefusesWhatItCantTrust) {
  const std::string good = fileOf({"\xA1\x01", "\x51x"});
  const auto withTrailer = [&](const plist::Trailer& trailer) {
    std::string bytes = good.substr(0, 20);
    plist::appendTrailer(bytes, trailer);
    return bytes;
  };
  const auto withOffset = [&](char offset) { return std::string(good).replace(19, 1, 1, offset); };
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"it is no binary property list",
       {"", "<plist version=\"1.0\"><dict/></plist>" + good, "bplist15" + good.substr(8),
        fileOf({})}},
      {"its trailer is wrong",
       {withTrailer({4, 9, 2, 0, 12}), withTrailer({4, 0, 2, 0, 12}), withTrailer({0, 1, 2, 0, 12}),
        withTrailer({3, 1, 2, 0, 12}), withTrailer({4, 1, 3, 0, 12}), withTrailer({4, 1, 2, 2, 12}),
        withTrailer({4, 1, UINT64_MAX / 4, 0, 24})}},
      {"an object's offset is out of range", {withOffset(12), withOffset(7)}},
      {"a reference is out of range", {fileOf({"\xA1\x02", "\x08"})}},
      {"its references lead in circles or repeat too much", {nestedBytes(40, 2)}},
      {"it is nested too deeply", {fileOf({"\xA1\x01", "\xA1\x01"}), nestedBytes(513)}},
      {"an object is of an unknown type", {fileOf({"\0"s})}},
      {"it holds a UID, which is no value", {fileOf({"\x80\x01"})}},
      {"a key is no string", {fileOf({"\xD1\x01\x01", "\x08"})}},
      {"a number is too wide", {fileOf({"\x15" + std::string(32, 'x')})}},
      {"a real number has an unknown width", {fileOf({"\x21xx"})}},
      {"an object reaches beyond its end", {fileOf({"\x13xxxxxxx"}), fileOf({"\x23xxxxxxx"})}},
      {"a count is no integer", {fileOf({"\xAF\x51x"})}},
      {"a count is larger than the file",
       {fileOf({"\xAF\x13\x7F" + std::string(7, '\xFF')}),
        fileOf({"\xAF\x13\x20\0\0\0\0\0\0\0"s}, 8, 8),
        fileOf({"\xDF\x13\x10\0\0\0\0\0\0\0"s}, 8, 8), fileOf({"\x6F\x13\x40\0\0\0\0\0\0\x01"s})}},
      {"a count is too large",
       {fileOf({"\x4F\x14" + std::string(16, '\x7F')}),
        fileOf({"\x4F\x13" + std::string(8, '\xFF')})}},
  };
  for (const auto& [reason, files] : cases) {
    for (const std::string& bytes : files) {
      ErrorPtr error;
      EXPECT_FALSE(read(bytes, &error)) << reason;
      EXPECT_EQ(reported(error),
                "NSCocoaErrorDomain 3840: The property list can't be read: "s + reason + '.');
    }
  }
  EXPECT_EQ(read(fileOf({"\x09"}, 1)), Value(true));
  EXPECT_TRUE(read(nestedBytes(512)));
  const std::string whole = written(everything());
  for (std::size_t length = 0; length < whole.size(); length += 1 + length / 1000)
    EXPECT_FALSE(read(whole.substr(0, length))) << length;
}

TEST(BinaryPlist, RefusesToWriteWhatTheFormatCantHold) {
  Value deep = Array{};
  for (int i = 1; i < 512; ++i)
    deep = i % 2 == 0 ? Value(Array{deep}) : Value(Dictionary{{"k", deep}});
  EXPECT_TRUE(read(written(deep)));
  const std::pair<Value, const char*> cases[] = {
      {Array{Value()}, "null is no property list value"},
      {Dictionary{{"k", Value()}}, "null is no property list value"},
      {Array{deep}, "the value is nested too deeply"}};
  for (const auto& [value, reason] : cases) {
    ErrorPtr error;
    EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList(value, &error));
    EXPECT_EQ(reported(error),
              "NSCocoaErrorDomain 3851: The property list can't be written: "s + reason + '.');
  }
}

}  // namespace
}  // namespace quillfold
