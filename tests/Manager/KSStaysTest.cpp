#include <fstream>

#include "BeaconSDK/Classes/Manager/Triggers/KSStays.h"
#include "tests/Support/Scenario.h"

using ks::CLRegionState;
using ks::testing::PortalZone;
using ks::testing::Scenario;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class KSStaysTest : public ks::testing::ScenarioTest {
 protected:
  const PortalZone zone{.proximity = "NEAR", .repeatDelay = 36000};

  /// The hourly lists: around the device, of the location, and of geofences.
  void portalLists(const std::string& around, const std::string& location,
                   const std::string& geofences = "[]") {
    scenario.portalAnswers("/locations", R"([{"id":"L1","refreshIntervalSeconds":60}])");
    scenario.portalAnswers("unique-uuids", around);
    scenario.portalAnswers("/geofences", geofences);
    scenario.portalAnswers("location=L1", location);
  }
  void anHourPasses() {
    scenario.passes(3600);
    EXPECT_TRUE(scenario.isAsked("unique-uuids"));
  }
  void startsWithLists() {
    scenario.starts();
    scenario.movesTo(ks::testing::kHome);
    portalLists("[" + zone.beacon() + "]", "[" + zone.beacon() + "]");
    scenario.determines(CLRegionState::inside);
  }
};

TEST_F(KSStaysTest, TwoListsShareOneBeacon) {
  startsWithLists();
  scenario.sees(1);
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/enter b1", "beacons/notification b1"));
  const auto object = scenario.beacon();
  anHourPasses();
  portalLists("[" + zone.beacon() + "]", "[" + zone.beacon() + "]");
  EXPECT_EQ(scenario.beacon(), object);
  scenario.sees(1);
  EXPECT_EQ(scenario.manager->enteredZones()->size(), 1u);
  scenario.relaunches();
  scenario.starts();
  scenario.determines(CLRegionState::outside);
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/exit b1"));
  EXPECT_FALSE(scenario.manager->enteredZones());
}

TEST_F(KSStaysTest, ManyRestartsAreOneVisit) {
  scenario.startsAtSite();
  scenario.learns(zone);
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/enter b1"));
  for (int i = 0; i < 28; ++i) {
    scenario.relaunches();
    scenario.starts();
    scenario.determines(CLRegionState::inside);
    scenario.sees(1, ks::CLProximity::far);
  }
  EXPECT_THAT(scenario.statistics(), IsEmpty());
  scenario.determines(CLRegionState::outside);
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/exit b1"));
  scenario.relaunches();
  scenario.starts();
  scenario.determines(CLRegionState::outside);
  EXPECT_THAT(scenario.statistics(), IsEmpty());
}

TEST_F(KSStaysTest, GeofenceIsLeftAfterRelaunch) {
  scenario.starts();
  scenario.movesTo(ks::testing::kHome);
  portalLists("[]", "[]", "[" + PortalZone{.id = "g1"}.geofence() + "]");
  scenario.crossesInto("g1");
  EXPECT_THAT(scenario.statistics(),
              ElementsAre("geofences/enter g1", "geofences/notification g1"));
  scenario.relaunches();
  scenario.starts();
  scenario.crossesOutOf("g1");
  EXPECT_THAT(scenario.statistics(), ElementsAre("geofences/exit g1"));
}

TEST_F(KSStaysTest, RelaunchKeepsTheNeighbourhood) {
  scenario.starts();
  scenario.movesTo(ks::testing::kHome);
  portalLists("[]", "[" + zone.beacon() + "]", "[" + PortalZone{.id = "g1"}.geofence() + "]");
  scenario.relaunches();
  scenario.starts();
  scenario.movesTo({ks::testing::kHome.latitude + 0.01, ks::testing::kHome.longitude});
  scenario.determines(CLRegionState::outside, "g1");
  EXPECT_NE(scenario.beacon(), nullptr) << "neither a fix nor an unknown circle forgets it";
  EXPECT_TRUE(scenario.logged("Unknown circle g1 changes nothing"));
}

TEST_F(KSStaysTest, StartAfterResetSaysWhatToDo) {
  scenario.launches();
  scenario.manager->reset();
  scenario.starts();
  EXPECT_EQ(scenario.startResult, "The library was reset; make a new manager to start again");
  EXPECT_FALSE(scenario.manager->starting());
}

TEST_F(KSStaysTest, ObserverLearnsWhatThePortalWithholds) {
  scenario.startsAtSite();
  scenario.sees(1);
  scenario.portalAnswers("retrieveby=identifiers", "[]");
  scenario.passes(700);
  scenario.sees(1);
  scenario.portalRefuses("retrieveby=identifiers", 401);
  EXPECT_THAT(
      scenario.told(),
      ElementsAre("withheld " + ks::testing::kSiteUUID.UUIDString() + ":1:1", "login refused"));
}

}  // namespace
