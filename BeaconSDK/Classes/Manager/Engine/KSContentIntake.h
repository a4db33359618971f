#pragma once

#include <optional>

#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSZoneSynchronizer.h"
#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"

/// Routes each download to the component that owns its records. Main queue only.
class KSContentIntake {
 public:
  KSContentIntake(KSEngineState& state, KSSettingsManager& settingsManager,
                  KSZoneSynchronizer& synchronizer, const KSNetwork& network)
      : state_(state),
        settingsManager_(settingsManager),
        synchronizer_(synchronizer),
        network_(network) {}

  /// A success without a result follows a document that could not be read: it changes no cache.
  void contentLoadedWithType(KSContentDownloadType type, const std::optional<ks::Records>& content,
                             const std::optional<ks::Dictionary>& metaData);
  void contentErrorWithType(KSContentDownloadType type, const ks::Error& error);

 private:
  KSEngineState& state_;
  KSSettingsManager& settingsManager_;
  KSZoneSynchronizer& synchronizer_;
  const KSNetwork& network_;
};
