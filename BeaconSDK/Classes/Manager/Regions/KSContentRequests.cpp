#include "BeaconSDK/Classes/Manager/Regions/KSContentRequests.h"

#include <utility>

void KSContentRequests::request(std::vector<std::string> beaconIdentifiers) {
  if (beaconIdentifiers.empty()) return;
  network_.loadContentForBeacons(beaconIdentifiers, settingsManager_.disabledCategories(),
                                 settingsManager_.tags());
  if (const auto observer = observer_.get()) {
    observer->contentRequested({std::move(beaconIdentifiers)});
  }
}
