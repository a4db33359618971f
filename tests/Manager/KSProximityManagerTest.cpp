#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "BeaconSDK/KSBeaconSDK.h"
#include "tests/Support/Scenario.h"

using ks::testing::kHome;
using ks::testing::PortalZone;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class KSProximityManagerTest : public ks::testing::ScenarioTest {
 protected:
  ks::UIBackgroundFetchResult fetches() {
    auto answer = ks::UIBackgroundFetchResult::failed;
    scenario.manager->performFetchWithCompletionHandler([&](auto result) { answer = result; });
    scenario.device->runUntilIdle();
    return answer;
  }
  /// The portal knows one location, whose zones are asked for and answered.
  void knowsLocation(double refreshInterval, const PortalZone& zone = {}) {
    scenario.startsAtSite();
    scenario.manager->setLastLocationsRefreshDate(std::nullopt);
    scenario.passes(3600);
    scenario.portalAnswers("/locations", R"([{"id":"L1","refreshIntervalSeconds":)" +
                                             std::to_string(refreshInterval) + "}]");
    scenario.portalAnswers("location=L1", "[" + zone.beacon() + "]");
    scenario.portalRefusesAll();
  }
};

constexpr auto kNewData = ks::UIBackgroundFetchResult::newData;
constexpr auto kNoData = ks::UIBackgroundFetchResult::noData;

TEST_F(KSProximityManagerTest, LaunchPreparesTheApplication) {
  scenario.device->application().scheduleLocalNotification({ks::Seconds{60}, "old", true, {}});
  scenario.launches();
  EXPECT_EQ(scenario.device->application().minimumBackgroundFetchInterval(), ks::Seconds{2700});
  EXPECT_THAT(scenario.device->application().scheduledLocalNotifications(), IsEmpty());
  EXPECT_TRUE(scenario.logged("the lib version is - 1.0.0"));
  EXPECT_EQ(scenario.http->session()->configuration().identifier, "KSBeaconApp");
  EXPECT_FALSE(scenario.manager->enteredZones());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(KSBeaconSDKVersionString)),
            "@(#)PROGRAM:KSBeaconSDK  PROJECT:KSBeaconSDK-1\n");
}

TEST_F(KSProximityManagerTest, PlatformStaysWhileAManagerUsesIt) {
  scenario.launches();
  ks::Platform* const device = &ks::Platform::current();
  ks::Platform::install(nullptr);
  ASSERT_TRUE(ks::Platform::isInstalled());
  EXPECT_EQ(&ks::Platform::current(), device);
  scenario.manager.reset();
  ks::Platform::install(nullptr);
  EXPECT_FALSE(ks::Platform::isInstalled());
  ks::Platform::install(scenario.device);
}

#ifndef NDEBUG
TEST_F(KSProximityManagerTest, CallsFromOtherThreadsEndDebugBuilds) {
  scenario.launches();
  KSProximityManager& manager = *scenario.manager;
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"start", [&] { manager.start(nullptr); }},
      {"performFetchWithCompletionHandler",
       [&] { manager.performFetchWithCompletionHandler(nullptr); }},
      {"reset", [&] { manager.reset(); }},
      {"reloadBeacons", [&] { manager.reloadBeacons(); }},
  };
  for (const auto& [name, call] : operations) {
    EXPECT_DEATH(std::thread(call).join(),
                 std::string(name) + " must be called on the main queue's thread");
  }
}
#endif

TEST_F(KSProximityManagerTest, CannotLaunchWithoutCacheFolder) {
  const auto caches = scenario.device->directories().caches;
  std::filesystem::create_directories(caches);
  std::ofstream(caches / "KSProximityManager") << "in the way";
  EXPECT_EQ(KSProximityManager::initWithUsername("u", "p", std::nullopt, {}), nullptr);
}

