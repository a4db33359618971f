#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Linux/LinuxClock.h"
#include "BeaconSDK/Platform/Linux/LinuxPositions.h"
#include "BeaconSDK/Platform/Linux/MainQueue.h"
#include "tests/Linux/PositionServices.h"

namespace ks::test {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::string kApplication = "org.ksbeacon.test";

/// A device whose location engine gets its positions from the services on a private bus, and an
/// application that asks for them.
class LinuxPositionsTest : public testing::Test,
                           public LocationDemandListener,
                           public CLLocationManagerDelegate {
 protected:
  LinuxPositionsTest() {
    engine_.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager_ = engine_.makeLocationManager();
    manager_->setDelegate(this);
  }
  ~LinuxPositionsTest() override { manager_->setDelegate(nullptr); }

  void locationDemandChanged(const LocationDemand& demand) override {
    if (positions_) positions_->locationDemandChanged(demand);
  }
  void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>& locations) override {
    fixes_.insert(fixes_.end(), locations.begin(), locations.end());
  }
  void didFailWithError(CLLocationManager&, const Error&) override { ++failures_; }

  /// The sources at `gpsdPort`, asked by an application that wants updates.
  void begin(std::uint16_t gpsdPort = freePort()) {
    positions_ = std::make_unique<LinuxPositions>(context_, gpsdPort);
    manager_->startUpdatingLocation();
  }
  bool hearsOf(double latitude, Seconds limit = Seconds{10}) {
    return runLoopUntil(
        [&] {
          return !fixes_.empty() && std::abs(fixes_.back().coordinate.latitude - latitude) < 2e-6;
        },
        limit);
  }
  bool says(const std::string& detail, Seconds limit = Seconds{10}) {
    return runLoopUntil(
        [&] { return positions_->state().detail.find(detail) != std::string::npos; }, limit);
  }
  bool isAuthorized(CLAuthorizationStatus status, Seconds limit = Seconds{10}) {
    return runLoopUntil([&] { return engine_.authorizationStatus() == status; }, limit);
  }

  PrivateBus bus_;
  TemporaryFolder folder_;
  LinuxClock clock_;
  MainQueue queue_;
  RecordingConsole console_;
  NSNotificationCenter center_;
  FileLocationStateStore store_{folder_.path() / "regions"};
  LocationEngine engine_{clock_, queue_, store_, *this};
  const Directories directories_;
  const LinuxServiceContext context_{clock_,  queue_,       console_,     center_,
                                     engine_, directories_, kApplication, kApplication};
  std::unique_ptr<LinuxPositions> positions_;
  std::unique_ptr<CLLocationManager> manager_;
  std::vector<CLLocation> fixes_;
  int failures_ = 0;
};

/// With the machine's GeoClue.
class RealGeoClueTest : public LinuxPositionsTest {
 protected:
  void SetUp() override {
    if (!RealGeoClue::reasonNotTo().empty()) GTEST_SKIP() << RealGeoClue::reasonNotTo();
  }
  NmeaTrack walk_{"unix", 5};
  RealGeoClue geoClue_{walk_, kApplication};
};

}  // namespace

TEST_F(RealGeoClueTest, FollowsATrack) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin();
  ASSERT_TRUE(hearsOf(45.0700));
  EXPECT_EQ(fixes_.back().horizontalAccuracy, Metres{5});
  EXPECT_LT(std::abs(secondsBetween(fixes_.back().timestamp, clock_.now())), 5);
  EXPECT_TRUE(positions_->state().usable);
  walk_.follow({{45.0700, 7.6868}, {45.0701, 7.6868}, {45.0710, 7.6868, 9}});
  EXPECT_TRUE(hearsOf(45.0710));
  EXPECT_EQ(fixes_.back().horizontalAccuracy, Metres{50});
  EXPECT_TRUE(geoClue_.isInUse());
  manager_->stopUpdatingLocation();
  EXPECT_TRUE(runLoopUntil([&] { return !geoClue_.isInUse(); }));
  EXPECT_EQ(positions_->state().detail, "nothing asks for positions");
}

