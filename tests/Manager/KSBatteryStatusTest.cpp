#include <algorithm>
#include <vector>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"
#include "tests/Support/PlatformFixture.h"

namespace {

/// A radio that does what the test says and counts the scans.
class FakeCentral : public ks::CBCentralManager {
 public:
  ks::CBManagerState state() const override { return state_; }
  bool isScanning() const override { return scanning_; }
  void scanForPeripheralsWithServices(const std::vector<ks::CBUUID>& services) override {
    EXPECT_EQ(services, std::vector<ks::CBUUID>{{"D00D"}});
    scanning_ = true;
    ++scans_;
  }
  void stopScan() override { scanning_ = false; }

  ks::CBManagerState state_ = ks::CBManagerState::poweredOn;
  bool scanning_ = false;
  int scans_ = 0;
};

const ks::UUID kUUID = *ks::UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

std::unique_ptr<KSPrivateBeacon> makeBeacon(const char* name, std::int64_t major,
                                            std::int64_t minor) {
  auto beacon = std::make_unique<KSPrivateBeacon>();
  beacon->setName(name);
  beacon->setUuid(kUUID);
  beacon->setMajor(major);
  beacon->setMinor(minor);
  return beacon;
}

ks::Data tagged(const std::string& tag, std::uint8_t level, std::size_t size = 7) {
  ks::Data data(size, 0xEE);
  std::copy(tag.begin(), tag.end(), data.begin());
  if (size > 6) data[6] = level;
  return data;
}

ks::Data identified(std::uint16_t major, std::uint16_t minor, std::uint8_t level) {
  ks::Data data(24);
  std::copy(kUUID.bytes.begin(), kUUID.bytes.end(), data.begin() + 1);
  data[17] = static_cast<std::uint8_t>(major >> 8);
  data[18] = static_cast<std::uint8_t>(major);
  data[19] = static_cast<std::uint8_t>(minor >> 8);
  data[20] = static_cast<std::uint8_t>(minor);
  data[23] = level;
  return data;
}

class KSBatteryStatusTest : public ks::testing::PlatformFixture {
 protected:
  KSBatteryStatusTest() : PlatformFixture(withFakeRadio()) {}

  void hear(const ks::Data& serviceData) {
    const ks::Dictionary services{{"D00D", serviceData}};
    status_.didDiscoverPeripheral(*central_, {}, {{"kCBAdvDataServiceData", services}}, {-60});
  }
  void turnRadio(ks::CBManagerState state) {
    central_->state_ = state;
    status_.centralManagerDidUpdateState(*central_);
  }
  std::optional<std::int64_t> levelOf(const std::unique_ptr<KSPrivateBeacon>& beacon) const {
    return status_.beaconBatteryForBeacon(*beacon);
  }
  /// What was written since the last call, line by line.
  std::string console() {
    std::string text;
    for (const auto& line : platform_->console().lines()) text += line + "\n";
    platform_->console().clear();
    return text;
  }

  /// The radio that the monitor under test owns.
  static inline FakeCentral* central_ = nullptr;
  KSBatteryStatus status_{*platform_};

