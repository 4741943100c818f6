#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <thread>
#include <vector>

#include "adapters/icu/locale.h"
#include "foundation/date_formatter.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {
namespace {

const NSISO8601DateFormatter kWithFraction(
    NSISO8601DateFormatter::kInternetDateTimeWithFractionalSeconds);
const NSISO8601DateFormatter kPlain(NSISO8601DateFormatter::kInternetDateTime);
constexpr auto at = NSDate::dateWithTimeIntervalSince1970;

// Each case runs in a process of its own, which has not asked for either yet.
void setEnvironment(const char* locale, const char* zone) {
  setenv("LC_ALL", locale, 1);
  setenv("TZ", zone, 1);
}

TEST(ISODate, WritesMillisecondsRoundedHalfUp) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<double, const char*>> cases = {
      {1709622489.123, "2024-03-05T07:08:09.123Z"},   {1709251199.9995, "2024-03-01T00:00:00.000Z"},
      {0.0005, "1970-01-01T00:00:00.001Z"},           {0.00049, "1970-01-01T00:00:00.000Z"},
      {-0.0005, "1970-01-01T00:00:00.000Z"},          {-0.001, "1969-12-31T23:59:59.999Z"},
      {-62135596800, "0001-01-01T00:00:00.000Z"},     {-infinity, "0001-01-01T00:00:00.000Z"},
      {253402300799.999, "9999-12-31T23:59:59.999Z"}, {infinity, "9999-12-31T23:59:59.999Z"},
      {std::nan(""), "1970-01-01T00:00:00.000Z"}};
  for (const auto& [time, text] : cases)
    EXPECT_EQ(kWithFraction.stringFromDate(at(time)), text);
  EXPECT_EQ(kPlain.stringFromDate(at(1709622489.9996)), "2024-03-05T07:08:10Z");
}

TEST(ISODate, ReadsStrictly) {
  const std::vector<std::pair<const char*, double>> dates = {
      {"2024-03-05T07:08:09.123Z", 1709622489.123},
      {"1969-12-31T23:59:59.250Z", -0.75},
      {"2024-03-05T07:08:09.123+02:00", 1709615289.123},
      {"2024-03-05T07:08:09.123-00:30", 1709624289.123},
      {"0001-01-01T00:00:00.000Z", -62135596800}};
  for (const auto& [text, time] : dates)
    EXPECT_EQ(kWithFraction.dateFromString(text), at(time));
  EXPECT_EQ(kPlain.dateFromString("2024-03-05T07:08:09+02:00"), at(1709615289));
  EXPECT_FALSE(kPlain.dateFromString("2024-03-05T07:08:09.123Z"));
  for (const char* text :
       {"", "2024-03-05", "2024-03-05T07:08:09Z", "2024-13-05T07:08:09.123Z",
        "2024-03-32T07:08:09.123Z", "2024-02-30T07:08:09.123Z", "2023-02-29T07:08:09.123Z",
        "2024-03-05T24:08:09.123Z", "2024-03-05T07:60:09.123Z", "2024-03-05T07:08:60.123Z",
        "2024-03-1/T07:08:09.123Z", "2024-03-05 07:08:09.123Z", "2024-3-05T07:08:09.123Z",
        "0000-03-05T07:08:09.123Z", "2024-03-05T07:08:09.Z", "2024-03-05T07:08:09.123+2:00",
        "2024-03-05T07:08:09.123+24:00", "2024-03-05T07:08:09.123+02:60"}) {
    EXPECT_FALSE(kWithFraction.dateFromString(text)) << text;
  }
}