TEST_F(RealGeoClueTest, UsesAnAgentThatComesLate) {
  walk_.follow({{45.0700, 7.6868}});
  begin();
  ASSERT_TRUE(says("GeoClue is not there"));
  EXPECT_EQ(positions_->state().mend, "apt install geoclue-2.0");
  ASSERT_TRUE(geoClue_.start());
  EXPECT_TRUE(says("GeoClue waits for an agent"));
  EXPECT_EQ(engine_.authorizationStatus(), CLAuthorizationStatus::authorizedAlways);
  ASSERT_TRUE(geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0700));
  EXPECT_EQ(failures_, 1) << "while no source was usable";
}

TEST_F(RealGeoClueTest, ObeysThePrivacySwitch) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent(0));
  begin();
  ASSERT_TRUE(isAuthorized(CLAuthorizationStatus::denied));
  EXPECT_FALSE(positions_->state().usable);
  EXPECT_THAT(positions_->state().detail, HasSubstr("refuses positions to org.ksbeacon.test"));
  EXPECT_THAT(fixes_, IsEmpty());
  ASSERT_TRUE(geoClue_.setLevel(8));
  EXPECT_TRUE(isAuthorized(CLAuthorizationStatus::authorizedAlways));
  EXPECT_TRUE(hearsOf(45.0700));

  ASSERT_TRUE(geoClue_.setLevel(0));
  ASSERT_TRUE(isAuthorized(CLAuthorizationStatus::denied));
  walk_.follow({{45.0710, 7.6868}});
  runLoopFor(Seconds{1});
  EXPECT_FALSE(hearsOf(45.0710, Seconds{0})) << "taken away while running";
  ASSERT_TRUE(geoClue_.setLevel(8));
  EXPECT_TRUE(isAuthorized(CLAuthorizationStatus::authorizedAlways));
  EXPECT_TRUE(hearsOf(45.0710));
  manager_->stopUpdatingLocation();
  EXPECT_TRUE(runLoopUntil([&] { return !geoClue_.isInUse(); }));
}

TEST_F(RealGeoClueTest, ResumesAfterRestarts) {
  walk_.follow({{45.0700, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin();
  ASSERT_TRUE(hearsOf(45.0700));
  geoClue_.stop();
  ASSERT_TRUE(says("GeoClue is not there"));
  walk_.follow({{45.0701, 7.6868}});
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0701));
  bus_.stop();
  ASSERT_TRUE(runLoopUntil([&] { return !positions_->state().usable; }));
  bus_.start();
  walk_.follow({{45.0702, 7.6868}});
  geoClue_.stop();
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  EXPECT_TRUE(hearsOf(45.0702));
}

TEST_F(RealGeoClueTest, TheMoreCertainSourceWins) {
  walk_.follow({{45.0700, 7.6868, 9}});
  NmeaTrack receiver("tcp", 5);
  receiver.follow({{45.0701, 7.6868}});
  RealGpsd gpsd(receiver);
  ASSERT_TRUE(geoClue_.start() && geoClue_.startAgent());
  begin(gpsd.port());
  ASSERT_TRUE(hearsOf(45.0701));
  runLoopFor(Seconds{1});
  EXPECT_TRUE(hearsOf(45.0701, Seconds{0})) << "17 m are better than 50 m";
  gpsd.stop();
  EXPECT_TRUE(hearsOf(45.0700, Seconds{12})) << "7 s later they are not";
  gpsd.start();
  EXPECT_TRUE(hearsOf(45.0701));
  EXPECT_THAT(positions_->state().detail, "GeoClue gives positions; gpsd gives positions");
}

TEST_F(LinuxPositionsTest, FollowsRealGpsdAndItsRestart) {
  NmeaTrack receiver("tcp", 5);
  RealGpsd gpsd(receiver);
  begin(gpsd.port());
  ASSERT_TRUE(says("gpsd has no fix"));
  EXPECT_TRUE(positions_->state().usable);
  receiver.follow({{45.0700, 7.6868}, {45.0701, 7.6868}});
  ASSERT_TRUE(hearsOf(45.0701));
  EXPECT_LT(std::abs(secondsBetween(fixes_.back().timestamp, clock_.now())), 1);
  gpsd.stop();
  ASSERT_TRUE(says("gpsd is not running"));
  EXPECT_FALSE(positions_->state().usable);
  receiver.follow({{45.0702, 7.6868}});
  gpsd.start();
  EXPECT_TRUE(hearsOf(45.0702));
  EXPECT_THAT(console_.lines, SizeIs(3)) << "usable, not, and again";
}

}  // namespace ks::test
