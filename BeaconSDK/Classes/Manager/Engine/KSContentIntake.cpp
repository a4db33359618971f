#include "BeaconSDK/Classes/Manager/Engine/KSContentIntake.h"

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

void KSContentIntake::contentLoadedWithType(KSContentDownloadType type,
                                            const std::optional<ks::Records>& content,
                                            const std::optional<ks::Dictionary>& metaData) {
  settingsManager_.newContentLoadedWithType(type, content);
  // Drops results parsed before `reset` but delivered after it.
  if (!content || network_.isReset()) return;
  switch (type) {
    case KSContentDownloadType::locations:
      synchronizer_.addLoadedLocations(ks::recordsOf<KSLocation>(*content));
      break;
    case KSContentDownloadType::zonesForLocation: {
      const auto identifier =
          metaData ? (*metaData)["locationIdentifier"].stringValue() : std::nullopt;
      if (!identifier) break;
      synchronizer_.replaceBeaconsForLocation(*identifier,
                                              ks::recordsOf<KSPrivateBeacon>(*content));
      break;
    }
    case KSContentDownloadType::contentForBeacons:
      synchronizer_.newBeaconsFetched(ks::recordsOf<KSPrivateBeacon>(*content));
      break;
    case KSContentDownloadType::geofences:
      synchronizer_.updateGeofences(ks::recordsOf<KSGeofence>(*content));
      break;
    case KSContentDownloadType::contentCategories:
    case KSContentDownloadType::unknown:
      break;
  }
}

void KSContentIntake::contentErrorWithType(KSContentDownloadType type, const ks::Error& error) {
  kManagerLog("-[KSProximityManager contentErrorWithType:andError:]", "Content load error %@",
              error);
  settingsManager_.newContentLoadErrorWithType(type, error);
  state_.setErrorHappened(true);
}
