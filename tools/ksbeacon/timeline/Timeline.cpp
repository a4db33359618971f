#include "tools/ksbeacon/timeline/Timeline.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cmath>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

/// What catches the eye: what fired is green, what was held back yellow, what went wrong red; the
/// everyday is dim.
const char* colourOf(const TimelineEvent& event) {
  switch (event.kind) {
    case TimelineKind::trigger:
    case TimelineKind::notification:
      return "\033[32m";
    case TimelineKind::refusal:
    case TimelineKind::dwelling:
    case TimelineKind::withheld:
      return "\033[33m";
    case TimelineKind::login:
    case TimelineKind::breach:
      return "\033[31m";
    case TimelineKind::expectation:
      return event.details["met"].boolValue() ? "\033[32m" : "\033[31m";
    case TimelineKind::application:
    case TimelineKind::statistic:
      return "\033[36m";
    default:
      return "\033[2m";
  }
}

std::string localMoment(Date moment) {
  const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970(moment)));
  return fmt::format("{:%Y-%m-%d %H:%M:%S}  ", fmt::localtime(seconds));
}

}  // namespace

std::string timelineJson(const TimelineEvent& event, Date start) {
  Dictionary line;
  line.set("at", std::round(event.at.count() * 1000) / 1000);
  line.set("date", dateInUTC(start + event.at));
  line.set("kind", timelineKindName(event.kind));
  if (!event.device.empty()) line.set("device", event.device);
  for (const auto& [name, value] : event.details) line.set(name, value);
  return jsonText(line);
}

void TimelinePrinter::print(const TimelineEvent& event) {
  if (event.kind == TimelineKind::log && !options_.log) return;
  if (priorityOf(event) > options_.leastPriority) return;
  if (options_.form == Form::json) {
    stream_ << timelineJson(event, start_) << '\n';
  } else if (!event.minor || options_.everything) {
    printText(event);
  }
}

void TimelinePrinter::printText(const TimelineEvent& event) {
  const std::string kind = fmt::format("{:<12}", timelineKindName(event.kind));
  stream_ << (options_.wallClock ? localMoment(start_ + event.at)
                                 : fmt::format("{:>12}  ", timelineMoment(event.at)));
  if (options_.colours) {
    stream_ << colourOf(event) << kind << "\033[0m";
  } else {
    stream_ << kind;
  }
  stream_ << "  " << (event.device.empty() ? "" : event.device + ": ") << printable(event.text)
          << '\n';
}

}  // namespace ks::tool
