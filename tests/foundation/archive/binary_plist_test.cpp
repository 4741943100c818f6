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
}

TEST(BinaryPlist, TextKeepsNULsAndReplacesWhatIsNoUnicode) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\0b"s, "a\0b"s},
      {"é\0"s, "é\0"s},
      {"a\xFFz", "a\uFFFDz"},
      {"\xE2\x82", "\uFFFD"},
      {"\xE2\x82Z", "\uFFFDZ"},
      {"\xC0\xAF", "\uFFFD\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x9F\x98", "\uFFFD"},
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
      {"\x14"s + std::string(15, '\0') + "\x07", 7},
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

// Arrays, each of which holds the next one once or several times.
std::string nestedBytes(std::size_t depth, char times = 1) {
  std::vector<std::string> objects;
  for (std::size_t i = 1; i < depth; ++i) {
    objects.emplace_back(1, static_cast<char>('\xA0' + times));
    for (char n = 0; n < times; ++n)
      plist::appendNumber(objects.back(), i, 2);
  }
  objects.push_back("\xA0");
  return fileOf(objects, 2, 2);
}

TEST(BinaryPlist, RefusesWhatItCantTrust) {
  const std::string good = fileOf({"\xA1\x01", "\x51x"});
  const auto patched = [&](std::size_t fromEnd, char byte) {
    std::string bytes = good;
    bytes[bytes.size() - fromEnd] = byte;
    return bytes;
  };
  const std::pair<const char*, std::string> cases[] = {
      {"nothing", ""},
      {"XML", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>" + good},
      {"another version", "bplist15" + good.substr(8)},
      {"no objects", fileOf({})},
      {"reference width 9", patched(25, 9)},
      {"too many objects", patched(24, '\x7F')},
      {"huge offset", patched(36, '\xFF')},
      {"reference out of range", fileOf({"\xA1\x02", "\x08"})},
      {"cycle", fileOf({"\xA1\x01", "\xA1\x01"})},
      {"spreading", nestedBytes(40, 2)},
      {"too deep", nestedBytes(513)},
      {"null", fileOf({"\0"s})},
      {"UID", fileOf({"\x80\x01"})},
      {"key that is no string", fileOf({"\xD1\x01\x01", "\x08"})},
      {"integer of 32 bytes", fileOf({"\x15" + std::string(32, 'x')})},
      {"real of 2 bytes", fileOf({"\x21xx"})},
      {"integer past the end", fileOf({"\x13xxxxxxx"})},
      {"count that is no integer", fileOf({"\xAF\x51x"})},
      {"huge array count", fileOf({"\xAF\x13\x7F" + std::string(7, '\xFF')})},
      {"overflowing array count", fileOf({"\xAF\x13\x20\0\0\0\0\0\0\0"s}, 8, 8)},
      {"overflowing dictionary count", fileOf({"\xDF\x13\x10\0\0\0\0\0\0\0"s}, 8, 8)},
      {"huge text count", fileOf({"\x6F\x13\x40\0\0\0\0\0\0\x01"s})},
      {"huge data", fileOf({"\x4F\x14" + std::string(16, '\x7F')})},
  };
  for (const auto& [name, bytes] : cases) {
    ErrorPtr error;
    EXPECT_FALSE(read(bytes, &error)) << name;
    ASSERT_TRUE(error) << name;
    EXPECT_EQ(error->domain() + std::to_string(error->code()), "NSCocoaErrorDomain3840") << name;
    EXPECT_EQ(error->localizedDescription().find("larger than") != std::string::npos,
              std::string_view(name).ends_with(" count"))
        << name;
  }
  EXPECT_TRUE(read(good));
  EXPECT_TRUE(read(nestedBytes(512)));
  const std::string whole = written(everything());
  for (std::size_t length = 0; length < whole.size(); length += 1 + length / 1000)
    EXPECT_FALSE(read(whole.substr(0, length))) << length;
}

TEST(BinaryPlist, RefusesToWriteWhatTheFormatCantHold) {
  Value deep = Array{};
  for (int i = 1; i < 512; ++i)
    deep = Array{deep};
  EXPECT_TRUE(read(written(deep)));
  for (const Value& value :
       {Value(), Value(Array{Value()}), Value(Dictionary{{"k", Value()}}), Value(Array{deep})}) {
    ErrorPtr error;
    EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList(value, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 3851);
  }
}

}  // namespace
}  // namespace quillfold
