#include <fmt/format.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "tests/Support/PlatformFixture.h"

namespace ks {
namespace {

constexpr const char* kFractionPattern = "yyyy-MM-dd'T'HH:mm:ss.SSSSSSS'Z'";

TEST(NSDateFormatterTest, ParsesExactTextsOnly) {
  const NSDateFormatter formatter(kFractionPattern, wireLocale(), "UTC");
  const auto parsed = formatter.dateFromString("2027-01-01T00:00:00.1239999Z");
  ASSERT_TRUE(parsed);
  EXPECT_DOUBLE_EQ(secondsSince1970(*parsed), 1798761600.123);
  EXPECT_EQ(formatter.stringFromDate(*parsed), "2027-01-01T00:00:00.1230000Z");

  for (const char* text :
       {"", "2027-01-01T00:00:00Z", "2027-01-01T00:00:00.000Z", "2027-01-01T00:00:00.00000000Z",
        "2027-01-01T00:00:00.0000000z", "2027-01-01T00:00:00.0000000Zx",
        " 2027-01-01T00:00:00.000000Z", "2027-13-01T00:00:00.0000000Z",
        "2027-02-30T00:00:00.0000000Z", "2027-01-01T24:00:00.0000000Z",
        "2027-01-01T00:00:60.0000000Z", "2027-01-01T00:00:00.-000000Z",
        "+027-01-01T00:00:00.0000000Z", "\u0662\u0660\u0662\u0667-01-01T00:00:00.0000Z"}) {
    EXPECT_FALSE(formatter.dateFromString(text)) << text;
  }
}

TEST(NSDateFormatterTest, FastFormEqualsTheCalendar) {
  const NSDateFormatter fast(kFractionPattern, wireLocale(), "UTC");
  const NSDateFormatter calendar(kFractionPattern, wireLocale(), "Etc/UTC");
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    const auto below = [&](unsigned limit) { return random() % limit; };
    const std::string text =
        fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:07}Z", below(10000), below(14),
                    below(33), below(25), below(61), below(61), below(10000000));
    EXPECT_EQ(fast.dateFromString(text), calendar.dateFromString(text)) << text;
  }
}

TEST(NSDateFormatterTest, ReadsOffsetsAndNames) {
  const NSDateFormatter server("yyyy-MM-dd'T'HH:mm:ssZ", wireLocale(), "Asia/Kolkata");
  const Date date = dateFromSecondsSince1970(1525435407);
  EXPECT_EQ(server.stringFromDate(date), "2018-05-04T17:33:27+0530");
  EXPECT_EQ(server.dateFromString("2018-05-04T14:03:27+0200"), date);
  EXPECT_FALSE(server.dateFromString("2018-05-04T14:03:27+02:00"));
  const NSDateFormatter named("d MMM yyyy 'o''clock'", {"en", "US"}, "UTC");
  EXPECT_EQ(named.dateFromString("4 May 2018 o'clock"), dateFromSecondsSince1970(1525392000));
  EXPECT_FALSE(named.dateFromString("4 May 2018 o'clock sharp"));
}

TEST(NSDateFormatterTest, SurvivesWhatIsNoDate) {
  const double infinity = std::numeric_limits<double>::infinity();
  const NSDateFormatter formatter(kFractionPattern, wireLocale(), "Nowhere/Atlantis");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(0)), "1970-01-01T00:00:00.0000000Z");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(infinity)), "");
  EXPECT_EQ(formatter.stringFromDate(dateFromSecondsSince1970(9.3e18)), "");
  const NSDateFormatter broken("yyyy 'unclosed", wireLocale(), "UTC");
  EXPECT_FALSE(broken.dateFromString("2027"));
}

using ServerDateFormatterTest = testing::PlatformFixture;

TEST_F(ServerDateFormatterTest, KeepsDigitsOfEveryLocale) {
  for (const char* language : {"it", "ar", "fa", "th"}) {
    platform_->change([&](SimulatedSettings& it) { it.locale = {language, std::nullopt}; });
    const auto formatter = NSDateFormatterServer::serverDateFormatter();
    EXPECT_EQ(formatter.dateFormat(), NSDateFormatterServer::serverDateFormat());
    EXPECT_EQ(formatter.stringFromDate(now()), "2026-01-01T09:00:00+0100") << language;
  }
}

}  // namespace
}  // namespace ks
