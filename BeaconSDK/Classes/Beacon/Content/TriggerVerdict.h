#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ks {

/// May a content fire, by which rule, and with what numbers: the answer of
/// `KSProximityZoneContent::evaluateTrigger`. Whatever explains a decision is rendered from here.
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
    /// No: the delay since the last firing runs on.
    repeatDelayRunning,
    /// No: the content fires only once and has fired.
    onceOnly,
  };

  Rule rule = Rule::notBlocked;
  /// 1 immediate, 2 near, 3 far; 0 where any proximity serves. Filled in when a proximity was asked
  /// about.
  std::int64_t wantedProximity = 0;
  std::int64_t seenProximity = 0;
  std::int64_t eventCount = 0;
  /// 0 or 1 where events are not counted.
  std::int64_t neededEventCount = 0;
  /// Seconds between two firings; negative: fires once.
  double repeatDelay = 0;
  /// Until the block ends; 0 or less when it has ended or there is none.
  double secondsLeft = 0;
  /// The answer to the second look at a refused geofence, as seen at an unknown proximity; always a
  /// refusal. Absent for every other event.
  std::optional<Rule> secondLook = std::nullopt;

  bool canTrigger() const;
  /// The line that the trace says about this verdict, or about its second look; nothing where it
  /// stays silent.
  std::optional<std::string> logText() const { return logText(rule); }
  std::optional<std::string> logText(Rule answer) const;
  /// Writes the verdict to the trace.
  void trace() const;

  friend bool operator==(const TriggerVerdict&, const TriggerVerdict&) = default;
};

}  // namespace ks
