#include <KSBeaconSDK/KSBeaconSDK.h>

#include <cstdio>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

/// Runs the library on a simulated device that refuses the location permission: `start` must say
/// so.
int main() {
  const auto device = std::make_shared<ks::SimulatedPlatform>();
  ks::Platform::install(device);
  const auto manager = KSProximityManager::initWithUsername(
      "user", "password", ks::NSURL{"http://127.0.0.1:9/app"}, ks::NSLocale{"it", "IT"});
  bool refused = false;
  device->setAuthorizationStatus(ks::CLAuthorizationStatus::denied);
  manager->start([&](const std::optional<ks::Error>& error) { refused = error.has_value(); });
  device->runUntilIdle();
  const ks::LinuxPlatform machine(ks::LinuxPlatformOptions{.connectServices = false});
  std::printf("%s on %s\n", KSBeaconSDKVersionString, machine.timeZoneName().c_str());
  return refused ? 0 : 1;
}