TEST_F(KSProximityManagerTest, FirstStartFetchesCategoriesThenLocates) {
  scenario.launches();
  int answers = 0;
  scenario.manager->start([&](const auto& error) { answers += error ? 100 : 1; });
  scenario.manager->start([&](const auto&) { answers += 1000; });
  EXPECT_TRUE(scenario.manager->starting());
  EXPECT_THAT(scenario.location->calls, IsEmpty());
  scenario.portalAnswers("/contents/categories", R"([{"id":"shoes"}])");
  EXPECT_EQ(answers, 1);
  EXPECT_TRUE(scenario.manager->started());
  EXPECT_THAT(scenario.location->takeCalls(), ElementsAre("never pauses", "activity 1", "filter 30",
                                                          "significant", "request location"));
}

TEST_F(KSProximityManagerTest, RefusedPermissionFetchesCategoriesOnce) {
  scenario.location->status = ks::CLAuthorizationStatus::denied;
  scenario.starts();
  EXPECT_EQ(scenario.startResult, "Wrong location manager authorization status");
  EXPECT_FALSE(scenario.manager->started());
  EXPECT_EQ(scenario.manager->settingsManager().contentCategories().size(), 2U);
  EXPECT_TRUE(scenario.logged("Will refresh locations"));
  scenario.device->application().becomeActive();
  scenario.passes(0);
  EXPECT_TRUE(scenario.logged("Schedule refresh proximity zones timer"));
  bool refused = false;
  scenario.manager->start([&](const auto& error) { refused = error.has_value(); });
  EXPECT_TRUE(refused);
  EXPECT_THAT(scenario.http->waitingURLs(), IsEmpty());
  EXPECT_EQ(scenario.location->manager, nullptr);

  scenario.location->status = ks::CLAuthorizationStatus::authorizedAlways;
  scenario.manager->setErrorHappened(true);
  scenario.manager->retry();
  EXPECT_TRUE(scenario.manager->started());
  EXPECT_FALSE(scenario.manager->errorHappened());
  EXPECT_TRUE(scenario.isAsked("/contents/categories"));
}

TEST_F(KSProximityManagerTest, OutageAtStartIsRetried) {
  scenario.launches();
  std::optional<ks::Error> failure;
  scenario.manager->start([&](const auto& error) { failure = error; });
  scenario.portalFails("/contents/categories");
  ASSERT_TRUE(failure);
  EXPECT_FALSE(scenario.manager->starting());
  EXPECT_TRUE(scenario.manager->errorHappened());
  EXPECT_TRUE(scenario.logged("SDK not initialized !"));
  scenario.starts();
  EXPECT_EQ(scenario.startResult, "");
  EXPECT_FALSE(scenario.manager->errorHappened());
}

TEST_F(KSProximityManagerTest, WrongCredentialsLeaveStartPending) {
  scenario.launches();
  bool answered = false;
  scenario.manager->start([&](const auto&) { answered = true; });
  scenario.portalRefuses("/contents/categories", 401);
  EXPECT_FALSE(answered);
  EXPECT_TRUE(scenario.manager->starting());
}

TEST_F(KSProximityManagerTest, NothingRunsAfterTheEnd) {
  scenario.launches();
  bool answered = false;
  scenario.manager->start([&](const auto&) { answered = true; });
  scenario.manager.reset();
  EXPECT_TRUE(scenario.logged("dealloc"));
  scenario.device->application().becomeActive();
  scenario.passes(7200);
  EXPECT_FALSE(answered);
  EXPECT_EQ(scenario.device->mainQueue().pendingTasks(), 0U);
}

TEST_F(KSProximityManagerTest, CallbackMayReleaseTheManager) {
  scenario.location->status = ks::CLAuthorizationStatus::denied;
  scenario.launches();
  auto* const manager = scenario.manager.get();
  manager->start([&](const auto&) { scenario.manager.reset(); });
  EXPECT_EQ(scenario.http->session(), nullptr);
}

