#pragma once

#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"

/// Requests the content of beacons from the portal, with the user's tags and without disabled
/// categories.
class KSContentRequests {
 public:
  KSContentRequests(KSNetwork& network, const KSSettingsManager& settingsManager,
                    const KSObserverSlot& observer)
      : network_(network), settingsManager_(settingsManager), observer_(observer) {}

  /// Requests the content of `beaconIdentifiers`, "UUID:major:minor" each; nothing when empty.
  void request(std::vector<std::string> beaconIdentifiers);
  /// Reports to the observer that the portal has no content for `beacon`, and what the request
  /// contained.
  void tellWithheld(const KSPrivateBeacon& beacon) const;

 private:
  KSNetwork& network_;
  const KSSettingsManager& settingsManager_;
  const KSObserverSlot& observer_;
};
