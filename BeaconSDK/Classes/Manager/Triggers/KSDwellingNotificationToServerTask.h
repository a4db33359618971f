#pragma once

#include <memory>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Platform/Api/UIKit.h"

class KSDwellingZones;
class KSStatsManager;

/// Waits out one zone's dwelling time, holding a background task so that the process lives to see
/// the end. Knows its zone and the statistics weakly; its owner drops it when it is done.
class KSDwellingNotificationToServerTask {
 public:
  /// Starts the wait. `proximityManager` owns the task.
  KSDwellingNotificationToServerTask(const std::shared_ptr<KSProximityZone>& item,
                                     std::weak_ptr<const KSStatsManager> statsManager,
                                     KSDwellingZones& proximityManager);
  KSDwellingNotificationToServerTask(const KSDwellingNotificationToServerTask&) = delete;
  KSDwellingNotificationToServerTask& operator=(const KSDwellingNotificationToServerTask&) = delete;
  ~KSDwellingNotificationToServerTask() { stop(); }

  /// The time is up: counts the notification, announces the content and leaves the owner, which
  /// destroys the task. A zone that vanished is neither counted nor announced.
  void execute();
  /// Ends the wait, if it still runs, and the background task.
  void stop();

  /// Null once the zone is gone.
  std::shared_ptr<KSProximityZone> item() const { return item_.lock(); }
  ks::Date begun() const { return begun_; }
  /// `UIBackgroundTaskInvalid` when none is held.
  ks::UIBackgroundTaskIdentifier taskIdentifier() const { return taskIdentifier_; }

 private:
  std::weak_ptr<KSProximityZone> item_;
  ks::Date begun_;
  ks::UIBackgroundTaskIdentifier taskIdentifier_;
  std::weak_ptr<const KSStatsManager> statsManager_;
  KSDwellingZones& proximityManager_;
  ks::Alarm alarm_{ks::AlarmName::dwelling};
};
