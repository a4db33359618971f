#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "tools/ksbeacon/host/LibraryHost.h"
#include "tools/ksbeacon/host/ObservedPlatform.h"
#include "tools/ksbeacon/portal/SiteLoadingSystem.h"
#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineRecorder.h"

namespace ks::tool {

/// One life of the scenario's application: a process on a simulated device, from its launch to its
/// death. The device's folder outlives it, so another life continues where this one ended.
class HostApplication {
 public:
  struct Launch {
    Date now;
    /// The device's folder.
    std::filesystem::path root;
    std::string portalURL;
    /// Answers the transfers; null: the device's own network does.
    std::shared_ptr<portal::SiteLoadingSystem> network;
    CLAuthorizationStatus permission = CLAuthorizationStatus::authorizedAlways;
    std::uint64_t seed = 1;
    /// Has the library write its trace.
    bool log = false;
    /// Takes down what enters the device; null for nobody.
    RecordingWriter* recording = nullptr;
    /// Also sets the application's tags and switches its categories off.
    bool first = true;
    /// How far the wall clock is ahead of the scenario's.
    Seconds clockShift{0};
    bool hasBluetooth = true;
    bool hasNetwork = true;
  };

  /// Installs the device as the current platform and starts the library. The scenario and the
  /// recorder must outlive the application.
  HostApplication(const Scenario& scenario, std::shared_ptr<TimelineRecorder> recorder,
                  Launch launch);
  /// The process is killed: nothing is told to the library.
  ~HostApplication();
  HostApplication(const HostApplication&) = delete;
  HostApplication& operator=(const HostApplication&) = delete;

  void runUntil(Date moment);
  /// Every kind but `restart`, which is not for the application to do.
  void apply(const Scenario::Event& event);

 private:
  void buildWorld();
  void observe();
  /// Of the device itself; null for none.
  void listenToTransfers(SimulatedNetwork::Listener listener);
  void applySettings(const Scenario::Event& event);
  void applyToDevice(const Scenario::Event& event);
  void setBattery(const std::string& beacon, std::uint8_t level);
  void setNetwork(bool on);
  /// Has the library's side do something, through the recording if there is one.
  void call(const std::string& name, Dictionary arguments = {});
  void handle(const std::string& name, const Dictionary& arguments);
  void say(TimelineKind kind, std::string text, Dictionary details = {});
  void say(std::string text) { say(TimelineKind::application, std::move(text)); }

  const Scenario& scenario_;
  std::shared_ptr<TimelineRecorder> recorder_;
  std::shared_ptr<portal::SiteLoadingSystem> network_;
  SimulatedPlatform device_;
  std::unique_ptr<RecordedPlatform> recorded_;
  std::shared_ptr<ObservedPlatform> platform_;
  std::optional<LibraryHost> library_;
  /// In the order of the scenario.
  std::vector<SimulatedWorld::BeaconId> beacons_;
};

}  // namespace ks::tool
