#include "tests/Location/LocationFixture.h"

namespace ks {
namespace {

using test::Events;

class LocationUpdatesTest : public test::LocationFixture {
 protected:
  /// Walks north, a fix every 100 m, and answers how many were reported.
  std::size_t walk(int fixes, double accuracy = 10) {
    for (int i = 0; i < fixes; ++i) {
      latitude_ += 100 / 111195.0;
      fix(latitude_, 7, accuracy);
      advance(60);
    }
    return take().size();
  }
  double latitude_ = 45;
};

TEST_F(LocationUpdatesTest, FiltersByDistance) {
  EXPECT_EQ(walk(5), 0u);
  manager_->startUpdatingLocation();
  EXPECT_EQ(walk(5), 5u);
  manager_->setDistanceFilter({250});
  EXPECT_EQ(walk(9), 3u);
  manager_->stopUpdatingLocation();
  EXPECT_EQ(walk(5), 0u);
  manager_->startMonitoringSignificantLocationChanges();
  EXPECT_EQ(walk(11), 3u);
  EXPECT_EQ(walk(20, 1000), 2u);
}

TEST_F(LocationUpdatesTest, TripDuringSuspendIsTold) {
  manager_->startUpdatingLocation();
  fix(45, 7, 10);
  take();
  // While the device was suspended the dates went on, the clock that counts did not.
  engine_->handleFix({{45.27, 7}, {10}, loop_->clock().now() + Seconds{3600}});
  EXPECT_EQ(take(), Events{"at 45.270"});
}

TEST_F(LocationUpdatesTest, RequestIsAnsweredOnce) {
  manager_->requestLocation();
  EXPECT_EQ(take(), Events{});
  fix(45, 7, 10);
  fix(45.001, 7, 10);
  EXPECT_EQ(take(), Events{"at 45.000"});
  manager_->requestLocation();
  EXPECT_EQ(take(), Events{"at 45.001"});
  advance(11);
  manager_->requestLocation();
  EXPECT_EQ(take(), Events{});
  advance(30);
  EXPECT_EQ(take(), Events{"error 0"});
  EXPECT_EQ(engine_->demand(), LocationDemand{});
  ASSERT_TRUE(manager_->location());
  EXPECT_EQ(manager_->location()->coordinate.latitude, 45.001);
}

TEST_F(LocationUpdatesTest, FailureEndsRequest) {
  manager_->requestLocation();
  engine_->positionFailed(locationError(CLErrorCode::locationUnknown));
  engine_->positionFailed(locationError(CLErrorCode::locationUnknown));
  EXPECT_EQ(take(), Events{"error 0"});
  engine_->setAuthorizationStatus(CLAuthorizationStatus::denied);
  EXPECT_EQ(take(), Events{"status 2"});
  manager_->requestLocation();
  manager_->startUpdatingLocation();
  EXPECT_EQ(take(), (Events{"error 1", "error 1"}));
  fix(45, 7, 10);
  EXPECT_EQ(take(), Events{});
  EXPECT_EQ(engine_->demand(), LocationDemand{});
  EXPECT_EQ(queue_.pendingTasks(), 0u);
}

TEST_F(LocationUpdatesTest, DemandIsTheFinestWish) {
  const auto wanted = [this] {
    const auto accuracy = engine_->demand().positionAccuracy;
    return accuracy ? accuracy->value : -1;
  };
  EXPECT_EQ(wanted(), -1);
  manager_->startMonitoringSignificantLocationChanges();
  EXPECT_EQ(wanted(), 500);
  manager_->startMonitoringForRegion(circle(45, 7, 6000));
  EXPECT_EQ(wanted(), 100);
  manager_->startMonitoringForRegion(circle(45, 7, 60, "small"));
  EXPECT_EQ(wanted(), 100);
  manager_->requestLocation();
  EXPECT_EQ(wanted(), 10);
  fix(45, 7, 10);
  EXPECT_EQ(wanted(), 25);
  manager_->stopMonitoringForRegion(*circle(45, 7, 60, "small"));
  EXPECT_EQ(wanted(), 500);
  take();
  EXPECT_EQ(demands_.back().positionAccuracy, Metres{500});
}

TEST_F(LocationUpdatesTest, DemandFollowsNearestBorder) {
  manager_->startMonitoringForRegion(circle(45, 7, 100));
  manager_->startMonitoringForRegion(circle(-45, 7, 15, "the smallest on earth"));
  struct {
    double metres, accuracy, interval;
  } const cases[] = {{20000, 1000, 300}, {2000, 250, 300}, {500, 100, 120}, {120, 50, 5}};
  for (const auto& test : cases) {
    kill();
    start();
    const double latitude = 45 + test.metres / 111195;
    fix(latitude, 7, 10);
    EXPECT_EQ(engine_->demand().positionAccuracy, Metres{test.accuracy}) << test.metres;
    EXPECT_EQ(engine_->demand().positionInterval.count(), test.interval) << test.metres;
  }
  for (int i = 0; i < 200; ++i) {
    fix(45 + (120 + i % 2) / 111195.0, 7, 10);
    advance(1);
  }
  EXPECT_EQ(engine_->demand().positionInterval.count(), 30) << "a device that rests";
}

TEST_F(LocationUpdatesTest, ManagersAreIndependentAndOutliveEngine) {
  test::Recorder other;
  auto second = engine_->makeLocationManager();
  second->setDelegate(&other);
  second->startUpdatingLocation();
  manager_->startMonitoringForRegion(circle(45, 7, 100));
  run();
  fix(45, 7, 5);
  EXPECT_EQ(take(), (Events{"start park", "inside park", "enter park"}));
  EXPECT_EQ(other.take(), (Events{"at 45.000", "inside park", "enter park"}));
  // A delegate that destroys the other manager in its event.
  recorder_.react = [&](const std::string&) { second.reset(); };
  fix(46, 7, 5);
  advance(20);
  EXPECT_EQ(take(), (Events{"outside park", "exit park"}));
  EXPECT_EQ(other.take(), Events{"at 46.000"});
  engine_.reset();
  manager_->requestLocation();
  manager_->startMonitoringForRegion(circle(45, 7, 100));
  EXPECT_EQ(manager_->location(), std::nullopt);
  advance(60);
  EXPECT_EQ(take(), Events{});
}

}  // namespace
}  // namespace ks
