#include "tests/Location/LocationFixture.h"

namespace ks {
namespace {

using test::Events;

class BeaconRangingTest : public test::LocationFixture {
 protected:
  /// Minor, proximity and whether the distance is known, of the last result.
  std::vector<std::tuple<int, CLProximity, bool>> last() const {
    std::vector<std::tuple<int, CLProximity, bool>> result;
    for (const auto& beacon : recorder_.ranged.back()) {
      result.emplace_back(beacon.minor, beacon.proximity, beacon.accuracy.value >= 0);
      EXPECT_EQ(beacon.accuracy.value < 0, beacon.rssi.value == 0);
    }
    return result;
  }
  using Result = std::vector<std::tuple<int, CLProximity, bool>>;
};

TEST_F(BeaconRangingTest, ReportsNearestFirstOncePerSecond) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  advance(1);
  EXPECT_EQ(last(), Result{});
  for (int second = 0; second < 5; ++second) {
    hear(-79, 3);
    hear(-50, 1);
    hear(-65, 2);
    advance(1);
  }
  EXPECT_EQ(recorder_.ranged.size(), 6u);
  using enum CLProximity;
  EXPECT_EQ(last(), (Result{{1, immediate, true}, {2, near, true}, {3, far, true}}));
  EXPECT_NEAR(recorder_.ranged.back()[2].accuracy.value, 10, 0.01);
}

TEST_F(BeaconRangingTest, SilentBeaconFadesOut) {
  struct Case {
    double interval, believed;
    std::uint16_t minor;
  };
  // Twelve mean gaps, two standard errors too long, and at least 5 s.
  for (const auto& test : {Case{0.1, 5, 2}, Case{1, 15, 3}}) {
    manager_->startRangingBeaconsInRegion(beaconRegion());
    hearFor(60, test.interval, -65, test.minor);
    advance(test.believed - 2);
    EXPECT_EQ(last(), (Result{{test.minor, CLProximity::near, true}})) << test.interval;
    advance(3);
    EXPECT_EQ(last(), (Result{{test.minor, CLProximity::unknown, false}})) << test.interval;
    advance(5);
    EXPECT_EQ(last(), Result{}) << test.interval;
  }
}

TEST_F(BeaconRangingTest, UnusableStrengthIsUnknown) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  hear(127, 2);
  hear(0, 3);
  hear(-65, 4);
  // Half-way between a proximity and the next: not listed before the doubt is over.
  hear(-70, 5);
  advance(1);
  using enum CLProximity;
  EXPECT_EQ(last(), (Result{{4, near, true}, {2, unknown, false}, {3, unknown, false}}));
}

TEST_F(BeaconRangingTest, SlowBeaconStaysKnown) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  hearFor(30, 5, -65, 2);
  recorder_.ranged.clear();
  hearFor(60, 5, -65, 2);
  for (const auto& beacons : recorder_.ranged) {
    ASSERT_EQ(beacons.size(), 1u);
    EXPECT_EQ(beacons[0].proximity, CLProximity::near);
  }
}

TEST_F(BeaconRangingTest, ReceiverGainIsTakenOff) {
  engine_->setReceiverGain({-6});
  manager_->startRangingBeaconsInRegion(beaconRegion());
  hearFor(10, 1, -65, 2);
  EXPECT_NEAR(recorder_.ranged.back().at(0).accuracy.value, 1, 0.01);
}

TEST_F(BeaconRangingTest, TwoSendersOfOneIdentityAreCounted) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  const auto hearFrom = [this](const char* address, std::uint16_t minor) {
    Advertisement packet{address, {-70}, {}, {}, {}, {}, 0};
    packet.manufacturerData.push_back(makeBeaconData({kUUID, 1, minor, {-59}}));
    engine_->handleAdvertisement(packet);
    advance(1);
  };
  for (int i = 0; i < 10; ++i) {
    hearFrom(i % 2 ? "AA:BB:CC:DD:EE:01" : "AA:BB:CC:DD:EE:02", 1);
    // One that changes its address is one sender.
    hearFrom(("AA:BB:CC:DD:FF:" + std::to_string(10 + i)).c_str(), 2);
  }
  EXPECT_EQ(engine_->counters().sharedIdentities, 1u);
  EXPECT_EQ(notices_, Events{"Beacon 01020304-0506-0708-090A-0B0C0D0E0F10:1:1 is sent by two "
                             "senders: its distance means nothing"});
}

