#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerNotifications.h"

void KSContentDelivery::triggerProximityZone(const std::shared_ptr<KSProximityZone>& zone) {
  if (!zone || !zone->content()) return;
  record(*zone->content());
  if (const auto* const beacon = zone->asBeacon(); beacon != nullptr && enableLogging) {
    kManagerLog("-[KSProximityManager triggerProximityZone:]", "Trigger beacon %@", beacon->key());
  }
  doPushItem(zone);
}

void KSContentDelivery::doPushItem(const std::shared_ptr<KSProximityZone>& zone) {
  if (!zone || !zone->content()) return;
  if (zone->content()->type() == KSProximityZoneType::followTrack) return;
  sendItemTriggerContentNotification(zone);
  statistics_.notified(*zone);
}

void KSContentDelivery::sendItemTriggerContentNotification(
    const std::shared_ptr<KSProximityZone>& zone) {
  if (!zone || !zone->content()) return;
  // The block reaches the disk before the application hears of the content.
  record(*zone->content());
  link_.postOnMainQueue(KSProximityManagerTriggerContentNotification,
                        {{ks::manager_keys::kZone, zone}});
}

void KSContentDelivery::record(KSProximityZoneContent& content) {
  content.trigger();
  blockedContents_.block(content);
}
