#include <gtest/gtest.h>

#include <vector>

#include "BeaconSDK/Platform/Location/Radio/BeaconMemory.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "tests/Location/RadioWalk.h"

namespace ks {
namespace {

constexpr UUID kUUID{{1, 2, 3}};

/// A device beside one beacon: what ranging would tell it once a second.
struct Stand {
  test::RadioWalk walk;
  double interval = 1;
  std::uint64_t seed = 1;
  Dbm power = kUsualMeasuredPower;

  /// What is listed at second 1, 2, ...; unknown and without distance while it is not.
  std::vector<CLBeacon> play(int duration) const {
    std::vector<CLBeacon> listed;
    test::Random random(seed);
    BeaconMemory memory(1, 1);
    double next = interval * random.uniform();
    for (int now = 1; now <= duration; ++now) {
      for (; next <= now; next += interval) {
        const auto rssi = walk.receive(next, random);
        if (rssi) memory.hear({{kUUID, 1, 1, power}, *rssi, Seconds{next}});
      }
      const Seconds time(now);
      listed.push_back(memory.isListed(time) ? memory.ranged(kUUID, time) : CLBeacon{});
    }
    return listed;
  }
};

TEST(ProximityTest, ImplausiblePowerIsReplaced) {
  const test::RadioWalk quiet{[](double) { return 2.0; }, 0, 0, 0, 0};
  const std::pair<double, double> cases[] = {{-59, 2}, {-65, 1}, {-101, 2},
                                             {-24, 2}, {0, 2},   {127, 2}};
  for (const auto& [claimed, distance] : cases) {
    const auto last = Stand{quiet, 1, 1, {claimed}}.play(30).back();
    EXPECT_NEAR(last.accuracy.value, distance, 0.01) << claimed;
  }
}

TEST(ProximityTest, FollowsWalkWithinSeconds) {
  for (const double interval : {0.1, 0.3, 1.0}) {
    const test::RadioWalk step{[](double time) { return time < 30 ? 8.0 : 1.0; }, 3, 0, 0.1, 0};
    const auto listed = Stand{step, interval}.play(42);
    EXPECT_EQ(listed[28].proximity, CLProximity::far) << interval;
    EXPECT_EQ(listed[41].proximity, CLProximity::near) << interval;
  }
}

TEST(ProximityTest, WrongBandIsLeftInTheEnd) {
  // A body hides the beacon at first; then it stands half a metre from the border, and nothing
  // moves.
  const test::RadioWalk stand{[](double time) { return time < 10 ? 9.0 : 3.2; }, 2, 0, 0.2, 0};
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const auto listed = Stand{stand, 0.5, seed}.play(120);
    EXPECT_EQ(listed[8].proximity, CLProximity::far) << seed;
    EXPECT_EQ(listed[119].proximity, CLProximity::near) << seed;
  }
}

}  // namespace
}  // namespace ks