TEST_F(KSProximityManagerTest, LongAbsenceRefreshesCategoriesFirst) {
  scenario.startsAtSite();
  const auto returnsAfter = [&](double seconds) {
    scenario.device->application().resignActive();
    scenario.passes(0);
    scenario.portalRefusesAll();
    scenario.manager->setLastLocationsRefreshDate(scenario.now() - ks::Seconds{seconds});
    scenario.device->application().becomeActive();
    scenario.passes(0);
    return scenario.isAsked("/contents/categories");
  };
  EXPECT_FALSE(returnsAfter(3600));
  EXPECT_TRUE(returnsAfter(3600.1));
  EXPECT_FALSE(scenario.isAsked("/locations"));
  scenario.portalAnswers("/contents/categories", R"([{"id":"shoes"}])");
  EXPECT_TRUE(scenario.isAsked("/locations"));
}

/// Leaving the application ends the timer made last; the one before it was only forgotten.
TEST_F(KSProximityManagerTest, ForgottenTimerEndsWithTheActivity) {
  scenario.startsAtSite();
  scenario.passes(100);
  scenario.device->application().becomeActive();
  scenario.passes(0);
  EXPECT_TRUE(scenario.logged("Schedule location refresh in 3500.000000 seconds"));
  scenario.device->application().resignActive();
  scenario.passes(7200);
  EXPECT_FALSE(scenario.isAsked("/locations"));
}

TEST_F(KSProximityManagerTest, ReturnWaitsForTheRestOfTheHour) {
  scenario.startsAtSite();
  scenario.device->application().becomeActive();
  scenario.passes(0);
  scenario.device->application().resignActive();
  scenario.passes(600);
  scenario.device->application().becomeActive();
  scenario.passes(2999);
  EXPECT_FALSE(scenario.isAsked("/locations"));
  scenario.passes(1);
  EXPECT_TRUE(scenario.isAsked("/locations"));
}

TEST_F(KSProximityManagerTest, EachStartHearsTheApplication) {
  scenario.startsAtSite();
  scenario.movesTo({45.2, 7.68});
  EXPECT_FALSE(scenario.manager->started());
  scenario.starts();
  scenario.logged("");
  scenario.device->application().becomeActive();
  scenario.passes(0);
  const auto lines = scenario.device->console().lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const auto& line) { return line.ends_with("App did become active"); }),
            2);
}

TEST_F(KSProximityManagerTest, ZonesAreCheckedAMinuteAfterActivation) {
  knowsLocation(30);
  scenario.device->application().becomeActive();
  scenario.passes(59);
  EXPECT_FALSE(scenario.isAsked("location=L1"));
  scenario.passes(1);
  scenario.portalAnswers("location=L1", "[]");
  scenario.passes(120);
  EXPECT_FALSE(scenario.isAsked("location=L1")) << "the check must not repeat by itself";
  scenario.device->application().resignActive();
  scenario.device->application().becomeActive();
  scenario.passes(30);
  scenario.device->application().resignActive();
  scenario.passes(60);
  EXPECT_FALSE(scenario.isAsked("location=L1")) << "in the background";
}

TEST_F(KSProximityManagerTest, BackgroundFetchAnswersByNeed) {
  knowsLocation(600);
  EXPECT_EQ(fetches(), kNoData);
  scenario.passes(600);
  EXPECT_EQ(fetches(), kNoData) << "exactly as old as allowed";
  scenario.passes(1);
  EXPECT_EQ(fetches(), kNewData);
  EXPECT_TRUE(scenario.isAsked("location=L1"));
  scenario.device->application().resignActive();
  scenario.passes(3000);
  EXPECT_EQ(fetches(), kNewData);
  EXPECT_TRUE(scenario.isAsked("/locations"));
  scenario.manager->setErrorHappened(true);
  EXPECT_EQ(fetches(), kNoData);
  EXPECT_TRUE(scenario.logged("Will Wait for more 3600 Seconds............... "));
}

