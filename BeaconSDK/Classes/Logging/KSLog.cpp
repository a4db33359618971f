#include "BeaconSDK/Classes/Logging/KSLog.h"

#include <mutex>
#include <utility>

#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Platform/Api/Platform.h"

std::atomic<bool> enableLogging{false};

std::optional<std::string> formatProximity(std::int64_t proximity) {
  switch (proximity) {
    case 0:
      return "UNKNOWN";
    case 1:
      return "IMMEDIATE";
    case 2:
      return "NEAR";
    case 3:
      return "FAR";
    default:
      return std::nullopt;
  }
}

std::optional<std::string> formatProximity(ks::CLProximity proximity) {
  return formatProximity(static_cast<std::int64_t>(proximity));
}

namespace ks {

namespace {

/// "YY" is the week-based year on purpose: the stamps of a year's last days may show the next year.
constexpr const char* kStampPattern = "'['dd/MM/YY HH:mm:ss']'";

/// The one formatter of the trace, made for the first line and made anew only when the device's
/// locale or time zone has changed since.
class LogStamp {
 public:
  std::string text(Platform& platform) {
    const NSLocale locale = platform.currentLocale();
    std::string place = locale.localeIdentifier() + " " + platform.timeZoneName();
    const std::lock_guard lock(mutex_);
    if (!formatter_ || place != place_) {
      formatter_.emplace(kStampPattern, locale, platform.timeZoneName());
      place_ = std::move(place);
    }
    return formatter_->stringFromDate(platform.clock().now());
  }

 private:
  std::mutex mutex_;
  std::string place_;
  std::optional<NSDateFormatter> formatter_;
};

}  // namespace

void writeLogLine(std::int32_t line, std::string_view format,
                  std::span<const FormatArgument> arguments) {
  static LogStamp stamp;
  auto& platform = Platform::current();
  std::string text =
      stringWithFormat("%@ :(%d): %@", stamp.text(platform), line, formatted(format, arguments));
  platform.console().log(text);
  platform.mainQueue().async([text = std::move(text)] {
    Platform::current().notificationCenter().post(
        {DebugLogNotification, nullptr, {{ks::DebugLogMessageKey, text}}});
  });
}

}  // namespace ks
