#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr CLLocationCoordinate2D kPlace{45.07, 7.68};
const UUID kShop = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

/// So many metres north of the place.
CLLocationCoordinate2D north(double metres) {
  return {kPlace.latitude + metres / 111195.08, kPlace.longitude};
}

/// An application that notes what the location service and the radio tell it.
class App : public CLLocationManagerDelegate, public CBCentralManagerDelegate {
 public:
  explicit App(SimulatedPlatform& device)
      : device_(device), manager(device.locationServices().makeLocationManager()) {
    manager->setDelegate(this);
  }

  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    note("enter " + region->identifier());
  }
  void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    note("exit " + region->identifier());
  }
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                       const std::shared_ptr<const CLRegion>&) override {
    ranged.push_back(beacons);
  }
  void didChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus status) override {
    note("permission " + std::to_string(static_cast<int>(status)));
  }
  void centralManagerDidUpdateState(CBCentralManager& central) override {
    note("radio " + std::to_string(static_cast<int>(central.state())));
    central.scanForPeripheralsWithServices({{"D00D"}});
  }
  void didDiscoverPeripheral(CBCentralManager& central, const CBPeripheral&,
                             const Dictionary& advertisement, Dbm) override {
    const Value& data = advertisement[CBAdvertisementDataServiceDataKey];
    batteries.push_back((*data.dictionary())["D00D"].data()->back());
    central.stopScan();
  }

  void note(const std::string& what) {
    const double second = secondsBetween(kSimulatedStart, device_.clock().now());
    notes.push_back(std::to_string(static_cast<int>(second)) + " " + what);
  }

 private:
  SimulatedPlatform& device_;

 public:
  std::unique_ptr<CLLocationManager> manager;
  std::vector<std::string> notes;
  std::vector<std::vector<CLBeacon>> ranged;
  std::vector<int> batteries;
};

const auto kShopRegion = std::make_shared<CLBeaconRegion>(kShop, "shop");

}  // namespace

TEST(SimulatedPlatformTest, WalksThroughABeaconsRegion) {
  SimulatedPlatform device;
  device.world().addBeacon(
      {.coordinate = north(200), .proximityUUID = kShop, .major = 300, .minor = 7});
  device.world().setWalk(SimulatedWalk(
      kSimulatedStart, {{.coordinate = kPlace},
                        {.coordinate = north(199), .speed = {2}, .pause = Seconds{60}},
                        {.coordinate = kPlace, .speed = {2}}}));
  App app(device);
  app.manager->startMonitoringForRegion(kShopRegion);
  app.manager->startRangingBeaconsInRegion(kShopRegion);
  device.advance(Seconds{120});
  ASSERT_THAT(app.notes, SizeIs(1));
  EXPECT_THAT(app.notes[0], testing::EndsWith("enter shop"));
  ASSERT_FALSE(app.ranged.empty());
  EXPECT_THAT(app.ranged.back(),
              ElementsAre(AllOf(Field(&CLBeacon::minor, 7),
                                Field(&CLBeacon::proximity, CLProximity::near))));
  EXPECT_NEAR(app.ranged.back()[0].accuracy.value, 1, 0.2);
  device.advance(Seconds{200});
  ASSERT_THAT(app.notes, SizeIs(2));
  EXPECT_THAT(app.notes[1], testing::EndsWith("exit shop"));
}

TEST(SimulatedPlatformTest, RegionsSurviveTheProcess) {
  SimulatedPlatform disk;
  SimulatedPlatformOptions options;
  options.root = disk.directories().caches / "device";
  const auto circle = std::make_shared<CLCircularRegion>(north(500), Metres{200}, "site");
  std::vector<std::string> notes;
  const auto live = [&](Date start, Date until, bool first) {
    options.start = start;
    SimulatedPlatform device(options);
    device.world().setWalk(SimulatedWalk(
        kSimulatedStart, {{.coordinate = kPlace}, {.coordinate = north(1000), .speed = {2}}}));
    App app(device);
    if (first) app.manager->startMonitoringForRegion(circle);
    EXPECT_THAT(app.manager->monitoredRegions(), SizeIs(1));
    device.runUntil(until);
    notes.insert(notes.end(), app.notes.begin(), app.notes.end());
  };
  live(kSimulatedStart, kSimulatedStart + Seconds{260}, true);
  ASSERT_THAT(notes, SizeIs(1)) << "inside since second 150";
  live(kSimulatedStart + Seconds{300}, kSimulatedStart + Seconds{500}, false);
  ASSERT_THAT(notes, SizeIs(2));
  EXPECT_THAT(notes[0], testing::EndsWith("enter site"));
  EXPECT_THAT(notes[1], testing::EndsWith("exit site"));
}

