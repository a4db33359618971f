#include <algorithm>

#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"
#include "tests/Location/LocationFixture.h"
#include "tests/Location/RadioWalk.h"

namespace ks {
namespace {

using test::Events;

/// Degrees of latitude that are that many metres.
double north(double metres) { return metres / 111195.08; }

class CircularRegionTest : public test::LocationFixture {
 protected:
  /// A fix so many metres north of the park's centre.
  void fixAt(double metres, double accuracy) { fix(45 + north(metres), 7, accuracy); }
};

TEST_F(CircularRegionTest, CrossingMustExceedUncertainty) {
  struct Case {
    const char* name;
    double before, accuracyBefore, metres, accuracy;
    Events events;
  };
  const Events none, enters{"inside park", "enter park"}, leaves{"outside park", "exit park"};
  const Case cases[] = {
      {"deep inside", 500, 1, 0, 20, enters},
      {"bad fix over the centre", 500, 1, 0, 150, none},
      {"bad fix far away", 0, 1, 400, 350, none},
      {"just inside, still doubtful", 110, 10, 95, 10, none},
      {"on the border, no doubt", 110, 1, 99.8, 0, enters},
      {"far outside", 0, 1, 400, 50, leaves},
      {"just outside, still doubtful", 95, 10, 105, 10, none},
      {"invalid", 0, 1, 400, -1, none},
  };
  for (const auto& test : cases) {
    kill();
    store_.data.reset();
    start();
    monitor(circle(45, 7, 100));
    fixAt(test.before, test.accuracyBefore);
    take();
    advance(10);
    fixAt(test.metres, test.accuracy);
    advance(1);
    fixAt(test.metres + 0.1, test.accuracy);
    EXPECT_EQ(take(), test.events) << test.name;
  }
}

TEST_F(CircularRegionTest, DoubtfulCrossingNeedsAgreement) {
  monitor(circle(45, 7, 100));
  fixAt(115, 10);
  fixAt(85, 10);
  advance(5);
  fixAt(115, 10);
  fixAt(85, 10);
  advance(9);
  fixAt(86, 10);
  EXPECT_EQ(take(), Events{});
  advance(1);
  fixAt(88, 10);
  EXPECT_EQ(take(), (Events{"inside park", "enter park"}));
}

TEST_F(CircularRegionTest, StandingOnBorderHardlyFlaps) {
  monitor(circle(45, 7, 100));
  test::Random random(5);
  // The stated uncertainty is the radius that holds 68% of the fixes.
  for (int second = 0; second < 3600; ++second) {
    fix(45 + north(100 + 10 * random.normal()), 7 + north(10 * random.normal()), 15);
    advance(1);
  }
  EXPECT_LE(take().size(), 2u);
}

TEST_F(CircularRegionTest, SingleJumpIsNotBelieved) {
  monitor(circle(45, 7, 100));
  fixAt(0, 5);
  EXPECT_EQ(take().size(), 2u);
  advance(1);
  fixAt(5000, 5);
  advance(1);
  fixAt(2, 5);
  EXPECT_EQ(take(), Events{});
  EXPECT_EQ(engine_->counters().rejectedFixes, 1u);
  advance(1);
  fixAt(5000, 5);
  EXPECT_EQ(take(), Events{});
  advance(1);
  fixAt(5001, 5);
  EXPECT_EQ(take(), (Events{"outside park", "exit park"}));
  fixAt(0, 5);
  EXPECT_EQ(take(), Events{});
  advance(20);
  EXPECT_EQ(take(), (Events{"inside park", "enter park"}));
}

TEST_F(CircularRegionTest, SpikeIsNotBelievedWhateverThePause) {
  monitor(circle(45, 7, 100));
  fixAt(0, 20);
  EXPECT_EQ(take().size(), 2u);
  for (const double pause : {1, 5, 10, 60, 600}) {
    for (int i = 1; i < 20; ++i) {
      fixAt(i % 3, 20);
      advance(pause);
    }
    const CLLocation spike{{45 + north(400), 7}, {30}, loop_->clock().now()};
    engine_->handleFix(spike);
    advance(pause);
    engine_->handleFix(spike);
    advance(pause / 2);
    fixAt(1, 20);
    // Older than what is known.
    engine_->handleFix({spike.coordinate, {5}, spike.timestamp});
    EXPECT_EQ(take(), Events{}) << pause;
  }
}

TEST_F(CircularRegionTest, PathCountsForCirclesThatItCrosses) {
  monitor(circle(45, 7, 100));
  for (const double metres : {-620, -370, -120, 130}) {
    fixAt(metres, 20);
    advance(10);
  }
  EXPECT_EQ(take(), (Events{"inside park", "enter park", "outside park", "exit park"}));
}

TEST_F(CircularRegionTest, CircleTooSmallIsToldOnce) {
  monitor(circle(45, 7, 20));
  for (int i = 0; i < 20; ++i) {
    fixAt(i % 5, 30);
    advance(1);
  }
  EXPECT_EQ(take(), Events{});
  EXPECT_EQ(engine_->counters().tooSmallCircles, 1u);
  EXPECT_EQ(notices_,
            Events{"The circle 'park' of 20 m is smaller than the uncertainty of positions "
                   "there, 30 m: it cannot be entered"});
}

TEST_F(CircularRegionTest, TellsStateOnRequest) {
  auto region = circle(45, 7, 100);
  manager_->requestStateForRegion(*region);
  EXPECT_EQ(take(), Events{});
  monitor(region);
  manager_->requestStateForRegion(*region);
  EXPECT_EQ(take(), Events{});
  advance(40);
  EXPECT_EQ(take(), Events{"unknown park"});
  manager_->requestStateForRegion(*region);
  run();
  fixAt(400, 5);
  EXPECT_EQ(take(), Events{"outside park"});
  manager_->requestStateForRegion(*region);
  EXPECT_EQ(take(), Events{"outside park"});
  EXPECT_EQ(queue_.pendingTasks(), 0u);
}

TEST_F(CircularRegionTest, DeviceInsideIsToldOnce) {
  fixAt(0, 5);
  // As the library does: asks for the state as soon as monitoring has begun.
  recorder_.react = [this](const std::string& event) {
    if (event == "start park") manager_->requestStateForRegion(*circle(45, 7, 100));
  };
  manager_->startMonitoringForRegion(circle(45, 7, 100));
  EXPECT_EQ(take(), (Events{"start park", "inside park", "enter park"}));
  manager_->startMonitoringForRegion(circle(45, 7, 100));
  EXPECT_EQ(take(), (Events{"start park", "inside park"}));
}

TEST_F(CircularRegionTest, RefusesWhatCannotBeWatched) {
  manager_->startMonitoringForRegion(circle(91, 7, 100, "beyond the pole"));
  manager_->startMonitoringForRegion(circle(45, 7, 0, "point"));
  manager_->startMonitoringForRegion(circle(45, NAN, 10, "nowhere"));
  manager_->startMonitoringForRegion(circle(45, 7, 10, ""));
  engine_->setAuthorizationStatus(CLAuthorizationStatus::authorizedWhenInUse);
  manager_->startMonitoringForRegion(circle(45, 7, 10));
  EXPECT_EQ(take(), (Events{"fail 5 beyond the pole", "fail 5 point", "fail 5 nowhere", "fail 5 ",
                            "status 4", "fail 4 park"}));
  EXPECT_TRUE(manager_->monitoredRegions().empty());
}

TEST(CircleIndexTest, AgreesWithEveryDistance) {
  test::Random random(11);
  std::vector<CLCircularRegion> circles;
  CircleIndex index;
  const auto place = [&](int i) {
    // A third around the pole, a third on the antimeridian, the rest anywhere.
    const double latitude = i % 3 == 0 ? 90 - random.uniform() : 180 * random.uniform() - 90;
    const double around = i % 3 == 1 ? 180 - random.uniform() * 2 : 360 * random.uniform();
    return CLLocationCoordinate2D{latitude, around > 180 ? around - 360 : around};
  };
  for (int i = 0; i < 2000; ++i) {
    const Metres radius{std::pow(10, 1 + 6.4 * random.uniform())};
    circles.emplace_back(place(i), radius, "");
    index.insert(static_cast<std::uint64_t>(i) + 1, circles.back().center(), radius);
  }
  for (std::uint64_t i = 0; i < 2000; i += 2) {
    index.erase(i + 1, circles[i].center(), circles[i].radius());
  }
  for (int i = 0; i < 2000; ++i) {
    const auto point = i % 4 == 0 ? circles[static_cast<std::size_t>(i)].center() : place(i);
    std::vector<std::uint64_t> found;
    if (i % 8 < 4) {
      index.around(point, found);
    } else {
      index.along(point, place(i), found);
    }
    std::sort(found.begin(), found.end());
    for (std::uint64_t j = 0; j < 2000; ++j) {
      const bool listed = std::binary_search(found.begin(), found.end(), j + 1);
      if (j % 2 == 0) {
        ASSERT_FALSE(listed);
      } else if (circles[j].containsCoordinate(point)) {
        ASSERT_TRUE(listed) << circles[j].description();
      }
    }
  }
}

}  // namespace
}  // namespace ks
