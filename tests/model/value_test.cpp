// Values of any type, and fields that keep whatever the server sent.
#include "platform/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/json_field.h"

namespace quillfold {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

TEST(Value, ReadsAsANumberAndAsAText) {
  struct Row {
    Value value;
    bool boolean;
    std::int64_t integer;
    double real;
    const char* text;
  };
  const Row rows[] = {{nullptr, false, 0, 0, "<null>"},
                      {true, true, 1, 1, "true"},
                      {-3, true, -3, -3, "-3"},
                      {0.5, true, 0, 0.5, "0.5"},
                      {-2.9, true, -2, -2.9, "-2.9"},
                      {0.0, false, 0, 0, "0"},
                      {1e300, true, kMost, 1e300, "1e+300"},
                      {-1e300, true, kLeast, -1e300, "-1e+300"},
                      {" 12.5x", true, 12, 12.5, " 12.5x"},
                      {"yes", true, 0, 0, "yes"},
                      {Data("abc"), false, 0, 0, "<3 bytes>"},
                      {NSDate(), false, 0, 0, "1970-01-01T00:00:00.000Z"},
                      {Array{1, "1", nullptr}, false, 0, 0, R"([1, "1", <null>])"},
                      {Dictionary{{"b", Array{}}, {"a", "x"}}, false, 0, 0, R"({a: "x", b: []})"}};
  for (const Row& row : rows) {
    EXPECT_EQ(row.value.boolValue(), row.boolean) << row.text;
    EXPECT_EQ(row.value.integerValue(), row.integer) << row.text;
    EXPECT_EQ(row.value.doubleValue(), row.real) << row.text;
    EXPECT_EQ(row.value.description(), row.text);
  }
  EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
}

TEST(Value, AbsentNullAndOtherTypesStayApart) {
  const Dictionary object{{"null", nullptr}, {"number", 7}, {"text", "t"}};
  EXPECT_EQ(find(object, "missing"), nullptr);
  EXPECT_TRUE(find(object, "null")->isNull());
  EXPECT_EQ(stringForKey(object, "null"), std::nullopt);
  EXPECT_EQ(stringForKey(object, "number"), std::nullopt);
  EXPECT_EQ(stringForKey(object, "text"), "t");

  const JSONField absent(find(object, "missing")), null(find(object, "null"));
  const JSONField number(find(object, "number")), text(find(object, "text"));
  EXPECT_TRUE(absent.isAbsent() && !null.isAbsent() && !(absent == null));
  EXPECT_EQ(absent.description() + null.description() + number.description(), "<null>7");
  EXPECT_EQ(number.string(), std::nullopt);
  EXPECT_EQ(text.string(), "t");
  EXPECT_TRUE(text == JSONField("t"));
}

}  // namespace
}  // namespace quillfold
