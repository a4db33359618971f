#include <atomic>
#include <fstream>
#include <mutex>
#include <thread>

#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "tests/Support/Scenario.h"
#include "tests/Support/ThreadedPlatform.h"
#include "tools/ksbeacon/portal/PortalServer.h"

using ks::CLProximity;
using ks::testing::kSiteUUID;
using ks::testing::PortalZone;
using ks::testing::Scenario;
using ks::testing::ThreadedPlatform;

namespace {

/// A visit with every kind of work in it; answers what the application heard and decided.
std::vector<std::string> visit(Scenario& scenario) {
  scenario.startsAtSite();
  scenario.learns({.id = "b1", .minor = 1, .contentId = "c1"});
  scenario.learns({.id = "b2", .minor = 2, .contentId = "c2", .dwellingTime = 20});
  scenario.device->application().becomeActive();
  for (int round = 0; round < 10; ++round) {
    scenario.sees(1, CLProximity::near);
    scenario.sees(2, CLProximity::immediate);
  }
  scenario.device->application().resignActive();
  scenario.passes(100);
  scenario.determines(ks::CLRegionState::outside);
  auto story = scenario.heard();
  for (auto& decision : scenario.decisions()) story.push_back(std::move(decision));
  return story;
}

TEST(EngineThreadsTest, OrderOfQueuesChangesNothing) {
  const auto tell = [](std::optional<std::uint64_t> seed) {
    ks::SimulatedPlatformOptions options;
    options.shuffleSeed = seed;
    Scenario scenario(options);
    return visit(scenario);
  };
  const auto expected = tell(std::nullopt);
  ASSERT_THAT(expected, testing::IsSupersetOf({"trigger b1", "trigger b2"}));
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    EXPECT_EQ(tell(seed), expected) << "seed " << seed;
  }
}

/// A portal with one location, whose zones are outdated after a second, and two beacons there.
class SitePortal {
 public:
  explicit SitePortal(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const auto write = [&](const char* name, const std::string& text) {
      std::ofstream(folder / name) << text;
    };
    const auto placed = [](const PortalZone& zone) {
      return R"({"location":{"id":"L1"},)" + zone.beacon().substr(1);
    };
    write("categories.json", R"([{"id":"shoes","name":"Shoes"}])");
    write("locations.json",
          R"([{"id":"L1","latitude":45.07,"longitude":7.68,"refreshIntervalSeconds":1}])");
    write("beacons.json", "[" +
                              placed({.id = "b1",
                                      .minor = 1,
                                      .contentId = "c1",
                                      .proximity = "NEAR",
                                      .repeatDelay = -1}) +
                              "," +
                              placed({.id = "b2",
                                      .minor = 2,
                                      .contentId = "c1",
                                      .proximity = "NEAR",
                                      .repeatDelay = -1}) +
                              "]");
    ks::portal::PortalOptions options;
    options.documents = folder;
    options.onStatistic = [this](const ks::portal::PortalStatistic& event) {
      const std::lock_guard lock(mutex_);
      ++events_[event.event];
    };
    auto started = ks::portal::PortalServer::start(std::move(options));
    if (!started) throw std::runtime_error(started.error().localizedDescription());
    server_ = std::move(started).value();
  }
  std::string url() const { return server_->url(); }
  std::map<std::string, int> events() {
    const std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, int> events_;
  std::shared_ptr<ks::portal::PortalServer> server_;
};

/// Replies are parsed, zones checked, locations refreshed and zones asked for while beacons come
/// and go; whatever the order, each beacon is entered and left ten times and the content that both
/// share fires once.
TEST(EngineThreadsTest, ThreadsAgreeOnTheStory) {
  for (std::uint64_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    Scenario scenario;
    SitePortal portal(scenario.device->directories().documents / "portal");
    scenario.portal = {portal.url()};
    const auto threads = std::make_shared<ThreadedPlatform>(scenario.device, seed);
    ks::Platform::install(threads);
    scenario.starts();
    ASSERT_TRUE(threads->settle());
    scenario.movesTo(ks::testing::kHome);
    ASSERT_TRUE(threads->settle());
    scenario.device->application().becomeActive();
    scenario.passes(61);
    ASSERT_TRUE(threads->settle()) << "the zones of the location, not those around the device";
    std::atomic<bool> done = false;
    std::thread application([&, &manager = *scenario.manager] {
      for (int look = 0; !done; ++look) {
        manager.enteredZones();
        if (look < 200) DoKSLog("Application", look, "-[Application look]", "looking");
        std::this_thread::yield();
      }
    });
    for (int stay = 0; stay < 10; ++stay) {
      scenario.passes(59);
      for (const int minor : {1, 2, 1, 2}) scenario.sees(minor, CLProximity::near);
      scenario.determines(ks::CLRegionState::outside);
      scenario.device->application().resignActive();
      scenario.device->application().becomeActive();
    }
    EXPECT_TRUE(threads->settle());
    done = true;
    application.join();
    const std::map<std::string, int> expected{{"enter", 20}, {"exit", 20}, {"notification", 1}};
    EXPECT_EQ(portal.events(), expected);
    EXPECT_THAT(scenario.heard(), testing::Contains("trigger b1").Times(1));
    scenario.manager.reset();
    EXPECT_TRUE(threads->settle());
  }
}

}  // namespace
