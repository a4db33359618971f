#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "tools/ksbeacon/host/LibraryHost.h"

namespace ks::capi {

/// Takes down what enters a device, for `ks_replay`. Main queue only.
class Recording {
 public:
  struct Plan {
    Platform& device;
    LocationEngine& engine;
    /// Of the device's user defaults and monitored regions.
    std::filesystem::path state;
    std::filesystem::path file;
    bool isPrivate = false;
    const tool::LibraryHost::Options& library;
    tool::TimelineRecorder::Options timeline;
    /// Does what the application calls, now and in a replay.
    std::function<void(const std::string&, const Dictionary&)> handler;
    std::function<void(const HttpExchange&)> transferListener;
  };
  /// Throws `Failure` when the file cannot be made, and where the build has no such part.
  static std::unique_ptr<Recording> make(Plan plan);

  virtual ~Recording() = default;
  /// What the library runs on instead of the device.
  virtual Platform& platform() = 0;
  virtual void call(std::string name, Dictionary arguments) = 0;
  virtual void take(const tool::TimelineEvent& event) = 0;
};

}  // namespace ks::capi
