// JSON text, read and written.
#include "foundation/json.h"

#include <gtest/gtest.h>

#include <limits>

namespace quillfold {
namespace {

std::optional<std::string> rewritten(const std::string& text) {
  const auto value = NSJSONSerialization::JSONObjectWithData(text);
  return value ? NSJSONSerialization::dataWithJSONObject(*value) : std::nullopt;
}

TEST(JSON, ReadsAndWritesEveryKindOfValue) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"b":1,"a":{"c":[null,true,false]}})", R"({"a":{"c":[null,true,false]},"b":1})"},
      {R"({"a":1,"a":[2]})", R"({"a":[2]})"},
      {"[1,1.0,-0.5,1e3,12345678901234567890]", "[1,1,-0.5,1000,1.2345678901234567e+19]"},
      {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
      {R"(["\u00e9\ud83d\ude00\/\"\\\b\f\n\r\t\u0001"])",
       "[\"é😀/\\\"\\\\\\b\\f\\n\\r\\t\\u0001\"]"}};
  for (const auto& [text, expected] : rows)
    EXPECT_EQ(rewritten(text), expected) << text;
  EXPECT_EQ(NSJSONSerialization::JSONObjectWithData("[1,1.0,9223372036854775808]"),
            Value(Array{1, 1.0, 9223372036854775808.0}));
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
  const double infinity = std::numeric_limits<double>::infinity();
  const Dictionary date{{"date", NSDate()}}, data{{"data", Data("bytes")}};
  const Value refused[] = {"text", nullptr, date, data, Array{infinity}, Array{Array{-infinity}}};
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
  EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject(
      Array{*NSJSONSerialization::JSONObjectWithData(nested(kMost))}));
}

}  // namespace
}  // namespace quillfold
