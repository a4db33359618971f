#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Manager/Zones/ZoneTables.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"

/// Decides which locations' zones are outdated, and asks the portal for those.
///
/// Made on the main queue, run once on any: it works on a snapshot and needs nothing of the engine
/// but the portal client.
class KSZoneCheck {
 public:
  KSZoneCheck(const ks::LocationList& locations, std::shared_ptr<KSNetwork> network,
              const KSSettingsManager& settingsManager, const ks::Clock& clock);

  /// True when at least one download was begun.
  bool run() const;

 private:
  struct Entry {
    std::optional<std::string> identifier;
    std::optional<std::string> name;
    double refreshInterval;
    std::optional<ks::Date> zonesSyncedOn;
  };

  static bool isDue(const Entry& entry, ks::Date now);

  std::vector<Entry> entries_;
  std::shared_ptr<KSNetwork> network_;
  KSSettingsManager::Categories disabledCategories_;
  ks::Dictionary tags_;
  const ks::Clock& clock_;
};
