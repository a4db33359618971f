#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneSynchronizer.h"
#include "BeaconSDK/Platform/Api/UIKit.h"

/// What the lifecycle works with.
struct KSLifecycleContext {
  const KSManagerLink& link;
  KSEngineState& state;
  /// Receives the location manager's events.
  ks::CLLocationManagerDelegate& delegate;
  KSLocationAccess& locationAccess;
  KSZoneSynchronizer& synchronizer;
  KSRegionMonitor& regionMonitor;
  KSApplicationActivity& activity;
  std::shared_ptr<KSNetwork> network;
  KSSettingsManager& settingsManager;
};

/// Starts the engine, fetches in the background and resets it. Main queue only.
///
/// Without permission nothing is monitored, but the first attempt still fetches the categories.
class KSLifecycle {
 public:
  using StartCompletion = std::function<void(const std::optional<ks::Error>&)>;
  using FetchCompletion = std::function<void(ks::UIBackgroundFetchResult)>;

  explicit KSLifecycle(KSLifecycleContext context) : context_(std::move(context)) {}

  void start(StartCompletion completion);
  void retry() { start(nullptr); }
  void performFetchWithCompletionHandler(FetchCompletion completion);
  void reset();

 private:
  void refuseStart(const StartCompletion& completion);
  void fetchCategoriesThenRun(StartCompletion completion);
  void run();
  void fetch(const FetchCompletion& completion);

  KSLifecycleContext context_;
};
