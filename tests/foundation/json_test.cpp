// JSON text, read and written.
#include "foundation/json.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/reported.h"

namespace quillfold {
namespace {

std::optional<std::string> rewritten(const std::string& text) {
  const auto value = NSJSONSerialization::JSONObjectWithData(text);
  return value ? NSJSONSerialization::dataWithJSONObject(*value) : std::nullopt;
}

// Containers in each other, every other one an object.
std::string nested(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i)
    text = i % 2 == 0 ? '[' + text + ']' : "{\"k\":" + text + '}';
  return text;
}

TEST(JSON, ReadsAndWritesEveryKindOfValue) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"b":1,"a":{"c":[null,true,false]}})", R"({"a":{"c":[null,true,false]},"b":1})"},
      {R"({"a":1,"a":[2]})", R"({"a":[2]})"},
      {"[1,1.0,-0.5,1e3,1e16,12345678901234567890]",
       "[1,1,-0.5,1000,1e+16,1.2345678901234567e+19]"},
      {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
      {R"(["\u00e9\ud83d\ude00\/\"\\\b\f\n\r\t\u001f "])",
       "[\"é😀/\\\"\\\\\\b\\f\\n\\r\\t\\u001f \"]"}};
  for (const auto& [text, expected] : rows)
    EXPECT_EQ(rewritten(text), expected) << text;
}

TEST(JSON, TellsWhatIsWrongWithADocument) {
  const auto problem = [](std::string_view text) {
    ErrorPtr error;
    EXPECT_FALSE(NSJSONSerialization::JSONObjectWithData(text, &error)) << text;
    return reported(error);
  };
  EXPECT_EQ(problem(""), "NSCocoaErrorDomain 3840: No data to read as JSON.");
  const std::string invalid = "NSCocoaErrorDomain 3840: The data is no valid JSON: ";
  for (const char* text : {"1", "\"a\"", "null"})
    EXPECT_EQ(problem(text), invalid + "top level is no object or array.");
  for (const std::string& text : {nested(513), std::string(1'000'000, '[')})
    EXPECT_EQ(problem(text), invalid + "nested too deeply.");
  EXPECT_EQ(rewritten(nested(512)), nested(512));
  const std::pair<const char*, int> places[] = {
      {" ", 2},       {"[1", 3},         {"[1]x", 4},          {"[1,]", 4},
      {"{'a':1}", 2}, {"{\"a\"}", 5},    {"[01]", 3},          {"[NaN]", 2},
      {"[1e999]", 6}, {"[\"\xff\"]", 3}, {"[\"\\ud800\"]", 9}, {"[\"\n\"]", 3}};
  for (const auto& [text, byte] : places)
    EXPECT_EQ(problem(text), invalid + "invalid text around byte " + std::to_string(byte) + '.');
}

TEST(JSON, TellsWhatItCantWrite) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string top = "The top level of JSON is an object or an array.";
  const std::string formless =
      "The value can't be written as JSON: value that JSON has no form for.";
  const std::pair<Value, std::string> refused[] = {
      {"text", top},
      {Dictionary{{"date", NSDate()}}, formless},
      {Array{Array{-infinity}}, formless},
      {Array{*NSJSONSerialization::JSONObjectWithData(nested(512))},
       "The value can't be written as JSON: nested too deeply."}};
  for (const auto& [value, problem] : refused) {
    ErrorPtr error;
    EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject(value, &error));
    EXPECT_EQ(reported(error), "NSCocoaErrorDomain 3851: " + problem);
  }
  EXPECT_EQ(NSJSONSerialization::dataWithJSONObject(Array{"a\xff"}), "[\"a\uFFFD\"]");
}

}  // namespace
}  // namespace quillfold
