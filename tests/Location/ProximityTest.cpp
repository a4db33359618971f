#include <gtest/gtest.h>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"
#include "tests/Location/RadioWalk.h"

namespace ks {
namespace {

TEST(ProximityTest, EstimatesDistance) {
  EXPECT_NEAR(estimatedDistance({-59}, {-59}).value, 1, 1e-9);
  EXPECT_NEAR(estimatedDistance({-59}, {-79}).value, 10, 1e-9);
  EXPECT_NEAR(estimatedDistance({-65}, {-59}).value, 0.501, 1e-3);
  // A power that no transmitter has is replaced by the usual one.
  EXPECT_NEAR(estimatedDistance({20}, {-59}).value, 1, 1e-9);
}

TEST(ProximityTest, ChangesOnlyBeyondMargin) {
  using enum CLProximity;
  const auto at = [](double distance, CLProximity before) {
    return proximityOf({-59}, expectedRssi({-59}, {distance}), before, 6.0206);
  };
  struct Case {
    double distance;
    CLProximity before, after;
  };
  const Case cases[] = {
      {0.49, unknown, immediate},
      {0.51, unknown, near},
      {3.99, unknown, near},
      {4.01, unknown, far},
      {0.99, immediate, immediate},
      {1.01, immediate, near},
      {0.26, near, near},
      {0.24, near, immediate},
      {7.9, near, near},
      {8.1, near, far},
      {2.1, far, far},
      {1.9, far, near},
      {0.2, far, immediate},
      {9, immediate, far},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(at(test.distance, test.before), test.after) << test.distance;
  }
}

/// Changes of the reported proximity while a device stands ten minutes on a border.
int changesOnBorder(Metres border, double interval, std::uint64_t seed) {
  test::Random random(seed);
  const test::RadioWalk stand{[&](double) { return border.value; }, 4, 0, 0.3, 0};
  const auto filter = makeRssiFilter();
  auto shown = CLProximity::unknown;
  int changes = 0;
  for (double time = 0; time < 600; time += interval) {
    const auto rssi = stand.receive(time, random);
    if (!rssi) continue;
    filter->add(Seconds{time}, *rssi);
    const auto before = shown;
    const double margin = crossingMarginDb(Seconds{interval});
    shown = proximityOf(kUsualMeasuredPower, filter->value(), before, margin);
    changes += before != CLProximity::unknown && shown != before;
  }
  return changes;
}

TEST(ProximityTest, BorderChangesAtMostOnce) {
  for (const auto border : {kImmediateBorder, kNearBorder}) {
    for (const double interval : {0.1, 0.3, 1.0, 5.0}) {
      for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        EXPECT_LE(changesOnBorder(border, interval, seed), 1)
            << border.value << " m, " << interval << " s, seed " << seed;
      }
    }
  }
}

TEST(ProximityTest, FollowsWalkWithinSeconds) {
  for (const double interval : {0.1, 0.3, 1.0}) {
    test::Random random(1);
    const test::RadioWalk step{[](double time) { return time < 30 ? 8.0 : 1.0; }, 3, 0, 0.1, 0};
    const auto filter = makeRssiFilter();
    for (double time = 0; time < 42; time += interval) {
      if (const auto rssi = step.receive(time, random)) filter->add(Seconds{time}, *rssi);
    }
    EXPECT_NEAR(filter->value().value, kUsualMeasuredPower.value, 4) << interval;
  }
}

}  // namespace
}  // namespace ks
