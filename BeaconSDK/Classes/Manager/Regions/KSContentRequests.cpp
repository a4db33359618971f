#include "BeaconSDK/Classes/Manager/Regions/KSContentRequests.h"

#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"

void KSContentRequests::request(std::vector<std::string> beaconIdentifiers) {
  if (beaconIdentifiers.empty()) return;
  network_.loadContentForBeacons(beaconIdentifiers, settingsManager_.disabledCategories(),
                                 settingsManager_.tags());
  if (const auto observer = observer_.get()) {
    observer->contentRequested({std::move(beaconIdentifiers)});
  }
}

void KSContentRequests::tellWithheld(const KSPrivateBeacon& beacon) const {
  const auto observer = observer_.get();
  if (!observer) return;
  ks::ContentWithheld withheld;
  withheld.beacon = beacon.uuid().value_or(ks::UUID{}).UUIDString() + ":" +
                    std::to_string(beacon.major()) + ":" + std::to_string(beacon.minor());
  for (const auto& category : settingsManager_.disabledCategories()) {
    withheld.disabledCategories.push_back(category->identifier.value_or(""));
  }
  const ks::Dictionary tags = settingsManager_.tags();
  for (const auto& [name, value] : tags) withheld.tags.push_back(name);
  if (const auto& fetched = beacon.contentFetchedSince()) {
    withheld.asksAgain = *fetched + ks::Seconds{KSPrivateBeacon::kNoContentRetrySeconds};
  }
  observer->contentWithheld(withheld);
}
