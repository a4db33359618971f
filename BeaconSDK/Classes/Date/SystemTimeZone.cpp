#include "BeaconSDK/Classes/Date/SystemTimeZone.h"

#include <date/tz.h>
#include <unicode/calendar.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <fstream>

namespace ks {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

std::unique_ptr<icu::TimeZone> zoneOfICU(const std::string& name) {
  return std::unique_ptr<icu::TimeZone>(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
}

/// The data list changes up to 2037; the last span ends with the data library's years.
constexpr date::sys_seconds kEndOfAllData = date::sys_days{date::year{3000} / 1 / 1};

/// Whether the zone's clock changes each year for ever. The data's last line is then a rule with
/// the days of change, "CET-1CEST,M3.5.0,M10.5.0/3", which the data library leaves unread.
bool changesForEver(const std::string& name) {
  std::ifstream file("/usr/share/zoneinfo/" + name, std::ios::binary);
  std::string last;
  for (std::string line; std::getline(file, line);) last.swap(line);
  return last.find(',') != std::string::npos;
}

/// A zone of the system's data as ICU's formatters ask for it.
class SystemTimeZone : public icu::TimeZone {
 public:
  explicit SystemTimeZone(const date::time_zone& zone)
      : TimeZone(icu::UnicodeString::fromUTF8(zone.name())), zone_(zone) {
    if (changesForEver(zone.name())) afterwards_ = zoneOfICU(zone.name());
  }

  void getOffset(UDate moment, UBool isLocal, std::int32_t& standard, std::int32_t& saving,
                 UErrorCode& error) const override {
    if (U_FAILURE(error)) return;
    const date::sys_info info = infoAt(moment, isLocal != 0);
    if (afterwards_ && info.end > kEndOfAllData) {
      afterwards_->getOffset(moment, isLocal, standard, saving, error);
      return;
    }
    const auto total = duration_cast<milliseconds>(info.offset).count();
    saving = static_cast<std::int32_t>(duration_cast<milliseconds>(info.save).count());
    standard = static_cast<std::int32_t>(total) - saving;
  }
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t, std::int32_t millisecond, UErrorCode& error) const override {
    constexpr std::uint8_t kBeforeChrist = 0;
    const date::year_month_day date{date::year{era == kBeforeChrist ? 1 - year : year},
                                    date::month{static_cast<unsigned>(month) + 1},
                                    date::day{static_cast<unsigned>(day)}};
    const auto local = date::local_days{date}.time_since_epoch() + milliseconds{millisecond};
    std::int32_t standard = 0;
    std::int32_t saving = 0;
    getOffset(static_cast<UDate>(milliseconds{local}.count()), 1, standard, saving, error);
    return standard + saving;
  }
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t dayOfWeek, std::int32_t millisecond, std::int32_t,
                         UErrorCode& error) const override {
    return getOffset(era, year, month, day, dayOfWeek, millisecond, error);
  }
  using TimeZone::getOffset;

  /// The zone's rules are the system's.
  void setRawOffset(std::int32_t) override {}
  std::int32_t getRawOffset() const override {
    const date::sys_info info = infoAt(icu::Calendar::getNow(), false);
    return static_cast<std::int32_t>(duration_cast<milliseconds>(info.offset - info.save).count());
  }
  UBool useDaylightTime() const override {
    UErrorCode error = U_ZERO_ERROR;
    return inDaylightTime(icu::Calendar::getNow(), error);
  }
  UBool inDaylightTime(UDate moment, UErrorCode&) const override {
    return static_cast<UBool>(infoAt(moment, false).save.count() != 0);
  }
  SystemTimeZone* clone() const override { return new SystemTimeZone(*this); }
  UClassID getDynamicClassID() const override {
    static char identifier = 0;
    return &identifier;
  }

 private:
  /// A local time that a change of the clock skips or repeats follows the offset before the change.
  date::sys_info infoAt(UDate moment, bool isLocal) const {
    // Beyond these years the data library's arithmetic ends.
    constexpr double kFarthest = 1e15;
    const milliseconds since{static_cast<std::int64_t>(std::clamp(moment, -kFarthest, kFarthest))};
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    if (isLocal) return zone_.get_info(date::local_seconds{seconds}).first;
    return zone_.get_info(date::sys_seconds{seconds});
  }

  const date::time_zone& zone_;
  /// Beyond the last change that the data list; may be null.
  std::shared_ptr<const icu::TimeZone> afterwards_;
};

}  // namespace

std::unique_ptr<icu::TimeZone> systemTimeZone(const std::string& name) {
  // The first look into the data lists all zones, which takes milliseconds.
  if (name == "UTC") return zoneOfICU(name);
  try {
    return std::make_unique<SystemTimeZone>(*date::locate_zone(name));
  } catch (const std::exception&) {
    return zoneOfICU(name);
  }
}

}  // namespace ks
