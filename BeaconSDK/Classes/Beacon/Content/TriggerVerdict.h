#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ks {

/// The result of `KSProximityZoneContent::evaluateTrigger`: whether the content may fire, which
/// rule decided, and with what numbers. Log lines, timelines and explanations are rendered from
/// this value.
struct TriggerVerdict {
  /// The rules in order of evaluation; the first that applies decides.
  enum class Rule {
    /// No: the zone was seen at another proximity than the content wants.
    otherProximity,
    /// No: fewer events than needed were counted.
    tooFewEvents,
    /// Yes: the content is not blocked.
    notBlocked,
    /// Yes: the content repeats without delay.
    noRepeatDelay,
    /// Yes: the delay since the last firing is over.
    repeatDelayOver,
    /// No: the delay since the last firing is still running.
    repeatDelayRunning,
    /// No: the content fires only once and has fired.
    onceOnly,
  };

  Rule rule = Rule::notBlocked;
  /// 1 immediate, 2 near, 3 far; 0: any. Set when a proximity was given.
  std::int64_t wantedProximity = 0;
  std::int64_t seenProximity = 0;
  std::int64_t eventCount = 0;
  /// 0 or 1: events are not counted.
  std::int64_t neededEventCount = 0;
  /// Seconds between two firings; negative: fires once.
  double repeatDelay = 0;
  /// Seconds until the block ends; 0 or less when it has ended or there is none.
  double secondsLeft = 0;
  /// For a refused geofence event, the rule that refused it at an unknown proximity. Absent for
  /// every other event.
  std::optional<Rule> secondLook = std::nullopt;

  /// True when the deciding rule allows the content to fire.
  bool canTrigger() const;
  /// Returns the trace line of this verdict, or of the given rule; absent when nothing is logged.
  std::optional<std::string> logText() const { return logText(rule); }
  std::optional<std::string> logText(Rule answer) const;
  /// Writes the verdict to the trace.
  void trace() const;

  friend bool operator==(const TriggerVerdict&, const TriggerVerdict&) = default;
};

}  // namespace ks
