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

TEST(LinuxPlatformTest, AdoptsEarlierUserDefaultsOnce) {
  const TemporaryFolder folder;
  const auto earlier = folder.path() / "state/UserDefaults.plist";
  std::filesystem::create_directories(earlier.parent_path());
  writeText(earlier,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n\t<dict>\n"
            "\t\t<key>flag</key>\n\t\t<true />\n\t\t<key>a &amp; b</key>\n\t\t<array>\n"
            "\t\t\t<integer>-5</integer>\n\t\t\t<string> x </string>\n\t\t\t<data>AQI=</data>\n"
            "\t\t</array>\n\t\t<key>odd</key>\n\t\t<integer>x</integer>\n\t\t<key>on</key>\n\t\t"
            "<date seconds=\"0.25\">1970-01-01T00:00:00Z</date>\n\t</dict>\n</plist>\n");
  LinuxPlatform(optionsIn(folder.path())).userDefaults().setObject("flag", false);
  LinuxPlatform later(optionsIn(folder.path()));
  auto& defaults = later.userDefaults();
  EXPECT_EQ(defaults.objectForKey("flag"), Value(false));
  EXPECT_EQ(defaults.objectForKey("a & b"), Value(Array{-5, " x ", Data{1, 2}}));
  EXPECT_EQ(defaults.objectForKey("on"), Value(dateFromSecondsSince1970(0.25)));
  EXPECT_TRUE(defaults.objectForKey("odd").isAbsent());
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
