#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

/// The zones whose dwelling time runs, at most one task each.
class KSDwellingZones {
 public:
  KSDwellingZones(KSContentDelivery& delivery, const KSStatsManager& statsManager,
                  const KSSettingsManager& settingsManager, const KSObserverSlot& observer)
      : delivery_(delivery),
        statsManager_(statsManager),
        settingsManager_(settingsManager),
        observer_(observer) {}

  bool hasDwellingProximityZone(const KSProximityZone& zone) const;
  /// Begins the wait for `zone`, which has content, anew.
  void addDwellingProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Ends the wait for `zone` before its time; nothing without one.
  void removeDwellingItem(const KSProximityZone& zone);
  /// Ends the wait of `task`, which must be one of these, and destroys it.
  void removeDwellingNotificationToServerTask(const KSDwellingNotificationToServerTask& task);
  /// Ends every wait.
  void stopAll() { tasks_.clear(); }

 private:
  using Tasks = std::vector<std::unique_ptr<KSDwellingNotificationToServerTask>>;

  Tasks::const_iterator find(const KSProximityZone& zone) const;
  /// Counts and announces what has been waited for, and drops the task. A zone that vanished is
  /// neither counted nor announced.
  void timeUp(const KSDwellingNotificationToServerTask& task);
  void countNotification(const KSProximityZone& zone) const;
  /// Content that passes in silence is not announced.
  void announce(const std::shared_ptr<KSProximityZone>& zone);

  KSContentDelivery& delivery_;
  const KSStatsManager& statsManager_;
  const KSSettingsManager& settingsManager_;
  const KSObserverSlot& observer_;
  Tasks tasks_;
};
