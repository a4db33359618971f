#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"
#include "tools/ksbeacon/simulate/WalkPortal.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// How a scenario is lived through.
struct SimulationOptions {
  /// Ends earlier than the scenario.
  std::optional<Seconds> until;
  /// Another walk through the same noise.
  std::optional<std::uint64_t> seed;
  /// Keeps the device's files between runs; empty: forgotten at the end.
  std::filesystem::path state;
  /// Another portal's root; empty: the scenario's own, made by `startPortal`.
  std::string portalURL;
  /// `startHttpPortal` for one over HTTP.
  WalkPortal::Starter startPortal = startSitePortal;
  /// Records what enters the device; null for nobody.
  RecordingWriter* recording = nullptr;
  /// Lines of the timeline about the visitor: `presencesOf`.
  std::vector<TimelineEvent> presences;
  bool log = false;
  /// Each ranging result with all its beacons; otherwise only changes, which is faster.
  bool everyRanging = true;
  /// Simulated seconds per real second; 0: as fast as it goes.
  double speed = 0;
  /// Told now and then how much of the day is over, 0 to 1.
  std::function<void(double)> progress;
  /// Asked as often; true ends the simulation there. Empty: never.
  std::function<bool()> isInterrupted;
};

}  // namespace ks::tool
