#include <iostream>

#include "BeaconSDK/KSBeaconSDK.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

int main(int argc, char** argv) {
  const ks::NSURL portal{argc > 1 ? argv[1] : "http://127.0.0.1:8080/app"};
  const auto device = std::make_shared<ks::SimulatedPlatform>();
  ks::Platform::install(device);
  const auto uuid = ks::UUID::fromString("4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B");
  device->world().addBeacon({{45.07, 7.686}, *uuid, 1, 1});
  device->world().placeDevice({45.07, 7.68599});
  const auto observation = device->notificationCenter().addObserver(
      KSProximityManagerTriggerContentNotification, [](const ks::NSNotification& notification) {
        const auto zone = KSProximityManager::proximityZoneFromNotification(notification);
        std::cout << zone->content()->message.value_or("") << '\n';
      });
  const auto manager = KSProximityManager::initWithUsername("demo", "demo", portal, {"it", "IT"});
  manager->start([](const std::optional<ks::Error>& error) {
    std::cout << (error ? "failed\n" : "running\n");
  });
  device->advance(ks::Seconds{60});
}
