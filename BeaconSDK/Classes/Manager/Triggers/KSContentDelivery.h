#pragma once

#include <memory>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSZoneStatistics.h"
#include "BeaconSDK/Classes/Manager/Zones/KSBlockedContents.h"

/// Fires contents: records the firing, notifies the application and counts the notification.
/// `KSContentTrigger` decides whether a content may fire.
class KSContentDelivery {
 public:
  KSContentDelivery(const KSManagerLink& link, KSBlockedContents& blockedContents,
                    const KSZoneStatistics& statistics)
      : link_(link), blockedContents_(blockedContents), statistics_(statistics) {}

  /// Fires the zone's content now. Does nothing for null or a zone without content.
  void triggerProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Announces and counts a firing; follow-track contents are not announced.
  void doPushItem(const std::shared_ptr<KSProximityZone>& zone);
  /// Queues the trigger notification for the application, then records the firing: when the
  /// application is notified it is already on disk.
  void sendItemTriggerContentNotification(const std::shared_ptr<KSProximityZone>& zone);

 private:
  void record(KSProximityZoneContent& content);

  const KSManagerLink& link_;
  KSBlockedContents& blockedContents_;
  const KSZoneStatistics& statistics_;
};
