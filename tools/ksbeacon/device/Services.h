#pragma once

#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"
#include "tools/ksbeacon/documents/TemporaryFolder.h"

namespace ks::tool {

/// This machine for a command that looks at it and keeps nothing. What the library keeps of earlier
/// runs stays untouched.
class MachineView {
 public:
  LinuxPlatform& platform() { return platform_; }
  MainLoop& loop() { return loop_; }

  /// The platform's services; never without the folders in which the library keeps its files,
  /// Bluetooth, positions and notifications, though the build may have left some out.
  std::vector<ServiceState> services() const;
  ServiceState bluetooth() const;

 private:
  TemporaryFolder folder_;
  MainLoop loop_;
  LinuxPlatform platform_{optionsIn(folder_)};

  static LinuxPlatformOptions optionsIn(const TemporaryFolder& folder);
};

/// The stable code of what is wrong when the service is not usable: "bluetooth", "secretStore"; the
/// same as in `ks::AilmentReason` where the library knows of it.
std::string reasonFor(const ServiceState& state);

/// "Bluetooth: it is switched off (rfkill unblock bluetooth)".
std::string complaint(const ServiceState& state);

/// Whether the library could do anything at all: keep its files, and hear beacons or learn where it
/// is.
bool couldRun(const std::vector<ServiceState>& states);

}  // namespace ks::tool
