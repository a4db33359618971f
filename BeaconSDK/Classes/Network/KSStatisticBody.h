#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Value.h"

class KSStatProximityZoneInteraction;

/// The JSON body of one statistics event: its members in the order in which they are added. A
/// missing required value leaves the body incomplete. Must not outlive the event.
class KSStatisticBody {
 public:
  explicit KSStatisticBody(const KSStatProximityZoneInteraction& interaction)
      : interaction_(interaction) {}

  /// Required: the zone under "beaconId" or "geofenceId".
  KSStatisticBody& zone();
  /// Required.
  KSStatisticBody& timestamp();
  /// Required.
  KSStatisticBody& content();
  KSStatisticBody& schedule();
  KSStatisticBody& batteryLevel();
  /// Whole seconds, cut toward zero and clamped to 32 bits.
  KSStatisticBody& duration();
  KSStatisticBody& tags();

  /// The first required value that is missing.
  const std::optional<std::string>& missing() const { return missing_; }
  ks::Data data() const;

 private:
  KSStatisticBody& require(std::string key, const std::optional<std::string>& value);
  KSStatisticBody& add(std::string key, ks::Value value);

  const KSStatProximityZoneInteraction& interaction_;
  ks::Dictionary members_;
  std::optional<std::string> missing_;
};
