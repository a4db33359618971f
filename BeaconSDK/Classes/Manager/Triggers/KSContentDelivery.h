#pragma once

#include <memory>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSZoneStatistics.h"
#include "BeaconSDK/Classes/Manager/Zones/KSBlockedContents.h"

/// Fires contents: records the firing for good, tells the application and counts the notification.
/// Whether a content may fire is decided by `KSContentTrigger`.
class KSContentDelivery {
 public:
  KSContentDelivery(const KSManagerLink& link, KSBlockedContents& blockedContents,
                    const KSZoneStatistics& statistics)
      : link_(link), blockedContents_(blockedContents), statistics_(statistics) {}

  /// Fires the zone's content now. Nothing for null or a zone without content.
  void triggerProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Announces and counts a firing; follow-track contents pass in silence.
  void doPushItem(const std::shared_ptr<KSProximityZone>& zone);
  /// Queues the trigger notification for the application, then records the firing: the application
  /// hears of it when it is already on disk.
  void sendItemTriggerContentNotification(const std::shared_ptr<KSProximityZone>& zone);

 private:
  void record(KSProximityZoneContent& content);

  const KSManagerLink& link_;
  KSBlockedContents& blockedContents_;
  const KSZoneStatistics& statistics_;
};
