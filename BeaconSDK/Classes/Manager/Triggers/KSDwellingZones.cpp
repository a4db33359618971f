#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

bool KSDwellingZones::hasDwellingProximityZone(const KSProximityZone& zone) const {
  return find(zone) != tasks_.end();
}

void KSDwellingZones::addDwellingProximityZone(const std::shared_ptr<KSProximityZone>& zone) {
  // Destroying an earlier task cancels its timer, so the time starts again.
  if (const auto earlier = find(*zone); earlier != tasks_.end()) tasks_.erase(earlier);
  if (const auto* const beacon = zone->asBeacon(); beacon != nullptr && enableLogging) {
    kManagerLog("-[KSProximityManager addDwellingProximityZone:]", "Trigger beacon %@",
                beacon->key());
  }
  tasks_.push_back(std::make_unique<KSDwellingNotificationToServerTask>(
      zone, clock_.now(), mainQueue_, application_,
      [this](const KSDwellingNotificationToServerTask& task) { timeUp(task); }));
}

void KSDwellingZones::removeDwellingItem(const KSProximityZone& zone) {
  const auto found = find(zone);
  if (found == tasks_.end()) return;
  // Read before the task is destroyed.
  const ks::Date begun = (*found)->begun();
  tasks_.erase(found);
  if (const auto observer = observer_.get()) {
    ks::TriggerDecision decision;
    decision.outcome = ks::TriggerDecision::Outcome::dwellingCancelled;
    decision.zone = std::static_pointer_cast<const KSProximityZone>(zone.shared_from_this());
    decision.dwellingTime = zone.content() ? zone.content()->dwellingTime : 0;
    decision.elapsed = ks::secondsBetween(begun, clock_.now());
    observer->triggerDecided(decision);
  }
}

void KSDwellingZones::leave(const KSProximityZone& zone) {
  if (zone.content() && zone.content()->dwellingTime != 0) removeDwellingItem(zone);
}

void KSDwellingZones::removeDwellingNotificationToServerTask(
    const KSDwellingNotificationToServerTask& task) {
  std::erase_if(tasks_, [&](const auto& candidate) { return candidate.get() == &task; });
}

void KSDwellingZones::timeUp(const KSDwellingNotificationToServerTask& task) {
  if (const auto zone = task.item()) {
    statistics_.notifiedAfterDwelling(*zone);
    announce(zone);
  }
  // Destroys the task that called this operation.
  removeDwellingNotificationToServerTask(task);
}

void KSDwellingZones::announce(const std::shared_ptr<KSProximityZone>& zone) {
  const auto content = zone->content();
  if (!content) return;
  if (content->type() != KSProximityZoneType::followTrack) {
    delivery_.sendItemTriggerContentNotification(zone);
  }
  if (const auto observer = observer_.get()) {
    ks::TriggerDecision decision;
    decision.outcome = ks::TriggerDecision::Outcome::fired;
    decision.zone = zone;
    decision.isEnter = true;
    decision.dwellingTime = decision.elapsed = content->dwellingTime;
    decision.dwelt = true;
    observer->triggerDecided(decision);
  }
}

KSDwellingZones::Tasks::const_iterator KSDwellingZones::find(const KSProximityZone& zone) const {
  return std::find_if(tasks_.begin(), tasks_.end(), [&](const auto& task) {
    const auto item = task->item();
    // Equal is enough: a refresh may have replaced the object of the zone.
    return item && (item.get() == &zone || item->isEqual(&zone));
  });
}
