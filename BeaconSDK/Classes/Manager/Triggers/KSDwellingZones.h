#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

/// The zones whose dwelling time runs, at most one task each.
class KSDwellingZones {
 public:
  KSDwellingZones(KSContentDelivery& delivery, const KSZoneStatistics& statistics,
                  const KSObserverSlot& observer, const ks::Clock& clock,
                  ks::DispatchQueue& mainQueue, ks::UIApplication& application)
      : delivery_(delivery),
        statistics_(statistics),
        observer_(observer),
        clock_(clock),
        mainQueue_(mainQueue),
        application_(application) {}

  bool hasDwellingProximityZone(const KSProximityZone& zone) const;
  /// Restarts the dwelling time of `zone`, which has content.
  void addDwellingProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Ends the wait for `zone` before its time; nothing without one.
  void removeDwellingItem(const KSProximityZone& zone);
  /// The device left `zone`: as `removeDwellingItem`, for a zone whose content has a dwelling time.
  void leave(const KSProximityZone& zone);
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
  /// Content that passes in silence is not announced.
  void announce(const std::shared_ptr<KSProximityZone>& zone);

  KSContentDelivery& delivery_;
  const KSZoneStatistics& statistics_;
  const KSObserverSlot& observer_;
  const ks::Clock& clock_;
  ks::DispatchQueue& mainQueue_;
  ks::UIApplication& application_;
  Tasks tasks_;
};
