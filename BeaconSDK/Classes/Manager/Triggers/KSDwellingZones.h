#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingNotificationToServerTask.h"

/// The zones with a running dwelling time, at most one task each.
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
  /// Cancels the dwelling time of `zone`, if there is one.
  void removeDwellingItem(const KSProximityZone& zone);
  /// The device left `zone`: as `removeDwellingItem`, for a zone whose content has a dwelling time.
  void leave(const KSProximityZone& zone);
  /// Cancels `task`, which must be one of these, and destroys it.
  void removeDwellingNotificationToServerTask(const KSDwellingNotificationToServerTask& task);
  /// Cancels all dwelling times.
  void stopAll() { tasks_.clear(); }

 private:
  using Tasks = std::vector<std::unique_ptr<KSDwellingNotificationToServerTask>>;

  Tasks::const_iterator find(const KSProximityZone& zone) const;
  /// Counts and announces a zone whose dwelling time has passed, and drops the task. A destroyed
  /// zone is neither counted nor announced.
  void timeUp(const KSDwellingNotificationToServerTask& task);
  /// Announces the zone's content; follow-track contents are not announced.
  void announce(const std::shared_ptr<KSProximityZone>& zone);

  KSContentDelivery& delivery_;
  const KSZoneStatistics& statistics_;
  const KSObserverSlot& observer_;
  const ks::Clock& clock_;
  ks::DispatchQueue& mainQueue_;
  ks::UIApplication& application_;
  Tasks tasks_;
};
