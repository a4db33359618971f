#include <fstream>

#include "tests/Support/FaultyPlatform.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::testing::Fault;
using ks::testing::FaultyPlatform;
using ks::testing::PortalZone;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A device whose services fail now and then, and a visit that needs all of them.
class EngineFaultsTest : public ks::testing::ScenarioTest {
 protected:
  EngineFaultsTest() {
    ks::Platform::install(faulty);
    scenario.http->resources["https://x.test/icon.png"] = {1, 2, 3};
  }

  /// The zone of this number is learnt, dwelt in, announced and shown.
  void visits(int number) {
    const auto text = std::to_string(number);
    scenario.learns(
        {.id = "b" + text, .minor = number, .contentId = "c" + text, .dwellingTime = 10});
    scenario.passes(15);
    scenario.manager->setLastLocationsRefreshDate(scenario.now());
    const auto zone = scenario.beacon("b" + text);
    zone->content()->messageIconUrl = "https://x.test/icon.png";
    scenario.manager->showNotificationForProximityZone(zone);
    scenario.passes(6);
  }
  std::ptrdiff_t temporaryFiles() const {
    return std::distance(
        std::filesystem::directory_iterator(scenario.device->directories().temporary), {});
  }

  std::shared_ptr<FaultyPlatform> faulty = std::make_shared<FaultyPlatform>(scenario.device);
};

TEST_F(EngineFaultsTest, FailedCallCostsOnlyItself) {
  const struct {
    const char* name;
    Fault fault;
    int nth;
    int count;
    std::size_t shown;
  } rows[] = {
      {"first value not stored", Fault::storeDefaults, 1, 1, 1},
      {"no value stored", Fault::storeDefaults, 1, 1000, 1},
      {"defaults not written", Fault::synchronizeDefaults, 1, 1000, 1},
      {"icon not loaded", Fault::loadData, 1, 1, 1},
      {"notification refused", Fault::addNotification, 1, 1, 0},
      {"background task refused", Fault::backgroundTask, 1, 1, 1},
  };
  scenario.startsAtSite();
  const auto files = temporaryFiles();
  const auto& shown = scenario.device->simulatedNotificationCenter().deliveredNotifications();
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    faulty->fail(row.fault, row.nth, row.count);
    const auto before = shown.size();
    visits(++number);
    EXPECT_GT(faulty->failures(), 0) << "the fault must have been met";
    EXPECT_THAT(scenario.heard(), ElementsAre("trigger b" + std::to_string(number)));
    EXPECT_EQ(shown.size(), before + row.shown);

    faulty->recover();
    visits(++number);
    EXPECT_THAT(scenario.heard(), ElementsAre("trigger b" + std::to_string(number)));
    EXPECT_EQ(shown.back().request.content.attachments.size(), 1U);
    EXPECT_EQ(scenario.manager->lastLocationsRefreshDate(), scenario.now() - ks::Seconds{6});
    EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty());
    scenario.statistics();
    EXPECT_EQ(temporaryFiles(), files) << "once the statistics have been sent";
  }
}

TEST_F(EngineFaultsTest, NoBluetoothMeansNoLevels) {
  faulty->fail(Fault::bluetooth, 1);
  scenario.startsAtSite();
  visits(1);
  EXPECT_EQ(faulty->failures(), 1);
  EXPECT_THAT(scenario.statistics(), Contains("beacons/notification b1"));
}

/// Nothing is ever answered: cached zones work on, and another manager finds the portal.
TEST_F(EngineFaultsTest, DeadSessionCostsOnlyThePortal) {
  scenario.startsAtSite();
  scenario.manager->setLastLocationsRefreshDate(std::nullopt);
  scenario.passes(3600);
  scenario.portalAnswers("/locations", R"([{"id":"L1","refreshIntervalSeconds":60}])");
  scenario.portalAnswers("location=L1", "[" + PortalZone{}.beacon() + "]");
  scenario.portalRefusesAll();
  scenario.heard();
  scenario.manager.reset();

  faulty->fail(Fault::makeSession, 1);
  scenario.launches();
  scenario.starts();
  EXPECT_EQ(faulty->failures(), 1);
  EXPECT_EQ(scenario.startResult, "") << "the categories were known";
  scenario.movesTo(ks::testing::kHome);
  scenario.sees(1, CLProximity::near);
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1"));
  scenario.passes(7200);
  EXPECT_THAT(scenario.http->waitingURLs(), IsEmpty());
  scenario.manager->reset();

  scenario.launches();
  scenario.startsAtSite();
  visits(2);
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b2"));
}

TEST_F(EngineFaultsTest, ResetOutrunsAWaitingReply) {
  scenario.startsAtSite();
  scenario.sees(1, CLProximity::near);
  scenario.http->answer("retrieveby=identifiers", "[" + ks::testing::PortalZone{}.beacon() + "]");
  // Parsed on the session's queue; the result is on its way to the main queue.
  scenario.device->runNext();
  ASSERT_TRUE(scenario.logged("fetched for bid: " + ks::testing::kSiteUUID.UUIDString() + ":1:1"));
  scenario.manager->reset();
  scenario.device->runUntilIdle();
  EXPECT_THAT(scenario.heard(), IsEmpty());
}

TEST_F(EngineFaultsTest, FailedDownloadLeavesLaterOnes) {
  scenario.startsAtSite();
  scenario.sees(1, CLProximity::near);
  scenario.portalFails("retrieveby=identifiers");
  EXPECT_TRUE(scenario.manager->errorHappened());
  EXPECT_THAT(scenario.heard(), IsEmpty());
  visits(2);
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b2"));
}

TEST_F(EngineFaultsTest, LostCacheFolderComesBack) {
  const auto folder = scenario.device->directories().caches / "KSProximityManager";
  scenario.startsAtSite();
  scenario.manager->setEngineObserver({});
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "in the way";
  const auto refresh = [this] {
    scenario.manager->setLastLocationsRefreshDate(std::nullopt);
    scenario.passes(3601);
    scenario.portalAnswers("/locations", R"([{"id":"L1","refreshIntervalSeconds":60}])");
    scenario.portalRefusesAll();
    return scenario.manager->locations().size();
  };
  EXPECT_EQ(refresh(), 1U);
  EXPECT_FALSE(std::filesystem::is_directory(folder));
  visits(1);
  EXPECT_THAT(scenario.heard(), Contains("trigger b1"));

  std::filesystem::remove(folder);
  std::filesystem::create_directory(folder);
  EXPECT_EQ(refresh(), 1U);
  EXPECT_TRUE(std::filesystem::exists(folder / "locations.dat"));
}

}  // namespace
