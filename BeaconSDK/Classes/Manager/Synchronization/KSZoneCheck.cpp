#include "BeaconSDK/Classes/Manager/Synchronization/KSZoneCheck.h"

#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

KSZoneCheck::KSZoneCheck(const ks::LocationList& locations, std::shared_ptr<KSNetwork> network,
                         const KSSettingsManager& settingsManager, const ks::Clock& clock)
    : network_(std::move(network)),
      disabledCategories_(settingsManager.disabledCategories()),
      tags_(settingsManager.tags()),
      clock_(clock) {
  // Copies: `run` may be called on another thread, on which the records must not be read.
  entries_.reserve(locations.size());
  for (const auto& location : locations) {
    entries_.push_back(
        {location->identifier, location->name, location->refreshInterval, location->zonesSyncedOn});
  }
}

bool KSZoneCheck::run() const {
  constexpr const char* kFunction = "-[KSProximityManager checkIfProximityZonesNeedRefreshing:]";
  kManagerLog(kFunction, "Check if proximity zones need refreshing: number of locations: %d",
              entries_.size());
  bool found = false;
  for (const Entry& entry : entries_) {
    kManagerLog(kFunction, "location %@:%@", entry.identifier, entry.name);
    if (!isDue(entry, clock_.now())) {
      kManagerLog(kFunction, "No reload needed");
      continue;
    }
    kManagerLog(kFunction, "Reloading zones");
    found = true;
    network_->loadProximityZonesForLocation(entry.identifier.value_or(""), disabledCategories_,
                                            tags_);
  }
  return found;
}

bool KSZoneCheck::isDue(const Entry& entry, ks::Date now) {
  return !entry.zonesSyncedOn ||
         ks::secondsBetween(*entry.zonesSyncedOn, now) > entry.refreshInterval;
}
