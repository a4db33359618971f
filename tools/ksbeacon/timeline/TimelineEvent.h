#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::tool {

/// What a line of the timeline tells of. docs/timeline.md describes the members of each kind.
enum class TimelineKind {
  application,
  position,
  region,
  ranging,
  request,
  trigger,
  dwelling,
  refusal,
  notification,
  statistic,
  http,
  cache,
  log,
  expectation,
  withheld,
  login,
  breach,
  state,
  presence,
};
inline constexpr TimelineKind kLastTimelineKind = TimelineKind::presence;

/// "position", ...
const char* timelineKindName(TimelineKind kind);

/// One thing that happened, ready for a person and for a program.
struct TimelineEvent {
  /// Since the start of the scenario.
  Seconds at{0};
  TimelineKind kind = TimelineKind::application;
  /// One line for a person.
  std::string text;
  /// The same for a program, in the documented order; plain JSON kinds only.
  Dictionary details;
  /// Too much for a terminal unless everything is wanted.
  bool minor = false;
  /// The device to which it happened, of several.
  std::string device{};
};

/// How important the event is, as the system's log counts: 3 an error, 4 a warning, 5 what a user
/// notices, 6 what explains it, 7 the everyday.
int priorityOf(const TimelineEvent& event);

/// "0:01:30.500", to the millisecond.
std::string timelineMoment(Seconds at);

}  // namespace ks::tool
