#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"
#include "tests/Contract/PlatformContract.h"
#include "tests/Linux/Bluetooth/BluetoothAir.h"

namespace ks::test {

namespace {

/// The platform with a stand-in of the Bluetooth daemon that hears the beacons' raw bytes.
class LinuxWithBluetooth : public PlatformUnderTest {
 public:
  LinuxWithBluetooth() {
    air_.startDaemon();
    air_.addAdapter(true, true);
    restart();
  }
  Platform& platform() override { return *platform_; }
  void runFor(Seconds span) override {
    constexpr Seconds kBetweenPackets{0.05};
    for (Seconds passed{0}; passed < span; passed += kBetweenPackets) {
      for (const auto& frame : beacons_) advertise(frame);
      runLoopFor(kBetweenPackets);
    }
  }
  void restart() override {
    platform_.reset();
    LinuxPlatformOptions options;
    options.folders = LinuxFolders{{folder_.path(), folder_.path(), {}}, folder_.path()};
    platform_ = std::make_unique<LinuxPlatform>(options);
  }
  void setBeaconsAround(const std::vector<BeaconFrame>& beacons) override { beacons_ = beacons; }
  void setBluetoothPowered(bool powered) override { air_.setPowered(powered); }

 private:
  void advertise(const BeaconFrame& frame) {
    SimulatedBeacon beacon;
    beacon.proximityUUID = frame.proximityUUID;
    beacon.major = frame.major;
    beacon.minor = frame.minor;
    beacon.battery.emplace();
    const std::string address = "C0:00:00:00:00:0" + std::to_string(frame.minor);
    air_.advertise(address, -60, frameAdvertisement(beacon));
    air_.advertise(address, -60, batteryAdvertisement(beacon));
  }

  PrivateBus bus_;
  TemporaryFolder folder_;
  BluetoothAir air_;
  std::vector<BeaconFrame> beacons_;
  std::unique_ptr<LinuxPlatform> platform_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Linux, BluetoothContract,
                         testing::Values(PlatformParameter{
                             "bluetooth", [] { return std::make_unique<LinuxWithBluetooth>(); }}));

}  // namespace ks::test
