#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

/// The zones whose dwelling time runs, at most one task each.
class KSDwellingZones {
 public:
  KSDwellingZones(KSContentDelivery& delivery, std::shared_ptr<const KSStatsManager> statsManager,
                  const KSSettingsManager& settingsManager, const KSObserverSlot& observer)
      : delivery_(delivery),
        statsManager_(std::move(statsManager)),
        settingsManager_(settingsManager),
        observer_(observer) {}

  bool hasDwellingProximityZone(const KSProximityZone& zone) const;
  /// Begins the wait for `zone`, which has content, anew.
  void addDwellingProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Ends the wait for `zone` before its time; nothing without one.
  void removeDwellingItem(const KSProximityZone& zone);
  void removeDwellingNotificationToServerTask(const KSDwellingNotificationToServerTask& task);
  /// Ends every wait.
  void stopAll() { tasks_.clear(); }
  std::size_t count() const { return tasks_.size(); }

  /// For the tasks: announces what has been waited for, unless it is to pass in silence.
  void dwellingTimePassed(const std::shared_ptr<KSProximityZone>& zone);
  ks::Dictionary tags() const { return settingsManager_.tags(); }

 private:
  using Tasks = std::vector<std::unique_ptr<KSDwellingNotificationToServerTask>>;

  Tasks::const_iterator find(const KSProximityZone& zone) const;

  KSContentDelivery& delivery_;
  const std::shared_ptr<const KSStatsManager> statsManager_;
  const KSSettingsManager& settingsManager_;
  const KSObserverSlot& observer_;
  Tasks tasks_;
};