TEST_F(BeaconRangingTest, ImpossiblePowersAreToldRarely) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  for (int i = 0; i < 25; ++i) {
    engine_->handleBeacon({kUUID, 1, 1, {127}}, {-59});
    advance(1);
  }
  EXPECT_NEAR(recorder_.ranged.back().at(0).accuracy.value, 1, 0.01);
  EXPECT_EQ(engine_->counters().replacedPowers, 25u);
  ASSERT_EQ(notices_.size(), 2u);
  EXPECT_EQ(notices_[1],
            "Beacon 01020304-0506-0708-090A-0B0C0D0E0F10:1:1 claims 127 dBm at 1 m, "
            "which no beacon has: -59 dBm stands in (10 packets so far)");
}

TEST_F(BeaconRangingTest, DemandFollowsUseAndTimersEnd) {
  using enum LocationDemand::BeaconScan;
  const auto scans = [this] {
    run();
    std::vector<LocationDemand::BeaconScan> result;
    for (const auto& demand : std::exchange(demands_, {})) result.push_back(demand.beaconScan);
    return result;
  };
  manager_->startMonitoringForRegion(beaconRegion());
  EXPECT_EQ(scans(), std::vector{monitoring});
  manager_->startRangingBeaconsInRegion(beaconRegion());
  EXPECT_EQ(scans(), std::vector{ranging});
  manager_->stopRangingBeaconsInRegion(*beaconRegion());
  manager_->startRangingBeaconsInRegion(beaconRegion());
  EXPECT_EQ(scans(), std::vector<LocationDemand::BeaconScan>{});
  engine_->setAuthorizationStatus(CLAuthorizationStatus::authorizedWhenInUse);
  manager_->stopRangingBeaconsInRegion(*beaconRegion());
  EXPECT_EQ(scans(), std::vector{none});
  advance(2);
  EXPECT_EQ(queue_.pendingTasks(), 0u);
}

TEST_F(BeaconRangingTest, RestartingEachTickKeepsBeat) {
  for (int i = 0; i < 10; ++i) {
    manager_->startRangingBeaconsInRegion(beaconRegion());
    advance(0.5);
  }
  EXPECT_EQ(recorder_.ranged.size(), 5u);
  manager_.reset();
  advance(5);
  EXPECT_EQ(recorder_.ranged.size(), 5u);
  EXPECT_EQ(queue_.pendingTasks(), 0u);
}

TEST_F(BeaconRangingTest, MissedBeatsAreLeftOut) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  advance(1);
  loop_->stall(Seconds{5});
  advance(1);
  EXPECT_EQ(recorder_.ranged.size(), 3u) << "at 1, 6 and 7 s";
}

TEST_F(BeaconRangingTest, ReturningBeaconIsMeasuredAfresh) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  hearFor(60, 1, -85, 2);
  advance(300);
  hearFor(3, 1, -50, 2);
  EXPECT_EQ(last(), (Result{{2, CLProximity::immediate, true}}));
  EXPECT_NEAR(recorder_.ranged.back()[0].accuracy.value, 0.355, 0.001);
  advance(300);
  hear(-70, 2);
  advance(1);
  EXPECT_EQ(last(), Result{}) << "in doubt, and the old proximity is forgotten";
}

TEST_F(BeaconRangingTest, BatchedPacketsKeepTheirTimes) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  for (int second = 0; second < 20; ++second) {
    for (int packet = 9; packet >= 0; --packet) {
      engine_->handleBeacon({kUUID, 1, 1, {-59}}, {second < 15 ? -85.0 : -59.0},
                            Seconds{packet * 0.1});
    }
    advance(1);
  }
  EXPECT_NEAR(recorder_.ranged.back()[0].accuracy.value, 1, 0.3);
}

TEST_F(BeaconRangingTest, ListenerHearsStrangersToo) {
  engine_->setAuthorizationStatus(CLAuthorizationStatus::denied);
  std::vector<std::string> heard;
  engine_->setAdvertisementListener(
      [&](const Advertisement& advertisement) { heard.push_back(advertisement.address); });
  run();
  EXPECT_EQ(demands_.back().beaconScan, LocationDemand::BeaconScan::ranging);
  engine_->handleAdvertisement({"AA:BB:CC:DD:EE:FF", {-70}, {}, {}, {}, {}, 0});
  EXPECT_EQ(heard, Events{"AA:BB:CC:DD:EE:FF"});
  engine_->setAdvertisementListener(nullptr);
  run();
  EXPECT_EQ(demands_.back(), LocationDemand{});
}

}  // namespace
}  // namespace ks
