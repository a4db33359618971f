#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneType.h"
#include "BeaconSDK/Classes/Beacon/Content/TriggerVerdict.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Object.h"

/// What a zone shows or reports, and the rules that decide when.
///
/// Besides the portal's settings it holds the run-time state of the rules: the events counted in
/// the current period, when the period began, and until when the content is blocked.
/// `updateFromContent` copies that state to a fresh copy from the portal. Contents are equal by
/// kind and identifier. Used on the thread that handles location events.
class KSProximityZoneContent : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSProximityZoneContent";
  static const ks::Class kClass;

  /// True: fires on entering the zone; false: on leaving it.
  bool eventIsEnter = false;
  /// Run time: set when the run-time fields changed; cleared by the code that shares them.
  bool isUpdatedLocalProperties = false;
  std::optional<std::string> identifier;
  std::optional<std::string> name;
  std::optional<std::string> message;
  std::optional<std::string> language;
  std::optional<std::string> title;
  std::optional<std::string> titleImageUrl;
  std::optional<std::string> categoryIdentifier;
  /// Seconds between two firings; 0: no block; negative: fires once.
  double repeatDelay = 0;
  /// Seconds to stay in the zone before it fires; 0: fires at once.
  double dwellingTime = 0;
  /// The proximity at which a beacon zone fires: 1 immediate, 2 near, 3 far, 0 any.
  std::int64_t proximity = 0;
  /// Events needed within the interval before it may fire; 0 or 1: no counting.
  std::int64_t notifyAfterEventsCount = 0;
  /// Length of the counting period in seconds.
  double notifyAfterEventsInterval = 0;
  /// Run time: when the zone was first seen in the current stay.
  std::optional<ks::Date> firstSeenOn;
  /// Run time: earliest time of the next firing; absent when it has never fired.
  std::optional<ks::Date> blockedUntilDate;
  std::optional<std::string> messageIconUrl;
  std::optional<std::string> richMediaUrl;
  /// Run time: when the current counting period began.
  std::optional<ks::Date> firstEventDetectedOn;
  /// Run time: events counted in the current period.
  std::int64_t eventDetectionCounter = 0;

  virtual KSProximityZoneType type() const = 0;

  /// Returns the decision about an event at `now`, seen at `seenProximity` (1 immediate, 2 near, 3
  /// far). Without a proximity that rule is skipped. Has no side effects and writes no log.
  ks::TriggerVerdict evaluateTrigger(std::optional<std::int64_t> seenProximity, ks::Date now) const;
  /// Returns the decision about a geofence event, without proximity. If it is refused, the verdict
  /// also holds the decision for an unknown proximity as its second look.
  ks::TriggerVerdict evaluateTriggerTwice(ks::Date now) const;
  /// True when the content fires at this proximity or at any.
  bool acceptsProximity(std::int64_t seenProximity) const {
    return proximity == 0 || proximity == seenProximity;
  }
  /// Evaluates the rules at the current time and writes the verdict to the trace.
  bool canTriggerAction(std::int64_t seenProximity) const;
  bool canTriggerAction() const;

  /// Counts one event. If the counting period has expired, the event starts a new one.
  void updateEventDetectionCounter();
  /// Records a firing now: blocks the content for its delay, ends the counting period.
  void trigger();
  /// Time of the last firing in this process; not archived.
  const std::optional<ks::Date>& getLastActionTriggerDate() const { return lastActionTriggerDate_; }
  /// Copies the run-time state of `old`, the copy held before a refresh.
  void updateFromContent(const KSProximityZoneContent& old);

  const ks::Class& objectClass() const override { return kClass; }
  bool isEqual(const ks::Object* other) const override;
  std::size_t hash() const override;
  /// One "name: value" line per setting of the portal.
  std::string description() const override;

 private:
  std::optional<ks::Date> lastActionTriggerDate_;
};
