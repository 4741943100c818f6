#include "foundation/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quillfold::text {

constexpr const char* kReplacement = "\xEF\xBF\xBD";

TEST(Text, CountsAndCutsInUTF16Units) {
  EXPECT_EQ(length("Ann Lee, plain and long"), 23U);
  EXPECT_EQ(length("é😀漢"), 4U);
  EXPECT_EQ(prefix("abc", 2) + suffix("abc", 2) + prefix("abc", 5) + suffix("abc", 5),
            "abbcabcabc");
  const std::string half = kReplacement;
  const std::vector<std::pair<std::string, std::string>> cuts = {
      {"", ""}, {"é", "z"}, {"é" + half, half + "z"}, {"é😀", "😀z"}, {"é😀z", "é😀z"}};
  for (std::size_t units = 0; units < cuts.size(); ++units) {
    EXPECT_EQ(prefix("é😀z", units), cuts[units].first);
    EXPECT_EQ(suffix("é😀z", units), cuts[units].second);
  }
}

TEST(Text, ReadsBytesThatAreNoUTF8AsReplacements) {
  const std::vector<std::pair<const char*, std::u16string>> cases = {
      {"\x80", u"\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"é😀\xF0\x9F\x98", u"é😀\uFFFD"}};
  for (const auto& [bytes, units] : cases) {
    EXPECT_FALSE(isValidUTF8(bytes));
    EXPECT_EQ(utf16Of(bytes), units);
    EXPECT_EQ(sanitized(bytes), utf8Of(units));
    EXPECT_EQ(length(bytes), length(sanitized(bytes)));
    EXPECT_EQ(lowercaseString(bytes), sanitized(bytes));
    EXPECT_EQ(compare(bytes, sanitized(bytes)), 0);
  }
}

TEST(Text, MapsCaseFullyAndWithoutALocale) {
  EXPECT_EQ(lowercaseString("ANN@Mail.{[Z"), "ann@mail.{[z");
  EXPECT_EQ(uppercaseString("ann@mail.{[z"), "ANN@MAIL.{[Z");
  EXPECT_EQ(uppercaseString("straße ﬁ"), "STRASSE FI");
  EXPECT_EQ(lowercaseString("ΟΔΟΣ Ünal I"), "οδος ünal i");
}

TEST(Text, TrimsTheNamedCharactersOnly) {
  EXPECT_EQ(trimmingWhitespace(" \t\u00A0\u3000Ann  Lee\u2009 "), "Ann  Lee");
  EXPECT_EQ(trimmingWhitespace("Ann\n "), "Ann\n");
  EXPECT_EQ(trimmingWhitespace("\u200BAnn\xFF"), "\u200BAnn\xFF");  // A format character stays.
  EXPECT_EQ(trimmingWhitespaceAndNewlines("\u2028\u2029\u0085\r\n\v\f é \u00A0"), "é");
}

TEST(Text, KeepsDecimalDigitsOfEveryScript) {
  EXPECT_EQ(decimalDigits("+1 (555) 010-0199"), "15550100199");
  EXPECT_EQ(decimalDigits("٠١٢ 𝟗 ²½Ⅷ"), "٠١٢𝟗");
}

TEST(Text, ComparesByCodePointOfTheDecomposedTexts) {
  // By UTF-16 units the last would stand before the one ahead of it.
  const std::vector<std::string> order = {
      "",  "Ann", "Ann Lee", "An\u0144 Lee", "Z",      "a", "e", "ea", "é",
      "ệ", "f",   "ø",       "가",           "\uFFFD", "😀"};
  for (std::size_t i = 0; i < order.size(); ++i) {
    for (std::size_t j = 0; j < order.size(); ++j) {
      const int result = compare(order[i], order[j]);
      EXPECT_EQ((result > 0) - (result < 0), (i > j) - (i < j)) << order[i] << " " << order[j];
    }
  }
  EXPECT_EQ(compare("Ann\u0301 Lee", "An\u0144 Lee"), 0);
  EXPECT_EQ(compare("xe\u0302\u0323z", "xe\u0323\u0302z"), 0);
}

TEST(Text, ReadsNumbersAtTheStart) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(integerValue(" \n\u00A0+42abc"), 42);
  EXPECT_EQ(integerValue("-9223372036854775807"), Limits::min() + 1);
  EXPECT_EQ(integerValue("-99999999999999999999"), Limits::min());
  EXPECT_EQ(integerValue("9223372036854775808"), Limits::max());
  for (const char* none : {"", " ", "-", "+-1", "abc", "٣"})
    EXPECT_EQ(integerValue(none), 0) << none;

  EXPECT_EQ(doubleValue(" -12.25e-1xyz"), -1.225);
  EXPECT_EQ(doubleValue(".5E1."), 5);
  EXPECT_TRUE(std::isinf(doubleValue("1e999")));
  for (const char* none : {"", ".", "-", "inf", "nan", "0x10", "e5", "-.e1", "1e-999"})
    EXPECT_EQ(doubleValue(none), 0) << none;

  for (const char* yes : {"10", " +007", "-2", "Yes", "t", "0Y"})
    EXPECT_TRUE(boolValue(yes)) << yes;
  for (const char* no : {"", "0", "00", "-Y", "no", "+true", "x1"})
    EXPECT_FALSE(boolValue(no)) << no;
}

}  // namespace quillfold::text
