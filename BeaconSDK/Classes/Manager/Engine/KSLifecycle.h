#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"
#include "BeaconSDK/Classes/Manager/Engine/KSNeighbourhood.h"
#include "BeaconSDK/Platform/Api/Platform.h"

/// Starts the engine, fetches in the background and resets it. Main queue only.
///
/// Without permission nothing is monitored, but the first attempt still fetches the categories.
class KSLifecycle {
 public:
  using StartCompletion = std::function<void(const std::optional<ks::Error>&)>;
  using FetchCompletion = std::function<void(ks::UIBackgroundFetchResult)>;

  /// Each start stores a new battery monitor in `battery`.
  KSLifecycle(ks::Platform& platform, const KSManagerLink& link, KSEngineState& state,
              KSNetwork& network, KSSettingsManager& settingsManager,
              std::unique_ptr<KSBatteryStatus>& battery, const KSLocationAccess& locationAccess,
              KSRegionMonitor& regionMonitor, KSPortalRefresh& refresh,
              KSNeighbourhood& neighbourhood, KSApplicationActivity& activity,
              const ks::Refinements& refinements)
      : platform_(platform),
        link_(link),
        state_(state),
        network_(network),
        settingsManager_(settingsManager),
        battery_(battery),
        locationAccess_(locationAccess),
        regionMonitor_(regionMonitor),
        refresh_(refresh),
        neighbourhood_(neighbourhood),
        activity_(activity),
        refinements_(refinements) {}

  void start(StartCompletion completion);
  void retry() { start(nullptr); }
  void performFetchWithCompletionHandler(FetchCompletion completion);
  void reset();

 private:
  void refuseStart(const StartCompletion& completion);
  void fetchCategoriesThenRun(StartCompletion completion);
  void run();
  void fetch(const FetchCompletion& completion);
  void answerWaiting(const std::optional<ks::Error>& error);

  ks::Platform& platform_;
  const KSManagerLink& link_;
  KSEngineState& state_;
  KSNetwork& network_;
  KSSettingsManager& settingsManager_;
  std::unique_ptr<KSBatteryStatus>& battery_;
  const KSLocationAccess& locationAccess_;
  KSRegionMonitor& regionMonitor_;
  KSPortalRefresh& refresh_;
  KSNeighbourhood& neighbourhood_;
  KSApplicationActivity& activity_;
  const ks::Refinements& refinements_;
  /// Completions of starts during a running one; with `startAlwaysAnswers` only.
  std::vector<StartCompletion> waiting_;
};