 private:
  static ks::SimulatedPlatformOptions withFakeRadio() {
    ks::SimulatedPlatformOptions options;
    options.makeCentralManager = [](ks::CBCentralManagerDelegate&) {
      auto central = std::make_unique<FakeCentral>();
      central_ = central.get();
      return central;
    };
    return options;
  }
};

TEST_F(KSBatteryStatusTest, KeysNameMinorBeforeMajor) {
  EXPECT_EQ(KSBatteryStatus::keyForBeacon(*makeBeacon("BK01", 300, 7)),
            "BK0111223344-5566-4778-8899-AABBCCDDEEFF7300");
  KSPrivateBeacon withoutUUID;
  withoutUUID.setName("BK01");
  withoutUUID.setMinor(7);
  status_.requestBatteryForBeacon(withoutUUID);
  status_.requestBatteryForBeacon(*makeBeacon("", 300, 7));
  status_.requestBatteryForBeacon(*makeBeacon("BK01", 300, 0));
  EXPECT_EQ(central_->scans_, 0) << "what lacks a part of the key is not tracked";
}

TEST_F(KSBatteryStatusTest, ScansWhileLevelsAreMissing) {
  const auto first = makeBeacon("AAAA1", 1, 1);
  const auto second = makeBeacon("BBBB1", 1, 2);
  turnRadio(ks::CBManagerState::poweredOff);
  status_.requestBatteryForBeacon(*first);
  EXPECT_FALSE(central_->scanning_);
  turnRadio(ks::CBManagerState::poweredOn);
  EXPECT_TRUE(central_->scanning_);
  EXPECT_EQ(console(),
            "CoreBluetooth BLE hardware is powered off\n"
            "CoreBluetooth BLE hardware is powered on and ready\n");
  status_.requestBatteryForBeacon(*second);
  EXPECT_EQ(levelOf(second), std::nullopt);
  hear(tagged("AAAA", 50));
  EXPECT_TRUE(central_->scanning_);
  hear(tagged("AAAA", 49));
  EXPECT_EQ(levelOf(first), 49) << "heard again while the scan runs for another";
  hear(identified(1, 2, 255));
  EXPECT_FALSE(central_->scanning_);
  EXPECT_EQ(levelOf(second), 255);
  const int scans = central_->scans_;
  status_.requestBatteryForBeacon(*first);
  turnRadio(ks::CBManagerState::poweredOn);
  EXPECT_EQ(central_->scans_, scans) << "every level is known";
}

TEST_F(KSBatteryStatusTest, ScanStartsAnewAfterSomethingWasHeard) {
  const auto early = makeBeacon("AAAA1", 1, 1);
  const auto late = makeBeacon("BBBB1", 1, 2);
  status_.requestBatteryForBeacon(*early);
  status_.requestBatteryForBeacon(*early);
  EXPECT_EQ(central_->scans_, 1);
  hear(tagged("BBBB", 70));
  status_.requestBatteryForBeacon(*late);
  EXPECT_EQ(central_->scans_, 2) << "a scan reports each peripheral once";
  turnRadio(ks::CBManagerState::poweredOff);
  turnRadio(ks::CBManagerState::poweredOn);
  EXPECT_EQ(central_->scans_, 3) << "though the radio still says that it scans";
}

TEST_F(KSBatteryStatusTest, ReadsBothLayoutsByLength) {
  const auto beacon = makeBeacon("BK01", 300, 7);
  status_.requestBatteryForBeacon(*beacon);
  const auto later = makeBeacon("BK01-later", 1, 1);
  status_.requestBatteryForBeacon(*later);
  ks::Data tooLong = identified(300, 7, 5);
  tooLong.push_back(0);
  for (const auto& data : {ks::Data{}, tagged("BK01", 0, 6), tagged("BK01", 1, 20), tooLong,
                           tagged("BK02", 2), tagged("BK\xC3\xA9", 3), identified(7, 300, 4)}) {
    hear(data);
    EXPECT_EQ(levelOf(beacon), std::nullopt) << data.size();
  }
  hear(tagged("BK01", 87, 7));
  EXPECT_EQ(levelOf(beacon), 87);
  hear(tagged("BK01", 0, 19));
  EXPECT_EQ(levelOf(beacon), 0);
  hear(identified(300, 7, 99));
  EXPECT_EQ(levelOf(beacon), 99);
  EXPECT_EQ(levelOf(later), std::nullopt) << "of one tag, the first requested gets the level";
  status_.didDiscoverPeripheral(*central_, {}, {{"kCBAdvDataServiceData", "text"}}, {-60});
}

TEST_F(KSBatteryStatusTest, WritesWhatItReads) {
  status_.requestBatteryForBeacon(*makeBeacon("BK01", 300, 7));
  hear(tagged("BK01", 87));
  EXPECT_EQ(console(), "BK01\n87\n");
  hear(tagged("\xFFK01", 87));
  EXPECT_EQ(console(), "(null)\n");
  hear(identified(300, 7, 200));
  EXPECT_EQ(console(), "11223344-5566-4778-8899-AABBCCDDEEFF\n300\n7\n200\n");
}

}  // namespace
