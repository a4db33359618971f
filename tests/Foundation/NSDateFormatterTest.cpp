#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
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

/// What the C library, which reads the system's zone data, makes of a moment.
std::string systemText(const std::string& zone, std::time_t moment) {
  setenv("TZ", zone.c_str(), 1);
  tzset();
  std::tm parts{};
  localtime_r(&moment, &parts);
  std::array<char, 64> text{};
  const auto size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts);
  unsetenv("TZ");
  tzset();
  return {text.data(), size};
}

TEST(NSDateFormatterTest, FollowsTheSystemsZoneData) {
  constexpr std::time_t kFirst = 1262304000;  // 2010-01-01
  constexpr std::time_t kStep = 1234567;      // two weeks and a bit: up to 2037
  for (const char* zone : {"UTC",
                           "Europe/Rome",
                           "Europe/London",
                           "Europe/Dublin",
                           "Europe/Istanbul",
                           "Europe/Moscow",
                           "Africa/Cairo",
                           "Africa/Casablanca",
                           "Africa/Juba",
                           "America/Mexico_City",
                           "America/New_York",
                           "America/Sao_Paulo",
                           "America/St_Johns",
                           "America/Godthab",
                           "America/Ciudad_Juarez",
                           "Asia/Almaty",
                           "Asia/Amman",
                           "Asia/Gaza",
                           "Asia/Kathmandu",
                           "Asia/Tehran",
                           "Asia/Tokyo",
                           "Asia/Pyongyang",
                           "Australia/Lord_Howe",
                           "Pacific/Apia",
                           "Pacific/Chatham",
                           "Pacific/Fiji",
                           "Pacific/Kiritimati",
                           "Antarctica/Troll"}) {
    const NSDateFormatter formatter(NSDateFormatterServer::serverDateFormat(), wireLocale(), zone);
    for (int step = 0; step < 700; ++step) {
      const std::time_t moment = kFirst + step * kStep;
      const std::string text = systemText(zone, moment);
      const Date date = dateFromSecondsSince1970(static_cast<double>(moment));
      ASSERT_EQ(formatter.stringFromDate(date), text) << zone;
      ASSERT_EQ(formatter.dateFromString(text), date) << zone;
    }
  }
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
