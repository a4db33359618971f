#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "tests/Contract/PlatformContract.h"

namespace ks::test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const UUID kUUID = *UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
const std::vector<BeaconFrame> kTwo = {{kUUID, 1, 7, {-59}}, {kUUID, 1, 8, {-59}}};

/// A central of the platform, and what it tells.
struct Scanner : CBCentralManagerDelegate {
  explicit Scanner(Platform& platform)
      : queue(platform.mainQueue()), central(platform.makeCentralManager(*this)) {}

  void centralManagerDidUpdateState(CBCentralManager& teller) override {
    EXPECT_TRUE(queue.isCurrent());
    states.push_back(teller.state());
  }
  void didDiscoverPeripheral(CBCentralManager&, const CBPeripheral&, const Dictionary& data,
                             Dbm) override {
    EXPECT_TRUE(queue.isCurrent());
    const auto* services = data[CBAdvertisementDataServiceDataKey].dictionary();
    const auto* bytes = services != nullptr ? (*services)["D00D"].data() : nullptr;
    constexpr std::size_t kMinorByte = 20;
    minors.push_back(bytes != nullptr && bytes->size() > kMinorByte ? bytes->at(kMinorByte) : -1);
  }
  bool isOn() const { return central->state() == CBManagerState::poweredOn; }
  void scan() { central->scanForPeripheralsWithServices({CBUUID{"D00D"}}); }

  DispatchQueue& queue;
  std::vector<CBManagerState> states;
  std::vector<int> minors;
  std::unique_ptr<CBCentralManager> central;
};

struct Visitor : CLLocationManagerDelegate {
  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) override {
    ++entered;
  }
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                       const std::shared_ptr<const CLRegion>&) override {
    ranged = beacons;
  }
  int entered = 0;
  std::vector<CLBeacon> ranged;
};

}  // namespace

TEST_P(BluetoothContract, TellsStateSoonAndOnChange) {
  Scanner scanner(platform());
  EXPECT_THAT(scanner.states, IsEmpty()) << "never inside the call";
  ASSERT_TRUE(eventually([&] { return scanner.isOn() && !scanner.states.empty(); }));
  scanner.scan();
  EXPECT_TRUE(scanner.central->isScanning());
  scanner.states.clear();
  setBluetoothPowered(false);
  EXPECT_TRUE(eventually([&] { return !scanner.states.empty(); }));
  EXPECT_FALSE(scanner.central->isScanning());
  scanner.scan();
  EXPECT_FALSE(scanner.central->isScanning()) << "without power";
  setBluetoothPowered(true);
  EXPECT_TRUE(eventually([&] { return scanner.states.size() > 1; }));
  EXPECT_THAT(scanner.states, ElementsAre(CBManagerState::poweredOff, CBManagerState::poweredOn));
}

TEST_P(BluetoothContract, ReportsEachPeripheralOncePerScan) {
  Scanner scanner(platform());
  setBeaconsAround(kTwo);
  ASSERT_TRUE(eventually([&] { return scanner.isOn(); }));
  runFor(Seconds{0.2});
  EXPECT_THAT(scanner.minors, IsEmpty()) << "before the scan";
  for (int i = 0; i < 2; ++i) {
    scanner.minors.clear();
    scanner.scan();
    EXPECT_TRUE(eventually([&] { return scanner.minors.size() >= 2; }));
    runFor(Seconds{1.5});
    EXPECT_THAT(scanner.minors, testing::UnorderedElementsAre(7, 8));
  }
  scanner.central->stopScan();
  setBeaconsAround({{kUUID, 1, 9, {-59}}});
  runFor(Seconds{0.2});
  EXPECT_THAT(scanner.minors, SizeIs(2));
}

TEST_P(BluetoothContract, EntersAndRangesBeacons) {
  Visitor visitor;
  const auto manager = platform().locationServices().makeLocationManager();
  manager->setDelegate(&visitor);
  const auto region = std::make_shared<CLBeaconRegion>(kUUID, "hall");
  manager->startMonitoringForRegion(region);
  manager->startRangingBeaconsInRegion(region);
  setBeaconsAround(kTwo);
  EXPECT_TRUE(eventually([&] { return visitor.entered == 1 && visitor.ranged.size() == 2; }));
  for (const auto& beacon : visitor.ranged) {
    EXPECT_EQ(beacon.major, 1);
    EXPECT_LT(beacon.rssi, Dbm{0});
    EXPECT_NE(beacon.proximity, CLProximity::unknown);
  }
  manager->setDelegate(nullptr);
}

}  // namespace ks::test
