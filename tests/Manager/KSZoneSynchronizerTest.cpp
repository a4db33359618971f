#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSZoneSynchronizer.h"
#include "tests/Support/Scenario.h"

using ks::testing::kSiteRegion;
using ks::testing::PortalZone;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kTwoLocations = R"([{"id":"L1","name":"One","refreshIntervalSeconds":600},)"
                                  R"({"id":"L2","name":"Two","refreshIntervalSeconds":600}])";

std::filesystem::path cacheFile(const std::string& name) {
  return ks::NSFileManagerHelpers::cacheFilePath("KSProximityManager/" + name);
}

class KSZoneSynchronizerTest : public ks::testing::ScenarioTest {
 protected:
  KSZoneSynchronizerTest() { scenario.starts(); }
  /// At home, with the portal's location list.
  void findsLocations(const std::string& document) {
    scenario.movesTo(ks::testing::kHome);
    scenario.portalAnswers("/locations", document);
    scenario.portalAnswers("unique-uuids", "[]");
    scenario.portalAnswers("/geofences", "[]");
  }
  void refreshesLocations(const std::string& document) {
    scenario.passes(3600);
    scenario.portalAnswers("/locations", document);
  }
  std::vector<std::string> identifiers() const {
    std::vector<std::string> all;
    for (const auto& location : scenario.manager->locations()) {
      all.push_back(*location->identifier);
    }
    return all;
  }
};

TEST_F(KSZoneSynchronizerTest, ListedLocationsGetTheirZones) {
  findsLocations(kTwoLocations);
  EXPECT_EQ(scenario.manager->lastLocationsRefreshDate(), scenario.now());
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  scenario.portalAnswers("location=L2", "[]");
  EXPECT_THAT(scenario.heard(), ElementsAre("locations", "zones L1", "zones L2"));
  EXPECT_NE(scenario.beacon("b1"), nullptr);
  const auto synced = scenario.now();
  scenario.passes(1);
  const auto stored = ks::loadCacheFile(cacheFile("locations.dat"));
  EXPECT_EQ(stored.array()->items[1].objectOf<KSLocation>()->zonesSyncedOn, synced);
  EXPECT_THAT(scenario.location->takeCalls(),
              testing::Not(testing::Contains("range " + kSiteRegion)))
      << "a real location's zones change no region";
}

TEST_F(KSZoneSynchronizerTest, KnownLocationsKeepTheirDate) {
  findsLocations(R"([{"id":"L1","refreshIntervalSeconds":7200}])");
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  refreshesLocations(R"([{"id":"L2"},{"id":"L1","refreshIntervalSeconds":7200,"name":"New"}])");
  EXPECT_THAT(identifiers(), ElementsAre("L2", "L1"));
  EXPECT_EQ(scenario.manager->locations()[1]->name, "New");
  EXPECT_FALSE(scenario.isAsked("location=L1"));
  EXPECT_TRUE(scenario.isAsked("location=L2"));
}

TEST_F(KSZoneSynchronizerTest, DroppedLocationLosesItsZones) {
  findsLocations(kTwoLocations);
  scenario.portalAnswers("location=L1", "[" + PortalZone{.dwellingTime = 9999}.beacon() + "]");
  scenario.sees(1);
  refreshesLocations(R"([{"id":"L2"}])");
  EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty()) << "of its dwelling";
  EXPECT_EQ(
      scenario.manager->proximityZoneForIdentifier("b1", KSContentDownloadType::contentForBeacons),
      nullptr);
  scenario.passes(1);
  const auto stored = ks::loadCacheFile(cacheFile("beaconsForLocation.dat"));
  EXPECT_THAT((*stored.dictionary())["L1"].array()->items, IsEmpty());
  const auto locations = ks::loadCacheFile(cacheFile("locations.dat"));
  ASSERT_EQ(locations.array()->items.size(), 1U);
  EXPECT_EQ(locations.array()->items[0].objectOf<KSLocation>()->identifier, "L2");
}

