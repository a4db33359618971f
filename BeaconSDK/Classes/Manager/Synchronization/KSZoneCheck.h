#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Manager/Zones/ZoneTables.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"

/// Finds the locations whose zones are outdated, and requests them from the portal.
///
/// Created on the main queue, run once on any: it works on a snapshot and uses nothing of the
/// engine but the portal client.
class KSZoneCheck {
 public:
  KSZoneCheck(const ks::LocationList& locations, std::shared_ptr<KSNetwork> network,
              const KSSettingsManager& settingsManager, const ks::Clock& clock);

  /// Returns true when at least one download was started.
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
