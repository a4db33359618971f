#include "tools/ksbeacon/timeline/TimelineEvent.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace ks::tool {

namespace {

constexpr std::array kKindNames = {
    "application", "position",     "region",    "ranging", "request", "trigger", "dwelling",
    "refusal",     "notification", "statistic", "http",    "cache",   "log",     "expectation",
    "withheld",    "login",        "breach",    "state",   "presence"};

}  // namespace

const char* timelineKindName(TimelineKind kind) {
  return kKindNames[static_cast<std::size_t>(kind)];
}

int priorityOf(const TimelineEvent& event) {
  constexpr int kError = 3;
  constexpr int kWarning = 4;
  constexpr int kNotice = 5;
  constexpr int kInformation = 6;
  constexpr int kDebug = 7;
  if (event.minor) return kDebug;
  switch (event.kind) {
    case TimelineKind::breach:
      return kError;
    case TimelineKind::login:
      return kWarning;
    case TimelineKind::http: {
      const std::int64_t status = event.details["status"].integerValue();
      return status >= 200 && status < 400 ? kDebug : kWarning;
    }
    case TimelineKind::trigger:
    case TimelineKind::notification:
      return kNotice;
    case TimelineKind::position:
    case TimelineKind::ranging:
    case TimelineKind::cache:
    case TimelineKind::log:
      return kDebug;
    default:
      return kInformation;
  }
}

std::string timelineMoment(Seconds at) {
  const auto milliseconds = static_cast<long long>(std::llround(at.count() * 1000));
  return fmt::format("{}:{:02}:{:02}.{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace ks::tool