/// As when the list changed while its zones were on the way.
TEST_F(KSZoneSynchronizerTest, UnlistedLocationKeepsZonesUntold) {
  findsLocations(kTwoLocations);
  refreshesLocations(R"([{"id":"L2"}])");
  scenario.heard();
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  EXPECT_NE(scenario.beacon("b1"), nullptr);
  EXPECT_THAT(scenario.heard(), IsEmpty());
  EXPECT_FALSE(scenario.manager->locations()[0]->zonesSyncedOn);
}

TEST_F(KSZoneSynchronizerTest, RefreshKeepsRunTimeState) {
  findsLocations(kTwoLocations);
  const PortalZone zone{.repeatDelay = 5000, .eventsNeeded = 2, .eventsInterval = 9000};
  scenario.portalAnswers("location=L1", "[" + zone.beacon() + "]");
  const auto before = scenario.beacon();
  before->content()->eventDetectionCounter = 1;
  before->setSentEnterEvent(true);
  scenario.passes(700);
  scenario.manager->performFetchWithCompletionHandler([](auto) {});
  scenario.portalAnswers("location=L1", "[" + zone.beacon() + "]");
  EXPECT_NE(scenario.beacon(), before);
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 1);
  EXPECT_TRUE(scenario.beacon()->sentEnterEvent());
  scenario.passes(700);
  scenario.manager->performFetchWithCompletionHandler([](auto) {});
  scenario.portalAnswers("location=L1", "[" + PortalZone{.contentId = "other"}.beacon() + "]");
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 0);
}

/// A content that has fired at one zone stays blocked at each that brings it anew.
TEST_F(KSZoneSynchronizerTest, BeaconSeenBeforeItsListStaysOne) {
  findsLocations(kTwoLocations);
  scenario.portalAnswers("location=L2", "[]");
  scenario.determines(ks::CLRegionState::inside, "geoFence");
  scenario.learns({});
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  scenario.sees(1);
  EXPECT_THAT(scenario.manager->enteredZones(), testing::Optional(testing::SizeIs(1)));
  scenario.relaunches();
  EXPECT_TRUE(scenario.beacon()->sentEnterEvent());
}

TEST_F(KSZoneSynchronizerTest, ZonesWithoutUuidStayApart) {
  findsLocations(R"([{"id":"L1"}])");
  scenario.portalAnswers("location=L1", R"([{"id":"a"},{"id":"b"}])");
  EXPECT_EQ(scenario.beacon("a")->identifier(), "a");
  EXPECT_EQ(scenario.beacon("b")->identifier(), "b");
}

TEST_F(KSZoneSynchronizerTest, BlocksReachEveryNewZone) {
  findsLocations(kTwoLocations);
  const PortalZone fired{.repeatDelay = 5000};
  PortalZone other = fired;
  scenario.portalAnswers("location=L1", "[" + fired.beacon() + "]");
  scenario.sees(1);
  const auto until = scenario.beacon()->content()->blockedUntilDate;
  EXPECT_TRUE(until);
  other.id = "listed";
  other.minor = 2;
  scenario.portalAnswers("location=L2", "[" + other.beacon() + "]");
  EXPECT_EQ(scenario.beacon("listed")->content()->blockedUntilDate, until);
  other.id = "fetched";
  other.minor = 3;
  scenario.learns(other);
  EXPECT_EQ(scenario.beacon("fetched")->content()->blockedUntilDate, until);
  scenario.passes(3600);
  scenario.portalAnswers("/geofences", "[" + other.geofence() + "]");
  const auto fences = scenario.manager->prefetchGeofences();
  EXPECT_EQ((*fences.find("fetched"))->content()->blockedUntilDate, until);
}

TEST_F(KSZoneSynchronizerTest, NextRefreshCountsFromTheReply) {
  findsLocations("[]");
  scenario.passes(3700);
  scenario.portalAnswers("/locations", "[]");
  scenario.passes(3599);
  EXPECT_FALSE(scenario.isAsked("/locations"));
  scenario.passes(1);
  EXPECT_TRUE(scenario.isAsked("/locations"));
}