TEST_F(KSProximityManagerTest, ForeignBackgroundSessionIsIgnored) {
  scenario.starts();
  int mine = 0;
  int foreign = 0;
  scenario.manager->handleEventsForBackgroundURLSession("KSBeaconApp", [&] { ++mine; });
  scenario.manager->handleEventsForBackgroundURLSession("Other", [&] { ++foreign; });
  scenario.http->finishBackgroundEvents();
  scenario.device->runUntilIdle();
  EXPECT_EQ(mine, 1);
  EXPECT_EQ(foreign, 0);
}

TEST_F(KSProximityManagerTest, NotificationReadersAnswerOnlyTheirKey) {
  scenario.launches();
  const ks::NSNotification empty;
  EXPECT_EQ(KSProximityManager::proximityZoneFromNotification(empty), nullptr);
  EXPECT_EQ(KSProximityManager::locationFromNotification(empty), nullptr);
  EXPECT_EQ(KSProximityManager::errorFromNotification(empty), nullptr);
  EXPECT_FALSE(KSProximityManager::isNotificationForDwellingProximityZone(empty));
  EXPECT_TRUE(
      KSProximityManager::isNotificationForDwellingProximityZone({"", {}, {{"dwelling", 1}}}));
  std::shared_ptr<ks::Error> error;
  const auto observation = scenario.device->notificationCenter().addObserver(
      "Trouble", [&](const auto& one) { error = KSProximityManager::errorFromNotification(one); });
  scenario.manager->postError({"D", 7, "text"}, "Trouble");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), 7);
}

TEST_F(KSProximityManagerTest, ResetForgetsAllButBlocks) {
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = -1});
  scenario.filesWritten();
  const auto session = scenario.http->session();
  scenario.manager->reset();
  scenario.passes(1);
  EXPECT_TRUE(session->isInvalid);
  EXPECT_THAT(scenario.filesWritten(), testing::Contains("beaconsForLocation.dat"));
  EXPECT_THAT(scenario.location->takeCalls(), testing::Contains("no significant"));
  EXPECT_FALSE(scenario.manager->started());
  EXPECT_THAT(scenario.location->regions, IsEmpty());
  EXPECT_EQ(scenario.location->delegate, nullptr);
  EXPECT_FALSE(scenario.manager->lastLocationsRefreshDate());
  EXPECT_EQ(scenario.device->mainQueue().pendingTasks(), 0U);
  scenario.heard();
  scenario.relaunches();
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = -1});
  EXPECT_THAT(scenario.heard(), IsEmpty());
}

TEST_F(KSProximityManagerTest, ZonesAndBlocksSurviveTheProcess) {
  knowsLocation(600, {.repeatDelay = 600});
  scenario.sees(1);
  EXPECT_THAT(scenario.heard(), ElementsAre("locations", "zones L1", "trigger b1"));
  const auto fired = scenario.now();
  scenario.relaunches();
  EXPECT_THAT(scenario.manager->locations(), IsEmpty()) << "the portal tells them anew";
  EXPECT_EQ(scenario.beacon()->name(), "Beacon b1");
  EXPECT_EQ(scenario.beacon()->content()->blockedUntilDate, fired + ks::Seconds{600});
}

/// `enteredZones` beside the engine: for the thread sanitizer, and the answer is never torn.
TEST_F(KSProximityManagerTest, EnteredZonesMayBeAskedAnywhere) {
  knowsLocation(600);
  std::atomic<bool> done = false;
  std::thread application([&, manager = scenario.manager.get()] {
    while (!done) {
      const auto zones = manager->enteredZones();
      EXPECT_EQ(zones ? zones->size() : 1U, 1U);
    }
  });
  for (int i = 0; i < 50; ++i) {
    scenario.sees(1, i % 2 == 0 ? ks::CLProximity::near : ks::CLProximity::far);
    scenario.determines(ks::CLRegionState::outside);
    scenario.statistics();
  }
  done = true;
  application.join();
}

}  // namespace
