#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "tests/Contract/PlatformContract.h"

namespace ks::test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr CLLocationCoordinate2D kHome{45.07, 7.68};

/// So many metres north of home.
CLLocationCoordinate2D north(double metres) {
  return {kHome.latitude + metres / 111195.08, kHome.longitude};
}

/// A manager of the platform, and what it tells.
struct Observer : CLLocationManagerDelegate {
  explicit Observer(Platform& platform)
      : queue(platform.mainQueue()), manager(platform.locationServices().makeLocationManager()) {
    manager->setDelegate(this);
  }
  ~Observer() override { manager->setDelegate(nullptr); }

  void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>& locations) override {
    EXPECT_TRUE(queue.isCurrent());
    fixes.insert(fixes.end(), locations.begin(), locations.end());
  }
  void didDetermineState(CLLocationManager&, CLRegionState state,
                         const std::shared_ptr<const CLRegion>& region) override {
    note(state == CLRegionState::inside ? "inside " : "not inside ", *region);
  }
  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    note("entered ", *region);
  }
  void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    note("left ", *region);
  }
  void note(const std::string& what, const CLRegion& region) {
    EXPECT_TRUE(queue.isCurrent());
    events.push_back(what + region.identifier());
  }
  bool isAt(CLLocationCoordinate2D place) const {
    return !fixes.empty() && distanceBetween(fixes.back().coordinate, place) < Metres{2};
  }

  DispatchQueue& queue;
  std::unique_ptr<CLLocationManager> manager;
  std::vector<CLLocation> fixes;
  std::vector<std::string> events;
};

}  // namespace

TEST_P(LocationContract, AnswersARequestOnce) {
  moveTo(kHome);
  Observer observer(platform());
  EXPECT_EQ(platform().locationServices().authorizationStatus(),
            CLAuthorizationStatus::authorizedAlways);
  observer.manager->requestLocation();
  EXPECT_THAT(observer.fixes, IsEmpty()) << "never inside the call";
  EXPECT_TRUE(eventually([&] { return observer.isAt(kHome); }));
  EXPECT_GE(observer.fixes[0].horizontalAccuracy, Metres{0});
  EXPECT_LT(std::abs(secondsBetween(observer.fixes[0].timestamp, platform().clock().now())), 5);
  moveTo(north(100));
  runFor(Seconds{1.5});
  EXPECT_THAT(observer.fixes, SizeIs(1));
}

TEST_P(LocationContract, LeavesOutMovesWithinTheFilter) {
  moveTo(kHome);
  Observer observer(platform());
  observer.manager->setDistanceFilter(Metres{50});
  observer.manager->startUpdatingLocation();
  ASSERT_TRUE(eventually([&] { return observer.isAt(kHome); }));
  moveTo(north(20));
  runFor(Seconds{1.5});
  EXPECT_THAT(observer.fixes, SizeIs(1));
  moveTo(north(80));
  EXPECT_TRUE(eventually([&] { return observer.isAt(north(80)); }));
  observer.manager->stopUpdatingLocation();
  moveTo(north(200));
  runFor(Seconds{1.5});
  EXPECT_THAT(observer.fixes, SizeIs(2));
}

TEST_P(LocationContract, CirclesAreLeftAfterARestart) {
  moveTo(kHome);
  {
    Observer observer(platform());
    observer.manager->startMonitoringForRegion(
        std::make_shared<CLCircularRegion>(kHome, Metres{100}, "home"));
    EXPECT_TRUE(eventually([&] { return observer.events.size() == 2; }));
    EXPECT_THAT(observer.events, ElementsAre("inside home", "entered home"));
  }
  // What has changed is saved at most once a second.
  runFor(Seconds{1.5});
  restart();
  moveTo(north(250));
  Observer observer(platform());
  EXPECT_THAT(observer.manager->monitoredRegions(), SizeIs(1));
  EXPECT_TRUE(eventually([&] { return observer.events.size() == 2; }));
  EXPECT_THAT(observer.events, ElementsAre("not inside home", "left home"));
}

}  // namespace ks::test
