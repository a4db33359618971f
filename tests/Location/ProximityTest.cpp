#include <vector>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"
#include "tests/Location/LocationFixture.h"
#include "tests/Location/RadioWalk.h"

namespace ks::test {
namespace {

/// A device beside one beacon, from the radio's bytes to what ranging tells.
struct Stand {
  RadioWalk walk;
  double interval = 1;
  std::uint64_t seed = 1;
  Dbm power = kUsualMeasuredPower;
};

class ProximityTest : public LocationFixture {
 protected:
  /// What is listed at second 1, 2, ...; unknown and without distance while nothing is.
  std::vector<CLBeacon> play(const Stand& stand, int duration) {
    kill();
    start();
    recorder_.ranged.clear();
    manager_->startRangingBeaconsInRegion(beaconRegion());
    const auto begin = loop_->clock().now();
    SimulatedBeacon beacon;
    beacon.proximityUUID = kUUID;
    beacon.measuredPower = stand.power;
    const auto bytes = frameAdvertisement(beacon);
    Random random(stand.seed);
    for (double at = stand.interval * random.uniform(); at < duration; at += stand.interval) {
      loop_->runUntil(begin + Seconds{at});
      if (const auto rssi = stand.walk.receive(at, random)) {
        engine_->handleAdvertisement(parseAdvertisement("C0:00:00:00:00:01", bytes, *rssi));
      }
    }
    loop_->runUntil(begin + Seconds{static_cast<double>(duration)});
    std::vector<CLBeacon> listed;
    for (const auto& beacons : recorder_.ranged) {
      listed.push_back(beacons.empty() ? CLBeacon{} : beacons[0]);
    }
    return listed;
  }
};

TEST_F(ProximityTest, ImplausiblePowerIsReplaced) {
  const RadioWalk quiet{[](double) { return 2.0; }, 0, 0, 0, 0};
  const std::pair<double, double> cases[] = {{-59, 2}, {-65, 1}, {-101, 2},
                                             {-24, 2}, {0, 2},   {127, 2}};
  for (const auto& [claimed, distance] : cases) {
    const auto last = play({quiet, 1, 1, {claimed}}, 30).back();
    EXPECT_NEAR(last.accuracy.value, distance, 0.01) << claimed;
  }
}

TEST_F(ProximityTest, FollowsWalkWithinSeconds) {
  for (const double interval : {0.1, 0.3, 1.0}) {
    const RadioWalk step{[](double time) { return time < 30 ? 8.0 : 1.0; }, 3, 0, 0.1, 0};
    const auto listed = play({step, interval}, 42);
    EXPECT_EQ(listed[28].proximity, CLProximity::far) << interval;
    EXPECT_EQ(listed[41].proximity, CLProximity::near) << interval;
  }
}

TEST_F(ProximityTest, WrongBandIsLeftInTheEnd) {
  // A body hides the beacon at first; then it stands half a metre from the border, and nothing
  // moves.
  const RadioWalk stand{[](double time) { return time < 10 ? 9.0 : 3.2; }, 2, 0, 0.2, 0};
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const auto listed = play({stand, 0.5, seed}, 120);
    EXPECT_EQ(listed[8].proximity, CLProximity::far) << seed;
    EXPECT_EQ(listed[119].proximity, CLProximity::near) << seed;
  }
}

}  // namespace
}  // namespace ks::test
