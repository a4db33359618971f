#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "tests/Contract/PlatformContract.h"

namespace ks::test {

namespace {

class SimulatedUnderTest : public PlatformUnderTest {
 public:
  Platform& platform() override { return *device_; }
  void runFor(Seconds span) override { device_->advance(span); }
  void moveTo(CLLocationCoordinate2D place) override { device_->world().placeDevice(place); }
  void setBeaconsAround(const std::vector<BeaconFrame>& beacons) override {
    for (const auto id : std::exchange(beacons_, {})) device_->world().removeBeacon(id);
    for (const auto& frame : beacons) {
      SimulatedBeacon beacon;
      beacon.coordinate = device_->world().devicePosition().coordinate;
      beacon.proximityUUID = frame.proximityUUID;
      beacon.major = frame.major;
      beacon.minor = frame.minor;
      beacon.interval = Seconds{0.1};
      beacon.battery.emplace().interval = Seconds{0.5};
      beacons_.push_back(device_->world().addBeacon(beacon));
    }
  }
  void setBluetoothPowered(bool powered) override {
    device_->setBluetoothState(powered ? CBManagerState::poweredOn : CBManagerState::poweredOff);
  }
  void restart() override {
    const Date now = device_->clock().now();
    device_.reset();
    device_ = makeDevice(now);
  }

 private:
  /// Only for its folder, which goes when the test is over.
  SimulatedPlatform root_;
  std::unique_ptr<SimulatedPlatform> device_ = makeDevice();
  std::vector<SimulatedWorld::BeaconId> beacons_;

  std::unique_ptr<SimulatedPlatform> makeDevice(Date start = kSimulatedStart) {
    SimulatedPlatformOptions options;
    options.start = start;
    options.root = root_.directories().caches / "device";
    return std::make_unique<SimulatedPlatform>(options);
  }
};

const auto kSimulated = testing::Values(
    PlatformParameter{"simulated", [] { return std::make_unique<SimulatedUnderTest>(); }});

}  // namespace

INSTANTIATE_TEST_SUITE_P(Simulated, DispatchQueueContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, NotificationCenterContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, UserDefaultsContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, ApplicationContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, UserNotificationCenterContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, LocationContract, kSimulated);
INSTANTIATE_TEST_SUITE_P(Simulated, BluetoothContract, kSimulated);

}  // namespace ks::test
