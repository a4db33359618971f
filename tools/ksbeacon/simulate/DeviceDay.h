#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tools/ksbeacon/documents/TemporaryFolder.h"
#include "tools/ksbeacon/host/HostApplication.h"
#include "tools/ksbeacon/host/StoppedClock.h"
#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/simulate/SimulationOptions.h"

namespace ks::tool {

/// When the day is over: with the scenario, or earlier.
Seconds endOf(const Scenario& scenario, const SimulationOptions& options);

/// Lets one device live its day as the scenario plans it: what happens at which moment, and the
/// time between. The references must outlive the object.
class DeviceDay {
 public:
  /// `portal` is null for one elsewhere; `url` is its root.
  DeviceDay(const Scenario& scenario, const SimulationOptions& options, WalkPortal* portal,
            std::shared_ptr<TimelineRecorder> recorder, std::string url);
  DeviceDay(const DeviceDay&) = delete;
  DeviceDay& operator=(const DeviceDay&) = delete;
  ~DeviceDay();

  /// Occupies the process's platform. False when it was interrupted.
  bool run();
  bool hasProcess() const { return hasProcess_; }
  /// Why the day could not go on as the scenario says; empty when it did.
  const std::string& failure() const { return failure_; }

 private:
  /// Moments in order, ties in the order of planning: the portal changes before the application.
  void plan();
  void launch(Seconds moment);
  void kill(Seconds moment);
  void apply(Scenario::Event event);
  /// What lasts beyond the process.
  void keep(const Scenario::Event& event);
  void changeDocuments(const Scenario::Event& event);
  void applyFaults(Seconds now);
  /// In slices, so that somebody who waits can be told how far it is, and somebody who watches sees
  /// time pass evenly. False when it was interrupted.
  bool passTime(Seconds moment);

  /// As the events have left it.
  Scenario scenario_;
  const SimulationOptions& options_;
  WalkPortal* portal_;
  std::shared_ptr<TimelineRecorder> recorder_;
  std::string url_;
  Seconds end_;
  CLAuthorizationStatus permission_;
  Seconds clockShift_{0};
  bool hasBluetooth_ = true;
  bool hasNetwork_ = true;
  std::string failure_;
  /// Of a device that nobody wants to keep.
  std::optional<TemporaryFolder> temporary_;
  std::multimap<Seconds, std::function<void()>> agenda_;
  StoppedClock stopped_;
  std::unique_ptr<HostApplication> application_;
  bool hasProcess_ = false;
  Seconds now_{0};
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  bool first_ = true;
  /// The latest moment that a restart set for its launch.
  Seconds deadUntil_{0};
};

}  // namespace ks::tool
