#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "BeaconSDK/Platform/Api/Foundation.h"

class KSGeofence;
class KSNetwork;
class KSPrivateBeacon;
class KSProximityZone;

/// Reports device events to the portal. Each call builds and posts one event; nothing is stored,
/// retried or returned. Stateless; any thread.
///
/// An absent `tags` is sent as null, an empty one as an empty object.
class KSStatsManager {
 public:
  static std::shared_ptr<KSStatsManager> initWithNetwork(std::shared_ptr<KSNetwork> network,
                                                         const ks::Clock& clock);
  KSStatsManager(std::shared_ptr<KSNetwork> network, const ks::Clock& clock);

  /// Reports that a beacon zone was entered.
  void incrementMovedInProximityZone(const KSPrivateBeacon& zone,
                                     const std::optional<ks::Dictionary>& tags) const;
  /// Reports that a beacon zone was left. The time spent counts from its `inProximitySince`, 0
  /// without one.
  void incrementMovedOutOfProximityZone(const KSPrivateBeacon& zone,
                                        std::optional<std::int64_t> batteryLevel,
                                        const std::optional<ks::Dictionary>& tags) const;
  /// Reports that a notification was shown for a beacon zone.
  void incrementProximityZoneNotification(const KSPrivateBeacon& zone,
                                          std::optional<std::int64_t> batteryLevel,
                                          const std::optional<ks::Dictionary>& tags) const;
  /// Reports that the user opened a zone's content.
  void incrementLoyaltyForProximity(const KSProximityZone& zone,
                                    const std::optional<ks::Dictionary>& tags) const;
  void incrementMovedInGeofence(const KSGeofence& geofence) const;
  /// The time spent counts from `inRangeSince`, 0 without one.
  void incrementMovedOutOfGeofence(const KSGeofence& geofence) const;
  void incrementGeofenceNotification(const KSGeofence& geofence,
                                     const std::optional<ks::Dictionary>& tags) const;

 private:
  double secondsSince(const std::optional<ks::Date>& start) const;

  const std::shared_ptr<KSNetwork> network_;
  const ks::Clock& clock_;
};
