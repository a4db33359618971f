// The radio against whatever Bluetooth daemon is on the system bus: what it hears in one mode.
//
// usage: RadioProbe monitor|range|scan SECONDS

#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "tests/Linux/LinuxFixture.h"

namespace {

struct Application : ks::CLLocationManagerDelegate, ks::CBCentralManagerDelegate {
  void didEnterRegion(ks::CLLocationManager&,
                      const std::shared_ptr<const ks::CLRegion>& region) override {
    fmt::print("entered {}\n", region->identifier());
  }
  void didRangeBeacons(ks::CLLocationManager&, const std::vector<ks::CLBeacon>& beacons,
                       const std::shared_ptr<const ks::CLRegion>&) override {
    ranged = beacons.size();
  }
  void centralManagerDidUpdateState(ks::CBCentralManager& central) override {
    fmt::print("state {}\n", static_cast<int>(central.state()));
  }
  void didDiscoverPeripheral(ks::CBCentralManager&, const ks::CBPeripheral& peripheral,
                             const ks::Dictionary& data, ks::Dbm) override {
    fmt::print("peripheral {} {}\n", peripheral.identifier, ks::Value(data).description());
  }
  std::size_t ranged = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string mode = argv[1];
  const ks::Seconds span{std::atof(argv[2])};
  const ks::test::TemporaryFolder folder;
  ks::LinuxPlatformOptions options;
  options.folders = ks::LinuxFolders{{folder.path(), folder.path(), folder.path()}, folder.path()};
  ks::LinuxPlatform platform(options);
  Application application;
  const auto manager = platform.locationServices().makeLocationManager();
  manager->setDelegate(&application);
  const auto central = platform.makeCentralManager(application);
  ks::test::runLoopUntil([&] { return central->state() == ks::CBManagerState::poweredOn; });
  const auto region = std::make_shared<ks::CLBeaconRegion>(
      *ks::UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0"), "hall");
  if (mode == "monitor") manager->startMonitoringForRegion(region);
  if (mode == "range") manager->startRangingBeaconsInRegion(region);
  if (mode == "scan") central->scanForPeripheralsWithServices({ks::CBUUID{"D00D"}});
  ks::test::runLoopFor(span);
  for (const auto& state : platform.serviceStates()) {
    if (state.name == "Bluetooth") fmt::print("{}\n", state.detail);
  }
  const auto counters = platform.locationEngine().counters();
  fmt::print("{}: {} advertisements, {} of beacons, {} beacons ranged\n", mode,
             counters.advertisements, counters.matchedBeacons, application.ranged);
  manager->setDelegate(nullptr);
}
