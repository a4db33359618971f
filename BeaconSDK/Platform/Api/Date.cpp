#include "BeaconSDK/Platform/Api/Date.h"

#include <cmath>
#include <cstdio>

namespace ks {

namespace {
constexpr double kYear0 = -62167219200.0;      // 0000-01-01T00:00:00Z
constexpr double kYear10000 = 253402300800.0;  // 10000-01-01T00:00:00Z
}  // namespace

std::string dateDescription(Date date) {
  const double seconds = std::floor(secondsSince1970(date));
  char text[64];
  if (!(seconds >= kYear0 && seconds < kYear10000)) {
    std::snprintf(text, sizeof text, "@%.17g", secondsSince1970(date));
    return text;
  }
  const std::chrono::sys_seconds whole{std::chrono::seconds{static_cast<long long>(seconds)}};
  const auto day = std::chrono::floor<std::chrono::days>(whole);
  const std::chrono::year_month_day ymd{day};
  const std::chrono::hh_mm_ss time{whole - day};
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text;
}

}  // namespace ks
