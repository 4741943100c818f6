// JSON text, read and written.
#include "platform/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace quillfold {
namespace {

std::optional<std::string> rewritten(const std::string& text) {
  const auto value = NSJSONSerialization::JSONObjectWithData(text);
  return value ? NSJSONSerialization::dataWithJSONObject(*value) : std::nullopt;
}

TEST(JSON, ReadsAndWritesEveryKindOfValue) {
  const std::pair<const char*, const char*> rows[] = {
      {" [ ] ", "[]"},
      {R"({"b":1,"a":{"c":[null,true,false]}})", R"({"a":{"c":[null,true,false]},"b":1})"},
      {R"({"a":1,"a":[2]})", R"({"a":[2]})"},
      {"[1,1.0,-0.5,1e3,12345678901234567890]", "[1,1,-0.5,1000,1.2345678901234567e+19]"},
      {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
      {R"(["\u00e9\ud83d\ude00\/\"\\\b\f\n\r\t\u0001"])",
       "[\"é😀/\\\"\\\\\\b\\f\\n\\r\\t\\u0001\"]"}};
  for (const auto& [text, expected] : rows)
    EXPECT_EQ(rewritten(text), expected) << text;
  const auto numbers = NSJSONSerialization::JSONObjectWithData("[1,1.0,9223372036854775808]");
  const Array& array = *numbers->asArray();
  EXPECT_TRUE(array[0].isInteger() && array[1].isDouble() && array[2].isDouble());
}

TEST(JSON, RefusesWhatIsNoDocumentWithAnError) {
  for (const char* text :
       {"", " ", "1", "\"a\"", "null", "[1", "[1]x", "[1,]", "{'a':1}", "{\"a\"}", "[01]", "[NaN]",
        "[1e999]", "[\"\xff\"]", "[\"\\ud800\"]", "[\"\n\"]"}) {
    ErrorPtr error;
    EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(text, &error)) << text;
    ASSERT_NE(error, nullptr) << text;
    EXPECT_EQ(error->domain() + std::to_string(error->code()), "NSCocoaErrorDomain3840");
  }
  const Value refused[] = {"text",
                           nullptr,
                           Array{std::numeric_limits<double>::infinity()},
                           Array{Data("bytes")},
                           Dictionary{{"date", NSDate()}},
                           Array{Dictionary{{"a", std::nan("")}}}};
  for (const Value& value : refused) {
    ErrorPtr error;
    EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject(value, &error)) << value.description();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), 3851);
  }
  EXPECT_EQ(NSJSONSerialization::dataWithJSONObject(Array{"a\xff"}), "[\"a\uFFFD\"]");
}

TEST(JSON, BoundsTheNestingInBothDirections) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  constexpr std::size_t kMost = NSJSONSerialization::kMaximumDepth;
  EXPECT_EQ(rewritten(nested(kMost)), nested(kMost));
  EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(nested(kMost + 1)));
  EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(std::string(1'000'000, '[')));
  Array tooDeep{*NSJSONSerialization::JSONObjectWithData(nested(kMost))};
  EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject(tooDeep));
}

}  // namespace
}  // namespace quillfold
