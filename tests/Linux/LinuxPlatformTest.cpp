#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "tests/Linux/LinuxFixture.h"

namespace ks::test {

namespace {

struct StateDelegate : CBCentralManagerDelegate {
  void centralManagerDidUpdateState(CBCentralManager& central) override {
    states.push_back(central.state());
  }
  void didDiscoverPeripheral(CBCentralManager&, const CBPeripheral&, const Dictionary&,
                             Dbm) override {}
  std::vector<CBManagerState> states;
};

LinuxPlatformOptions optionsIn(const std::filesystem::path& folder) {
  LinuxPlatformOptions options;
  options.bundleIdentifier = "com.acme.kiosk";
  options.version = "2.5";
  options.locale = NSLocale{"it", "IT"};
  options.folders = LinuxFolders{{folder / "caches", folder / "documents", {}}, folder / "state"};
  options.connectServices = false;
  return options;
}

}  // namespace

TEST(LinuxPlatformTest, StandsWithoutAnyService) {
  const TemporaryFolder folder;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  LinuxPlatform platform(optionsIn(folder.path()));
  StateDelegate delegate;
  const auto central = platform.makeCentralManager(delegate);
  platform.makeCentralManager(delegate).reset();
  EXPECT_TRUE(runLoopUntil([&] { return !delegate.states.empty(); }));
  EXPECT_THAT(delegate.states, testing::ElementsAre(CBManagerState::unsupported));
  EXPECT_EQ(platform.mainBundle().bundleIdentifier, "com.acme.kiosk");
  EXPECT_EQ(platform.currentLocale().localeIdentifier(), "it_IT");
  EXPECT_EQ(platform.userNotificationCenter(), nullptr);
  EXPECT_TRUE(std::filesystem::is_directory(platform.directories().temporary));
  const auto states = platform.serviceStates();
  EXPECT_TRUE(states.at(0).usable);
  EXPECT_FALSE(states.at(1).usable) << "no session service";
}

TEST(LinuxPlatformTest, KeepsMonitoredRegionsPrivately) {
  const TemporaryFolder folder;
  auto platform = std::make_unique<LinuxPlatform>(optionsIn(folder.path()));
  const auto manager = [&] {
    auto made = platform->locationServices().makeLocationManager();
    return made;
  };
  auto first = manager();
  first->startMonitoringForRegion(
      std::make_shared<CLCircularRegion>(CLLocationCoordinate2D{45.0, 9.0}, Metres{100}, "here"));
  first.reset();
  platform.reset();
  const auto file = folder.path() / "state/MonitoredRegions";
  EXPECT_EQ(std::filesystem::status(file).permissions(), static_cast<std::filesystem::perms>(0600));
  platform = std::make_unique<LinuxPlatform>(optionsIn(folder.path()));
  EXPECT_EQ(manager()->monitoredRegions().size(), 1U);
}

}  // namespace ks::test
