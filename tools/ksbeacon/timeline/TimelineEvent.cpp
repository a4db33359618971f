#include "tools/ksbeacon/timeline/TimelineEvent.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace ks::tool {

namespace {

constexpr std::array kKindNames = {
    "application", "position",    "region",       "ranging",   "request", "trigger",
    "dwelling",    "refusal",     "notification", "statistic", "http",    "cache",
    "log",         "expectation", "withheld",     "login",     "breach"};

}  // namespace

const char* timelineKindName(TimelineKind kind) {
  return kKindNames[static_cast<std::size_t>(kind)];
}

std::string timelineMoment(Seconds at) {
  const auto milliseconds = static_cast<long long>(std::llround(at.count() * 1000));
  return fmt::format("{}:{:02}:{:02}.{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace ks::tool
