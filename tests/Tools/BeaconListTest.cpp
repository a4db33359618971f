#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tools/ksbeacon/device/BeaconList.h"
#include "tools/ksbeacon/device/ScanText.h"

namespace ks::tool {
namespace {

const UUID kUUID = *UUID::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");

Advertisement packet(std::uint16_t minor, double rssi, std::vector<ServiceData> services = {}) {
  Advertisement made;
  made.address = "AA:BB:CC:DD:EE:" + std::to_string(10 + minor % 90);
  made.rssi = {rssi};
  made.manufacturerData = {makeBeaconData({kUUID, 1, minor, {-59}})};
  made.serviceData = std::move(services);
  return made;
}

TEST(BeaconListTest, TellsWhatItHeardNearestFirst) {
  BeaconList list;
  for (int second = 0; second < 10; ++second) {
    list.hear(packet(1, -79), Seconds(second));
    list.hear(packet(2, -59), Seconds(second + 0.5));
    list.hear(packet(3, 127), Seconds(second + 0.5));
  }
  const auto beacons = list.beacons(Seconds{12});
  ASSERT_EQ(beacons.size(), 3u);
  EXPECT_EQ(beacons[0].frame.minor, 2);
  EXPECT_EQ(beaconLine(beacons[0]),
            "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0     1     2    -59   -59     1.0 m  near     "
            "    1.00 s        -     2 s");
  EXPECT_NEAR(beacons[1].distance.value, 10, 0.5);
  EXPECT_EQ(beacons[1].proximity, CLProximity::far);
  // No usable strength: it is there, and nothing more is known.
  EXPECT_EQ(beacons[2].frame.minor, 3);
  EXPECT_THAT(beaconJson(beacons[2], dateFromSecondsSince1970(3)),
              testing::AllOf(testing::StartsWith(R"({"lastSeen":"1970-01-01T00:00:00.500Z")"),
                             testing::HasSubstr(R"("rssi":null,"rawRssi":null,"distance":null,)"
                                                R"("proximity":"unknown")")));
}

TEST(BeaconListTest, KnowsTheSendersBattery) {
  BeaconList list;
  const ServiceData tagged{{"D00D"}, {'B', 'K', '0', '1', 0, 0, 87}};
  const ServiceData other{{"180F"}, {'B', 'K', '0', '1', 0, 0, 50}};
  list.hear(packet(1, -70), Seconds{0});
  list.hear(packet(2, -70, {other}), Seconds{0});
  // Its level comes in a packet of its own.
  Advertisement battery = packet(1, -70, {tagged});
  battery.manufacturerData.clear();
  list.hear(battery, Seconds{1});
  const auto beacons = list.beacons(Seconds{1});
  EXPECT_EQ(beacons.at(0).battery, 87);
  EXPECT_EQ(beacons.at(1).battery, std::nullopt);
}

TEST(BeaconListTest, ForgetsTheSilentAndStaysBounded) {
  BeaconList list;
  list.hear(packet(1, -70), Seconds{0});
  EXPECT_EQ(list.beacons(BeaconList::kMemory).size(), 1u);
  for (int minor = 0; minor < 6000; ++minor) {
    list.hear(packet(static_cast<std::uint16_t>(minor), -70), Seconds{61});
  }
  EXPECT_EQ(list.beacons(Seconds{61}).size(), BeaconList::kMostBeacons);
  EXPECT_TRUE(list.beacons(Seconds{200}).empty());
  // There is room again.
  list.hear(packet(1, -70), Seconds{200});
  EXPECT_EQ(list.beacons(Seconds{200}).size(), 1u);
}

TEST(BeaconListTest, FitsItsTableToTheTerminal) {
  const std::vector<HeardBeacon> beacons(5);
  EXPECT_EQ(beaconTable(beacons, 6).size(), 6u);
  const auto cut = beaconTable(beacons, 5);
  EXPECT_EQ(cut.size(), 5u);
  EXPECT_EQ(cut.back(), "and 2 more\n");
}

}  // namespace
}  // namespace ks::tool