TEST(SimulatedPlatformTest, RadioAndPermissionChangeAtRunTime) {
  SimulatedPlatform device;
  device.world().addBeacon({.coordinate = kPlace,
                            .proximityUUID = kShop,
                            .battery = SimulatedBattery{.level = 87, .interval = Seconds{2}}});
  device.world().placeDevice(kPlace);
  device.setBluetoothState(CBManagerState::poweredOff);
  device.runUntilIdle();
  App app(device);
  const auto central = device.makeCentralManager(app);
  app.manager->startRangingBeaconsInRegion(kShopRegion);
  device.advance(Seconds{10});
  EXPECT_THAT(app.batteries, IsEmpty());
  EXPECT_TRUE(app.ranged.empty() || app.ranged.back().empty());
  device.setBluetoothState(CBManagerState::poweredOn);
  device.advance(Seconds{10});
  EXPECT_THAT(app.batteries, ElementsAre(87));
  ASSERT_FALSE(app.ranged.empty());
  EXPECT_THAT(app.ranged.back(), SizeIs(1));
  device.setAuthorizationStatus(CLAuthorizationStatus::denied);
  device.advance(Seconds{10});
  EXPECT_THAT(app.notes, ElementsAre("0 radio 4", "10 radio 5", "20 permission 2"));
  EXPECT_EQ(device.locationServices().authorizationStatus(), CLAuthorizationStatus::denied);
}

TEST(SimulatedPlatformTest, RemovesOnlyItsOwnFolder) {
  std::filesystem::path own;
  std::filesystem::path given;
  SimulatedPlatform disk;
  {
    const SimulatedPlatform device;
    own = device.directories().temporary;
    SimulatedPlatformOptions options;
    options.root = disk.directories().documents / "device";
    const SimulatedPlatform other(options);
    given = other.directories().temporary;
    EXPECT_TRUE(std::filesystem::exists(own));
  }
  EXPECT_FALSE(std::filesystem::exists(own.parent_path()));
  EXPECT_TRUE(std::filesystem::exists(given));
}

TEST(SimulatedUserDefaultsTest, DamagedFileCountsAsEmpty) {
  const SimulatedPlatform disk;
  const auto file = disk.directories().temporary / "defaults";
  for (const std::string content : {"", "m1\n", "m1\nskey\n", "m99999999999\nskey\ni1\n",
                                    "m1\nskey\ni1\nextra\n", "s%\n", "m1\nskey\ni12x\n", "i5\n"}) {
    std::ofstream(file) << content;
    EXPECT_TRUE(SimulatedUserDefaults(file).objectForKey("key").isAbsent()) << content;
  }
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "a1\n";
  std::ofstream(file) << "m1\nskey\n" << deep << "i1\n";
  EXPECT_TRUE(SimulatedUserDefaults(file).objectForKey("key").isAbsent());
  SimulatedUserDefaults defaults("/proc/nowhere/defaults");
  defaults.setObject("key", 1);
  EXPECT_FALSE(defaults.synchronize());
}

TEST(SimulatedApplicationTest, PlaysTheSystemsPart) {
  SimulatedPlatform device;
  SimulatedApplication& application = device.application();
  std::vector<std::string> events;
  const auto record = [&](const NSNotification& event) { events.push_back(event.name); };
  const auto active =
      device.notificationCenter().addObserver(UIApplicationDidBecomeActiveNotification, record);
  const auto resigns =
      device.notificationCenter().addObserver(UIApplicationWillResignActiveNotification, record);
  application.resignActive();
  application.becomeActive();
  application.becomeActive();
  application.resignActive();
  EXPECT_THAT(events, IsEmpty());
  bool expired = false;
  const auto kept = application.beginBackgroundTask([&] { expired = true; });
  application.endBackgroundTask(application.beginBackgroundTask({}));
  application.expireBackgroundTasks();
  device.runUntilIdle();
  EXPECT_THAT(events, ElementsAre(UIApplicationDidBecomeActiveNotification,
                                  UIApplicationWillResignActiveNotification));
  EXPECT_TRUE(expired);
  EXPECT_THAT(application.backgroundTasks(), ElementsAre(kept));
}

