#include <cstdio>

#include "BeaconSDK/KSBeaconSDK.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

/// Runs the library on a simulated device that refuses the location permission: `start` must say
/// so. Leaves an archive of one location in the file that it is given.
int main(int argc, char** argv) {
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
  const auto location = std::make_shared<KSLocation>();
  location->name = "Torino";
  const bool written =
      argc > 1 && ks::NSKeyedArchiver::archiveRootObject(ks::Array{location}, argv[1]);
  return refused && written ? 0 : 1;
}
