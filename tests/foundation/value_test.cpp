// Values of any type, fields that keep whatever the server sent, and addresses.
#include "foundation/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "foundation/json_field.h"
#include "foundation/url.h"

namespace quillfold {
namespace {

TEST(Value, ReadsAsANumberAndAsAText) {
  using Limits = std::numeric_limits<std::int64_t>;
  struct Row {
    Value value;
    bool boolean;
    std::int64_t integer;
    double real;
    const char* text;
  };
  const Row rows[] = {{nullptr, false, 0, 0, "<null>"},
                      {true, true, 1, 1, "true"},
                      {false, false, 0, 0, "false"},
                      {1, true, 1, 1, "1"},
                      {0.0, false, 0, 0, "0"},
                      {-2.9, true, -2, -2.9, "-2.9"},
                      {0x1p63, true, Limits::max(), 0x1p63, "9.223372036854776e+18"},
                      {-1e300, true, Limits::min(), -1e300, "-1e+300"},
                      {" 12.5x", true, 12, 12.5, " 12.5x"},
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
  EXPECT_EQ(stringForKey(object, "null"), std::nullopt);
  EXPECT_EQ(stringForKey(object, "number"), std::nullopt);
  EXPECT_EQ(stringForKey(object, "text"), "t");

  const JSONField absent(find(object, "missing")), null(find(object, "null")),
      number(find(object, "number")), text(find(object, "text"));
  EXPECT_TRUE(absent.isAbsent() && !null.isAbsent());
  EXPECT_TRUE(absent == std::nullopt && null == nullptr && text == "t" && !(absent == nullptr));
  EXPECT_EQ(absent.description() + null.description() + number.description(), "<null>7");
  EXPECT_EQ(number.string(), std::nullopt);
  EXPECT_EQ(text.string(), "t");
}

TEST(URL, JoinsWithOneSlashAndEscapesPathAndQuery) {
  for (const char* address : {"http://h", "http://h/", "http://h//"}) {
    EXPECT_EQ(url::appendingPathComponent(address, "a/b"), "http://h/a/b");
    EXPECT_EQ(url::appendingPathComponent(address, "/a b?c#d%é"),
              "http://h/a%20b%3Fc%23d%25%C3%A9");
  }
  EXPECT_EQ(url::appendingQuery("http://h/p", {}), "http://h/p");
  EXPECT_EQ(url::appendingQuery("http://h/p", {{"q x", "a&b=c+é/"}, {"z", ""}}),
            "http://h/p?q%20x=a%26b%3Dc%2B%C3%A9%2F&z=");
  EXPECT_EQ(url::appendingQuery("http://h/p?a=1", {{"b", "2"}}), "http://h/p?a=1&b=2");
}

}  // namespace
}  // namespace quillfold