TEST(SimulatedApplicationTest, DeliversLocalNotificationsWhenDue) {
  SimulatedPlatform device;
  SimulatedApplication& application = device.application();
  std::vector<std::string> shown;
  application.setLocalNotificationListener(
      [&](const UILocalNotification& notification) { shown.push_back(notification.alertBody); });
  application.scheduleLocalNotification({Seconds{2}, "cancelled", false, {}});
  application.cancelAllLocalNotifications();
  application.scheduleLocalNotification({Seconds{2}, "second", false, {}});
  application.scheduleLocalNotification({Seconds{1}, "first", false, {}});
  EXPECT_THAT(application.scheduledLocalNotifications(), SizeIs(2));
  device.advance(Seconds{1.5});
  EXPECT_THAT(shown, ElementsAre("first"));
  device.advance(Seconds{1});
  EXPECT_THAT(shown, ElementsAre("first", "second"));
  EXPECT_THAT(application.scheduledLocalNotifications(), IsEmpty());
}

class SimulatedUserNotificationCenterTest : public testing::Test {
 protected:
  SimulatedUserNotificationCenterTest() {
    center_.setListener([this](const SimulatedUserNotificationCenter::Notification& shown) {
      shown_.push_back(shown.request.content.body);
    });
  }
  void add(const std::string& identifier, const std::string& body, double seconds,
           bool repeats = false) {
    UNNotificationRequest request{identifier, {}, {Seconds{seconds}, repeats}};
    request.content.body = body;
    center_.addNotificationRequest(request, [this](const std::optional<Error>& error) {
      if (error) errors_.push_back(error->code());
    });
  }

  SimulatedPlatform device_;
  SimulatedUserNotificationCenter& center_ = device_.simulatedNotificationCenter();
  std::vector<std::string> shown_;
  std::vector<std::int64_t> errors_;
};

TEST_F(SimulatedUserNotificationCenterTest, NewRequestReplacesPendingOne) {
  add("request", "old", 5);
  device_.advance(Seconds{3});
  add("request", "new", 5);
  add("other", "other", 1);
  EXPECT_THAT(center_.pendingNotifications(), SizeIs(2));
  device_.advance(Seconds{4.9});
  EXPECT_THAT(shown_, ElementsAre("other"));
  device_.advance(Seconds{0.1});
  EXPECT_THAT(shown_, ElementsAre("other", "new"));
  EXPECT_EQ(center_.deliveredNotifications().back().date, kSimulatedStart + Seconds{8});
}

TEST_F(SimulatedUserNotificationCenterTest, RefusesWhatItCannotShow) {
  add("a", "no delay", 0);
  add("b", "repeats too often", 59, true);
  add("c", "repeats", 60, true);
  center_.setAllowed(false);
  add("d", "not allowed", 5);
  device_.advance(Seconds{190});
  EXPECT_THAT(errors_, ElementsAre(1400, 1400, 1));
  EXPECT_THAT(shown_, ElementsAre("repeats", "repeats", "repeats"));
}

TEST_F(SimulatedUserNotificationCenterTest, KeepsAttachmentsOfDeletedFiles) {
  const auto file = device_.directories().temporary / "icon.png";
  std::ofstream(file) << "icon";
  UNNotificationRequest request{"request", {}, {Seconds{5}, false}};
  request.content.attachments = {{"messageIcon", file, std::nullopt}};
  center_.addNotificationRequest(
      request, [&](const std::optional<Error>&) { std::filesystem::remove(file); });
  device_.advance(Seconds{5});
  ASSERT_THAT(center_.deliveredNotifications(), SizeIs(1));
  EXPECT_EQ(*center_.deliveredNotifications().front().attachments.at(0),
            (Data{'i', 'c', 'o', 'n'}));
}

TEST(SimulatedReachabilityTest, AnswersAsTold) {
  SimulatedPlatform device;
  SimulatedReachability& network = device.systemConfiguration();
  const auto host = network.reachabilityWithName("portal.example");
  const auto address = network.reachabilityWithAddress({.address = 0xA9FE0000});
  std::vector<SCNetworkReachabilityFlags> seen;
  host->setCallback([&](SCNetworkReachabilityFlags flags) { seen.push_back(flags); });
  host->schedule();
  network.setFlags(kSCNetworkReachabilityFlagsReachable);
  network.setFlags(6);
  network.setDelay(Seconds{2});
  EXPECT_EQ(address->getFlags(), 6U);
  EXPECT_EQ(device.clock().uptime(), Seconds{2});
  EXPECT_THAT(seen, IsEmpty());
  device.runUntilIdle();
  host->unschedule();
  network.setFlags(std::nullopt);
  device.runUntilIdle();
  EXPECT_THAT(seen, ElementsAre(6U));
  EXPECT_EQ(host->getFlags(), std::nullopt);
  network.setRefusesTargets(true);
  EXPECT_EQ(network.reachabilityWithName("portal.example"), nullptr);
  EXPECT_THAT(network.targets(), Contains("169.254.0.0"));
}

}  // namespace ks
