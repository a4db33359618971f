#include <gmock/gmock.h>
#include <poll.h>

#include <thread>

#include "BeaconSDK/Platform/Common/ScheduledNotificationCenter.h"
#include "BeaconSDK/Platform/Embedded/EmbeddedPlatform.h"
#include "tests/Contract/PlatformContract.h"
#include "tests/Support/TemporaryFolder.h"

namespace ks::test {

namespace {

/// A host that hears what the test says, twenty times a second, and stands where it says.
class EmbeddedUnderTest : public PlatformUnderTest {
 public:
  EmbeddedPlatform& platform() override { return *device_; }
  /// Ends when also the workers have done what was due.
  void runFor(Seconds span) override {
    constexpr Seconds kBetweenPackets{0.05};
    bool over = false;
    DispatchQueue& main = device_->mainQueue();
    main.after(span,
               [&] { device_->globalQueue().async([&] { main.async([&] { over = true; }); }); });
    while (!over) {
      hear();
      device_->runOnce(kBetweenPackets);
    }
  }
  void restart() override {
    device_.reset();
    device_ = make();
  }
  void moveTo(CLLocationCoordinate2D place) override { place_ = place; }
  void setBeaconsAround(const std::vector<BeaconFrame>& beacons) override { beacons_ = beacons; }
  void setBluetoothPowered(bool powered) override {
    device_->setBluetoothState(powered ? CBManagerState::poweredOn : CBManagerState::poweredOff);
  }

 private:
  std::unique_ptr<EmbeddedPlatform> make() {
    EmbeddedPlatformOptions options;
    options.folders = EmbeddedPlatformOptions::inFolder(folder_.path());
    return std::make_unique<EmbeddedPlatform>(options);
  }
  void hear() {
    for (const BeaconFrame& frame : beacons_) {
      const std::string address = "AA:00:00:00:00:0" + std::to_string(frame.minor);
      const ManufacturerData data = makeBeaconData(frame);
      device_->handleManufacturerData(address, data.company, data.bytes, Dbm{-60});
      // Service data of 16 bits: the battery level, with the beacon's identity.
      Data element = {0x18, 0x16, 0x0D, 0xD0};
      element.resize(25);
      element[24] = static_cast<std::uint8_t>(frame.minor);
      device_->handleAdvertisement(address, element, Dbm{-60});
    }
    if (place_) device_->handleFix({*place_, Metres{5}, device_->clock().now()});
  }

  TemporaryFolder folder_;
  std::vector<BeaconFrame> beacons_;
  std::optional<CLLocationCoordinate2D> place_;
  std::unique_ptr<EmbeddedPlatform> device_ = make();
};

const auto kEmbedded = testing::Values(
    PlatformParameter{"embedded", [] { return std::make_unique<EmbeddedUnderTest>(); }});

bool isReadable(int descriptor) {
  pollfd one{.fd = descriptor, .events = POLLIN, .revents = 0};
  return ::poll(&one, 1, 0) == 1;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Embedded, DispatchQueueContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, NotificationCenterContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, UserDefaultsContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, ApplicationContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, UserNotificationCenterContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, LocationContract, kEmbedded);
INSTANTIATE_TEST_SUITE_P(Embedded, BluetoothContract, kEmbedded);

TEST(EmbeddedPlatformTest, DescriptorIsReadableWhileWorkIsDue) {
  EmbeddedUnderTest host;
  EmbeddedPlatform& device = host.platform();
  while (device.runOnce(Seconds{0})) {
  }
  EXPECT_FALSE(isReadable(device.descriptor()));
  int runs = 0;
  std::thread([&] { device.mainQueue().async([&] { ++runs; }); }).join();
  EXPECT_TRUE(isReadable(device.descriptor()));
  EXPECT_TRUE(device.runOnce(Seconds{-1}));
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(isReadable(device.descriptor()));
}

TEST(EmbeddedPlatformTest, TakesInputFromCallbacksLater) {
  EmbeddedUnderTest host;
  EmbeddedPlatform& device = host.platform();
  std::uint64_t inside = 1;
  device.mainQueue().async([&] {
    device.handleAdvertisement("AA", Data{2, 0xFF}, Dbm{-60});
    inside = device.location().engine().counters().advertisements;
  });
  host.runFor(Seconds{0});
  EXPECT_EQ(inside, 0U);
  EXPECT_EQ(device.location().engine().counters().advertisements, 1U);
}

TEST(EmbeddedPlatformTest, RefusesFoldersInUseOrMissing) {
  const TemporaryFolder folder;
  EmbeddedPlatformOptions options;
  EXPECT_THROW(EmbeddedPlatform{options}, std::invalid_argument);
  options.folders = EmbeddedPlatformOptions::inFolder(folder.path());
  const EmbeddedPlatform first(options);
  EXPECT_THROW(EmbeddedPlatform{options}, std::runtime_error);
}

}  // namespace ks::test
