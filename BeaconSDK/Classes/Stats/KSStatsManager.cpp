#include "BeaconSDK/Classes/Stats/KSStatsManager.h"

#include <string>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

namespace {

constexpr ks::LogSource kLog{"BeaconSDK/Classes/Stats/KSStatsManager"};

using Tags = std::optional<ks::Dictionary>;

std::optional<std::string> scheduleIdentifier(
    const std::shared_ptr<KSProximitySchedule>& schedule) {
  return schedule ? schedule->identifier : std::nullopt;
}

/// The event of a zone: its type, identifier, content, and the current time.
std::shared_ptr<KSStatProximityZoneInteraction> interactionFor(const KSProximityZone& zone,
                                                               const Tags& tags) {
  auto interaction = KSStatProximityZoneInteraction::interactionWithContentType(
      static_cast<std::int32_t>(zone.contentType()));
  // A geofence answers its monitored region's identifier.
  interaction->beaconIdentifier = zone.identifier();
  if (zone.content()) interaction->contentIdentifier = zone.content()->identifier;
  interaction->tags = tags;
  return interaction;
}

}  // namespace

KSStatsManager::KSStatsManager(std::shared_ptr<KSNetwork> network, const ks::Clock& clock)
    : network_(std::move(network)), clock_(clock) {}

double KSStatsManager::secondsSince(const std::optional<ks::Date>& start) const {
  return start ? ks::secondsBetween(*start, clock_.now()) : 0;
}

std::shared_ptr<KSStatsManager> KSStatsManager::initWithNetwork(std::shared_ptr<KSNetwork> network,
                                                                const ks::Clock& clock) {
  return std::make_shared<KSStatsManager>(std::move(network), clock);
}

void KSStatsManager::incrementMovedInProximityZone(const KSPrivateBeacon& zone,
                                                   const Tags& tags) const {
  kLog("-[KSStatsManager incrementMovedInProximityZone:andTags:]", "Send enter-event for %@",
       zone.name());
  const auto interaction = interactionFor(zone, tags);
  interaction->scheduleIdentifier = scheduleIdentifier(zone.schedule());
  network_->postEnterProximityZone(*interaction);
}

void KSStatsManager::incrementMovedOutOfProximityZone(const KSPrivateBeacon& zone,
                                                      std::optional<std::int64_t> batteryLevel,
                                                      const Tags& tags) const {
  kLog("-[KSStatsManager incrementMovedOutOfProximityZone:batteryLevel:andTags:]",
       "Send exit-event for %@", zone.name());
  const auto interaction = interactionFor(zone, tags);
  interaction->duration = secondsSince(zone.inProximitySince());
  interaction->batteryLevel = batteryLevel;
  network_->postExitProximityZone(*interaction);
}

void KSStatsManager::incrementProximityZoneNotification(const KSPrivateBeacon& zone,
                                                        std::optional<std::int64_t> batteryLevel,
                                                        const Tags& tags) const {
  kLog("-[KSStatsManager incrementProximityZoneNotification:batteryLevel:andTags:]",
       "Send notification-event for %@", zone.name());
  const auto interaction = interactionFor(zone, tags);
  interaction->batteryLevel = batteryLevel;
  interaction->duration = secondsSince(zone.inProximitySince());
  interaction->scheduleIdentifier = scheduleIdentifier(zone.schedule());
  network_->postProximityZoneNotification(*interaction);
}

void KSStatsManager::incrementLoyaltyForProximity(const KSProximityZone& zone,
                                                  const Tags& tags) const {
  kLog("-[KSStatsManager incrementLoyaltyForProximity:withTags:]", "Send content-event for %@",
       zone.name());
  network_->postProximityZoneInteraction(*interactionFor(zone, tags));
}

void KSStatsManager::incrementMovedInGeofence(const KSGeofence& geofence) const {
  network_->postEnterGeofenceZone(*interactionFor(geofence, std::nullopt));
}

void KSStatsManager::incrementMovedOutOfGeofence(const KSGeofence& geofence) const {
  const auto interaction = interactionFor(geofence, std::nullopt);
  interaction->duration = secondsSince(geofence.inRangeSince());
  network_->postExitGeofenceZone(*interaction);
}

void KSStatsManager::incrementGeofenceNotification(const KSGeofence& geofence,
                                                   const Tags& tags) const {
  const auto interaction = interactionFor(geofence, tags);
  interaction->scheduleIdentifier = scheduleIdentifier(geofence.schedule());
  network_->postProximityZoneNotification(*interaction);
}