TEST(DateFormatter, UsesTheLocalZoneAndReadsWholeTexts) {
  setEnvironment("de_DE.UTF-8", "America/New_York");
  NSDateFormatter day("yyyy-MM-dd");
  EXPECT_EQ(day.stringFromDate(at(1709614799.9997)), "2024-03-04");
  EXPECT_EQ(day.dateFromString("2024-03-04"), at(1709528400));
  for (const char* text :
       {"", "2024-02-30", "2024-13-01", "2024-03-04 ", "2024- 3-04", "2024-03"}) {
    EXPECT_FALSE(day.dateFromString(text)) << text;
  }
  NSDateFormatter stamp("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
  stamp.setTimeZone("UTC");
  EXPECT_EQ(stamp.dateFromString("2024-03-05T07:08:09.123Z"), at(1709622489.123));
  EXPECT_EQ(stamp.stringFromDate(at(1098183596.284)), "2004-10-19T10:59:56.284Z");
  EXPECT_EQ(NSDateFormatter::mediumDateStyle().stringFromDate(at(1709600000)), "04.03.2024");
  EXPECT_EQ(localTimeZoneName(), "America/New_York");
}

TEST(DateFormatter, UsesTheCalendarOfTheLocale) {
  setEnvironment("th_TH", "Asia/Bangkok");
  EXPECT_EQ(NSDateFormatter("yyyy-MM-dd").stringFromDate(at(1709622489)), "2567-03-05");
  const NSCalendar calendar = NSCalendar::currentCalendar();
  EXPECT_EQ(calendar.componentsFromDate(at(1709622489)), (NSDateComponents{2567, 3, 5}));
  EXPECT_EQ(calendar.dateFromComponents({2567, 3, 5}), at(1709571600));
}

// A locale, and a date in its digits and its calendar.
using ForeignDate = std::array<std::string, 2>;
class ISOTextElsewhere : public testing::TestWithParam<ForeignDate> {};

TEST_P(ISOTextElsewhere, IsReadByItsFourFormsAndNoOther) {
  const auto [locale, own] = GetParam();
  setEnvironment(locale.c_str(), "America/New_York");
  const auto read = NSDate::dateFromISOString;
  EXPECT_EQ(read("2024-03-05T07:08:09.123Z"), at(1709622489.123));
  EXPECT_EQ(read("2024-03-05T09:08:09+02:00"), at(1709622489));
  EXPECT_EQ(read(own + ".123Z"), at(1709622489.123));
  EXPECT_EQ(read(own + "Z"), at(1709622489));
  EXPECT_FALSE(read(std::nullopt));
  for (const char* text :
       {"", "2024-03-05", "2024-03-05T07:08:09", " 2024-03-05T07:08:09Z", "2024-03-05T07:08:09Z ",
        "2024-03-05T07:08:09.123", "2024-3-05T07:08:09Z", "2024-03-05T07: 8:09Z"})
    EXPECT_FALSE(read(text)) << text;
}

INSTANTIATE_TEST_SUITE_P(Locales, ISOTextElsewhere,
                         testing::Values(ForeignDate{"th_TH", "๒๕๖๗-๐๓-๐๕T๐๗:๐๘:๐๙"},
                                         ForeignDate{"fa_IR", "۱۴۰۲-۱۲-۱۵T۰۷:۰۸:۰۹"},
                                         ForeignDate{"ar_EG", "٢٠٢٤-٠٣-٠٥T٠٧:٠٨:٠٩"}),
                         [](const auto& locale) { return locale.param[0]; });

TEST(Calendar, GivesTheStartOfADay) {
  setEnvironment("en_US.UTF-8", "America/Havana");
  const NSCalendar calendar = NSCalendar::currentCalendar();
  EXPECT_EQ(calendar.dateFromComponents({2024, 3, 5}), at(1709614800));
  EXPECT_EQ(calendar.componentsFromDate(at(1709614799.9997)), (NSDateComponents{2024, 3, 4}));
  // The clocks went from midnight to one, and in autumn from one to midnight.
  EXPECT_EQ(calendar.dateFromComponents({2024, 3, 10}), at(1710046800));
  EXPECT_EQ(calendar.dateFromComponents({2023, 11, 5}), at(1699156800));
  const NSDate withoutYear = calendar.dateFromComponents({std::nullopt, 7, 14});
  EXPECT_EQ(calendar.componentsFromDate(withoutYear), (NSDateComponents{1, 7, 14}));
  EXPECT_EQ(NSDateFormatter("yyyy-MM-dd").stringFromDate(withoutYear), "0001-07-14");
  // Nonsense of an address book ends in some date.
  const auto most = std::numeric_limits<std::int64_t>::max();
  calendar.componentsFromDate(calendar.dateFromComponents({most, -most, most}));
  calendar.componentsFromDate(at(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(calendar.componentsFromDate(at(std::nan(""))).year, 1969);
}

TEST(DateFormatter, UsesTheDigitsOfTheLocaleOnSeveralThreadsAtOnce) {
  setEnvironment("ar_EG.UTF-8", "UTC");
  const NSDateFormatter formatter("yyyy-MM-dd");
  const NSCalendar calendar = NSCalendar::currentCalendar();
  const auto check = [&] {
    for (int day = 0; day < 200; ++day) {
      const NSDate date = at(day * 86400.0);
      EXPECT_EQ(formatter.dateFromString(formatter.stringFromDate(date)), date);
      EXPECT_EQ(calendar.dateFromComponents(calendar.componentsFromDate(date)), date);
    }
  };
  std::thread other(check);
  check();
  other.join();
  EXPECT_EQ(formatter.stringFromDate(at(1709622489)), "٢٠٢٤-٠٣-٠٥");
  EXPECT_EQ(formatter.dateFromString("2024-03-05"), at(1709596800));
}

// TZ, the name it leads to, and the hour there at midnight UTC in summer.
using ZoneCase = std::array<std::string, 3>;
class ZoneOfEnvironment : public testing::TestWithParam<ZoneCase> {};

TEST_P(ZoneOfEnvironment, HasAName) {
  const auto& [value, name, hour] = GetParam();
  const TemporaryFolder root;
  root.write("zoneinfo/posix/Europe/Berlin", "");
  // As /etc/localtime is one.
  std::filesystem::create_symlink("zoneinfo/posix/Europe/Berlin", root.path("link5"));
  setEnvironment("en_US", (value == ":link" ? ':' + root.path("link5") : value).c_str());
  EXPECT_EQ(localTimeZoneName(), name);
  EXPECT_EQ(NSDateFormatter("HH").stringFromDate(at(1720051200)), hour);
}

INSTANTIATE_TEST_SUITE_P(Cases, ZoneOfEnvironment,
                         testing::Values(ZoneCase{"", "UTC", "00"},
                                         ZoneCase{"Foo/Bar", "UTC", "00"},
                                         ZoneCase{":link", "Europe/Berlin", "02"},
                                         ZoneCase{"GMT+2", "GMT-02:00", "22"}));

// LC_ALL, LC_TIME and LANG, and the identifier they lead to.
using LocaleCase = std::array<std::string, 4>;
class LocaleOfEnvironment : public testing::TestWithParam<LocaleCase> {};

TEST_P(LocaleOfEnvironment, IsTheFirstThatIsSet) {
  const char* names[] = {"LC_ALL", "LC_TIME", "LANG"};
  for (std::size_t i = 0; i < 3; ++i)
    setenv(names[i], GetParam()[i].c_str(), 1);
  EXPECT_EQ(defaultLocaleIdentifier(), GetParam()[3]);
}

INSTANTIATE_TEST_SUITE_P(Cases, LocaleOfEnvironment,
                         testing::Values(LocaleCase{"", "", "", "en_US"},
                                         LocaleCase{"POSIX", "", "fr_FR", "en_US"},
                                         LocaleCase{"", "", "uz_UZ@cyrillic", "uz_Cyrl_UZ"},
                                         LocaleCase{"", "", "ks_IN@devanagari", "ks_Deva_IN"},
                                         LocaleCase{"C.UTF-8", "de_DE", "fr_FR", "en_US"},
                                         LocaleCase{"", "de_AT.UTF-8@euro", "fr_FR", "de_AT"},
                                         LocaleCase{"", "", "sr_RS@latin", "sr_Latn_RS"},
                                         LocaleCase{"", "", "/etc/../x", "en_US"}));

}  // namespace
}  // namespace quillfold
