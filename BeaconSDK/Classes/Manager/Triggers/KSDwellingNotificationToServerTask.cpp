#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"
#include "BeaconSDK/Classes/Stats/KSStatsManager.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr ks::LogSource kStatsLog{"BeaconSDK/Classes/Stats/KSStatsManager"};

ks::UIApplication& application() { return ks::Platform::current().application(); }

/// Without a battery level: the beacon was last heard a dwelling time ago. A geofence is traced
/// like a beacon here, though its other notifications are not traced at all.
void countNotification(const KSStatsManager& statsManager, const KSProximityZone& zone,
                       const ks::Dictionary& tags) {
  if (const auto* const beacon = dynamic_cast<const KSPrivateBeacon*>(&zone)) {
    statsManager.incrementProximityZoneNotification(*beacon, std::nullopt, tags);
  } else if (const auto* const geofence = dynamic_cast<const KSGeofence*>(&zone)) {
    kStatsLog("-[KSStatsManager incrementProximityZoneNotification:batteryLevel:andTags:]",
              "Send notification-event for %@", geofence->name());
    statsManager.incrementGeofenceNotification(*geofence, tags);
  }
}

}  // namespace

KSDwellingNotificationToServerTask::KSDwellingNotificationToServerTask(
    const std::shared_ptr<KSProximityZone>& item, std::weak_ptr<const KSStatsManager> statsManager,
    KSDwellingZones& proximityManager)
    : item_(item),
      begun_(ks::Platform::current().clock().now()),
      taskIdentifier_(application().beginBackgroundTask([] {})),
      statsManager_(std::move(statsManager)),
      proximityManager_(proximityManager) {
  alarm_.schedule(ks::Seconds(item->content()->dwellingTime), [this] { execute(); });
}

void KSDwellingNotificationToServerTask::execute() {
  if (const auto zone = item()) {
    if (const auto statsManager = statsManager_.lock()) {
      countNotification(*statsManager, *zone, proximityManager_.tags());
    }
    proximityManager_.dwellingTimePassed(zone);
  }
  const auto task = std::exchange(taskIdentifier_, ks::UIBackgroundTaskInvalid);
  proximityManager_.removeDwellingNotificationToServerTask(*this);
  application().endBackgroundTask(task);
}

void KSDwellingNotificationToServerTask::stop() {
  alarm_.invalidate();
  const auto task = std::exchange(taskIdentifier_, ks::UIBackgroundTaskInvalid);
  if (task != ks::UIBackgroundTaskInvalid) application().endBackgroundTask(task);
}