TEST_F(KSZoneSynchronizerTest, UnreadableReplyLosesNothing) {
  findsLocations(kTwoLocations);
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  refreshesLocations("<html>");
  EXPECT_THAT(identifiers(), ElementsAre("L1", "L2"));
  scenario.manager->setErrorHappened(false);
  scenario.manager->performFetchWithCompletionHandler([](auto) {});
  scenario.portalAnswers("location=L1", "{");
  EXPECT_NE(scenario.beacon("b1"), nullptr);
  EXPECT_TRUE(scenario.manager->errorHappened());
}

TEST_F(KSZoneSynchronizerTest, ListNeedsMonitoringAndPermission) {
  const auto isTaken = [&] {
    refreshesLocations(identifiers().empty() ? R"([{"id":"L1"}])" : "[]");
    return scenario.manager->lastLocationsRefreshDate() == scenario.now();
  };
  findsLocations("[]");
  scenario.location->canMonitor = false;
  EXPECT_FALSE(isTaken());
  scenario.location->canMonitor = true;
  for (const auto& [status, taken] : {std::pair{ks::CLAuthorizationStatus::denied, false},
                                      {ks::CLAuthorizationStatus::restricted, false},
                                      {ks::CLAuthorizationStatus::authorizedWhenInUse, false},
                                      {ks::CLAuthorizationStatus::notDetermined, true},
                                      {ks::CLAuthorizationStatus::authorizedAlways, true}}) {
    scenario.location->status = status;
    EXPECT_EQ(isTaken(), taken) << static_cast<int>(status);
  }
}

TEST_F(KSZoneSynchronizerTest, UnknownLocationSetsTheRegions) {
  findsLocations("[]");
  scenario.location->takeCalls();
  scenario.passes(3600);
  const PortalZone again{.id = "b2", .minor = 2};
  scenario.portalAnswers("unique-uuids", "[" + PortalZone{}.beacon() + "," + again.beacon() + "]");
  EXPECT_THAT(scenario.location->takeCalls(),
              ElementsAre("monitor " + kSiteRegion, "range " + kSiteRegion));
  const auto region = scenario.location->regionWithIdentifier(kSiteRegion);
  const auto& beaconRegion = dynamic_cast<const ks::CLBeaconRegion&>(*region);
  EXPECT_TRUE(beaconRegion.notifyEntryStateOnDisplay());
  EXPECT_FALSE(beaconRegion.major());
  scenario.passes(3600);
  scenario.portalAnswers("unique-uuids", "[]");
  EXPECT_THAT(scenario.location->takeCalls(),
              ElementsAre("unrange " + kSiteRegion, "unmonitor " + kSiteRegion));
  EXPECT_NE(scenario.location->regionWithIdentifier("geoFence"), nullptr);
}

TEST_F(KSZoneSynchronizerTest, ExpiredBlocksLeaveTheFile) {
  const auto file = cacheFile("blockedContents.dat");
  const auto later = scenario.now() + ks::Seconds{0.5};
  const ks::Dictionary stored{
      {"now", scenario.now()}, {"later", later}, {"odd", 7}, {"past", ks::Date{}}};
  ASSERT_TRUE(ks::NSKeyedArchiver::archiveRootObject(stored, file));
  scenario.relaunches();
  scenario.passes(0);
  EXPECT_EQ(ks::loadCacheFile(file), ks::Value(ks::Dictionary{{"later", later}}));
}

TEST_F(KSZoneSynchronizerTest, DamagedFilesCountAsEmpty) {
  for (const char* name : {"blockedContents.dat", "beaconsForLocation.dat", "locations.dat"}) {
    ks::writeFileAtomically(cacheFile(name),
                            std::vector<std::uint8_t>{'b', 'p', 'l', 'i', 's', 't', '0'});
  }
  scenario.relaunches();
  scenario.startsAtSite();
  scenario.learns({});
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1"));
}

}  // namespace
