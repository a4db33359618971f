#include <cstdlib>
#include <map>
#include <set>

#include "BeaconSDK/Classes/Manager/Health/InvariantWatch.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::CLRegionState;
using ks::testing::PortalZone;

namespace {

constexpr int kBeacons = 6;
constexpr int kGeofences = 3;
constexpr int kSteps = 10000;
/// Of a few seeds, as long as somebody waits.
constexpr int kShortSteps = 3000;

/// `calm`: no refinements, in a world whose lists stay as they are and a device that does not
/// travel: the defaults then promise that each stay at a beacon begins once.
enum class Mood { plain, calm, refined };

/// A life in which anything happens in any order, told by a seed: the same seed is the same life.
class Story : public ks::EngineObserver {
 public:
  Story(std::uint64_t seed, Mood mood)
      : mood_(mood),
        random_(seed),
        watch_([this](const auto& breach) { note(breach); }, mood != Mood::plain) {
    if (isRefined()) scenario_.refinements = ks::Refinements::all();
    KSProximityManager::enableLogging(false);
    scenario_.device->simulatedNotificationCenter().setAllowed(false);
    launches();
    scenario_.starts();
  }

  void run(int steps) {
    for (int step = 0; step < steps && breaches_.empty(); ++step) {
      happens(static_cast<int>(random(20)));
      comesToRest();
      holds();
      if (!breaches_.empty()) breaches_ += "at step " + std::to_string(step) + "\n";
    }
  }
  /// The device leaves every zone and the portal answers everything.
  void ends() {
    for (int number = 1; number <= kGeofences; ++number) {
      if (inside_.contains("g" + std::to_string(number))) crossesFence(number);
    }
    if (atSite_) crossesSite();
    comesToRest();
    for (int round = 0; round < 50; ++round) {
      while (!scenario_.http->waitingURLs().empty()) answer(scenario_.http->waitingURLs()[0], true);
      scenario_.passes(1000);
    }
    holds();
    addsUp();
  }
  const std::string& breaches() const { return breaches_; }
  /// How often each statistic was made.
  const std::map<std::string, int>& made() const { return made_; }

 private:
  void addsUp() {
    const auto ledger = scenario_.manager->statisticsLedger();
    if (ledger && ledger->waiting != 0) breaches_ += "statistics wait for ever\n";
    if (ledger && ledger->sent > accepted_) breaches_ += "sent what the portal did not get\n";
    if (!ledger && scenario_.http->uploads != allMade_) breaches_ += "not all was sent once\n";
    if (isRefined() && !watch_.entered().empty()) {
      breaches_ += *watch_.entered().begin() + " was never left\n";
    }
    if (fired_ != made_["beacons/notification"] + made_["geofences/notification"]) {
      breaches_ += "not every firing was counted\n";
    }
  }
  bool isRefined() const { return mood_ == Mood::refined; }
  std::uint64_t random(std::uint64_t below) { return random_.next() % below; }
  bool mostly() { return random(4) != 0; }

  void happens(int what) {
    switch (what) {
      case 0:
        return scenario_.passes(static_cast<double>(random(7200)));
      case 1:
        return scenario_.passes(static_cast<double>(random(60)));
      case 2:
        return dies();
      case 3:
        return scenario_.setsClock(static_cast<double>(random(200000)) - 100000);
      case 4:
        return activates();
      case 5:
        return mood_ == Mood::calm ? ranges() : changesDocuments();
      case 6:
        return travels();
      case 7:
      case 8:
        return crossesFence(1 + static_cast<int>(random(kGeofences)));
      case 9:
        return crossesSite();
      case 10:
      case 11:
      case 12:
        return answersOne();
      default:
        return ranges();
    }
  }

  void launches() {
    scenario_.launches();
    scenario_.manager->setEngineObserver(observer_);
  }
  void dies() {
    scenario_.relaunches();
    KSProximityManager::enableLogging(false);
    scenario_.manager->setEngineObserver(observer_);
    // Transfers of a dead process end without it.
    while (!scenario_.http->waitingURLs().empty() && mostly()) answersOne();
    scenario_.starts();
  }
  void activates() {
    auto& application = scenario_.device->application();
    random(2) == 0 ? application.becomeActive() : application.resignActive();
    if (random(3) == 0) scenario_.manager->retry();
    if (random(5) == 0) scenario_.manager->reloadBeacons();
    if (random(5) == 0) scenario_.manager->performFetchWithCompletionHandler([](auto) {});
    scenario_.device->runUntilIdle();
  }
  void changesDocuments() {
    for (int minor = 1; minor <= kBeacons; ++minor) lists_[minor] = static_cast<int>(random(4));
    fences_ = static_cast<int>(random(8));
    version_ = static_cast<int>(random(3));
  }
  void travels() {
    if (!scenario_.location->delegate) return;
    auto place = ks::testing::kHome;
    if (mood_ != Mood::calm) place.latitude += static_cast<double>(random(3)) * 0.1;
    scenario_.movesTo(place);
  }

  // The device: what it reports is consistent with itself, as a location service's reports are.
  bool listens() const { return scenario_.location->delegate != nullptr; }
  bool listensAtSite() const {
    return listens() && scenario_.location->regionWithIdentifier(ks::testing::kSiteRegion);
  }
  void crossesFence(int number) {
    const std::string id = "g" + std::to_string(number);
    if (!listens() || !scenario_.location->regionWithIdentifier(id)) return;
    if (inside_.insert(id).second) {
      scenario_.crossesInto(id);
    } else {
      inside_.erase(id);
      scenario_.crossesOutOf(id);
    }
  }
  void crossesSite() {
    atSite_ = !atSite_;
    if (!atSite_) near_.clear();
    if (!listensAtSite()) return;
    scenario_.determines(atSite_ ? CLRegionState::inside : CLRegionState::outside);
  }
  void ranges() {
    if (!atSite_ || !listensAtSite()) return;
    scenario_.passes(3);
    std::vector<ks::CLBeacon> beacons;
    for (int minor = 1; minor <= kBeacons; ++minor) {
      if (random(3) == 0) near_[minor] = static_cast<int>(random(4));
      if (near_[minor] == 0) continue;
      beacons.push_back({ks::testing::kSiteUUID, 1, static_cast<std::uint16_t>(minor),
                         static_cast<CLProximity>(near_[minor]), ks::Metres{2}, ks::Dbm{-60}});
    }
    if (listensAtSite()) scenario_.ranges(beacons);
  }
  /// The service answers what it was asked. A geofence that it monitors anew and finds inside
  /// counts as entered.
  void comesToRest() {
    for (const auto& call : scenario_.location->takeCalls()) {
      const std::string id = call.substr(call.find(' ') + 1);
      const auto region = scenario_.location->regionWithIdentifier(id);
      if (!region || !listens() || id == "geoFence") continue;
      const bool isSite = id == ks::testing::kSiteRegion;
      const bool isInside = isSite ? atSite_ : inside_.contains(id);
      if (call.starts_with("monitor") && !isSite) {
        auto& delegate = *scenario_.location->delegate;
        delegate.didStartMonitoringForRegion(*scenario_.location->manager, region);
        if (isInside) delegate.didEnterRegion(*scenario_.location->manager, region);
      }
      if (!call.starts_with("monitor") && !call.starts_with("state")) continue;
      scenario_.determines(isInside ? CLRegionState::inside : CLRegionState::outside, id);
    }
  }

  // The portal.
  void answersOne() {
    const auto urls = scenario_.http->waitingURLs();
    if (!urls.empty()) answer(urls[random(urls.size())], mostly());
  }
  void answer(const std::string& url, bool isWell) {
    const std::string document = documentFor(url);
    if (isWell && document.empty()) ++accepted_;
    if (isWell) return scenario_.portalAnswers(url, document);
    random(2) == 0 ? scenario_.portalFails(url)
                   : scenario_.portalRefuses(url, random(2) ? 500 : 404);
  }
  std::string documentFor(const std::string& url) const {
    const auto has = [&url](const char* part) { return url.find(part) != std::string::npos; };
    if (has("/contents/categories")) return R"([{"id":"shoes","name":"Shoes"}])";
    if (has("/locations")) {
      return R"([{"id":"L1","refreshIntervalSeconds":600},{"id":"L2","refreshIntervalSeconds":60}])";
    }
    if (has("/geofences?")) return fences();
    if (has("unique-uuids")) return beacons(0);
    if (has("location=L1")) return beacons(1);
    if (has("location=L2")) return beacons(2);
    return has("retrieveby=identifiers") ? beacons(0) : "";
  }
  static double repeatDelayOf(const std::string& zone) {
    const int number = zone.back() - '0';
    if (zone.starts_with("g")) return 100;
    return number == 3 ? 0 : 600.0 * number;
  }
  /// Lists: 1 and 2 one location each, 3 both, 0 none of them; every beacon is near.
  std::string beacons(int list) const {
    std::string text;
    for (const auto& [minor, held] : lists_) {
      if (list != 0 && (held & list) == 0) continue;
      const std::string number = std::to_string(minor);
      PortalZone zone{.id = "b" + number, .minor = minor, .contentId = "c" + number};
      zone.notifyOn = minor % 2 == 0 ? "EXIT" : "ENTER";
      zone.proximity = minor % 3 == version_ ? "NEAR" : "";
      zone.repeatDelay = repeatDelayOf(zone.id);
      zone.dwellingTime = minor == 5 ? 30 : 0;
      text += (text.empty() ? "" : ",") + zone.beacon();
    }
    return "[" + text + "]";
  }
  std::string fences() const {
    std::string text;
    for (int number = 1; number <= kGeofences; ++number) {
      if ((fences_ >> (number - 1) & 1) == 0) continue;
      const std::string id = std::to_string(number);
      PortalZone zone{.id = "g" + id, .contentId = "d" + id};
      zone.repeatDelay = repeatDelayOf(zone.id);
      std::string fence = zone.geofence();
      fence.replace(fence.find("100"), 3, std::to_string(100 + version_));
      text += (text.empty() ? "" : ",") + fence;
    }
    return "[" + text + "]";
  }

  // What must hold.
  void note(const ks::InvariantWatch::Breach& breach) {
    breaches_ += breach.invariant + ": " + breach.text + "\n";
  }
  void statisticMade(const ks::StatisticMade& statistic) override {
    ++made_[statistic.event];
    ++allMade_;
    const bool isBeacon = statistic.event.starts_with("beacons/");
    const bool isThere = isBeacon ? atSite_ : inside_.contains(statistic.zone);
    if (isRefined() && !isThere && statistic.event.ends_with("/enter")) {
      breaches_ += statistic.zone + " was entered from afar\n";
    }
    if (mood_ == Mood::calm && !isBeacon) return;
    watch_.statisticMade(statistic);
  }
  void triggerDecided(const ks::TriggerDecision& decision) override {
    watch_.triggerDecided(decision);
    if (decision.outcome != ks::TriggerDecision::Outcome::fired) return;
    ++fired_;
    const std::string zone = decision.zone->identifier().value_or("");
    const ks::Date now = scenario_.now();
    const auto [last, isFirst] = lastFired_.try_emplace(zone, now);
    const double since = ks::secondsBetween(std::exchange(last->second, now), now);
    if (isRefined() && !isFirst && since < repeatDelayOf(zone)) {
      breaches_ += zone + " fired again after " + std::to_string(since) + " s\n";
    }
  }
  void neighbourhoodForgotten() override {
    for (const std::string& zone : watch_.entered()) {
      if (isRefined() && zone.starts_with("beacons ")) breaches_ += zone + " was dropped\n";
    }
    watch_.neighbourhoodForgotten();
  }
  void holds() {
    watch_.settle();
    if (const auto ledger = scenario_.manager->statisticsLedger()) watch_.check(*ledger);
    std::set<std::string> known;
    const auto entered = scenario_.manager->enteredZones();
    for (const auto& zone : entered.value_or(std::vector<std::shared_ptr<KSProximityZone>>{})) {
      const std::string id = zone->identifier().value_or("?");
      if (id != "?" && !known.insert(id).second) breaches_ += id + " is listed twice\n";
    }
  }

  const Mood mood_;
  ks::SplitMix64 random_;
  ks::testing::Scenario scenario_;
  std::string breaches_;
  std::map<std::string, int> made_;
  std::size_t allMade_ = 0;
  /// Statistics that the portal accepted, some perhaps again.
  std::int64_t accepted_ = 0;
  int fired_ = 0;
  std::map<std::string, ks::Date> lastFired_;
  ks::InvariantWatch watch_;
  std::shared_ptr<ks::EngineObserver> observer_{this, [](ks::EngineObserver*) {}};
  std::map<int, int> lists_{{1, 1}, {2, 2}, {3, 3}, {4, 1}, {5, 2}, {6, 0}};
  int fences_ = 7;
  int version_ = 0;
  std::map<int, int> near_;
  bool atSite_ = false;
  std::set<std::string> inside_;
};

class EngineStoriesTest : public testing::TestWithParam<Mood> {};

std::string nameOf(const testing::TestParamInfo<Mood>& info) {
  static constexpr const char* kNames[] = {"Plain", "Calm", "Refined"};
  return kNames[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(, EngineStoriesTest,
                         testing::Values(Mood::plain, Mood::calm, Mood::refined), nameOf);

TEST_P(EngineStoriesTest, InvariantsHoldWhateverHappens) {
  const char* const wanted = std::getenv("KS_STORIES");
  const int seeds = wanted == nullptr ? 2 : std::atoi(wanted);
  for (int seed = 1; seed <= seeds; ++seed) {
    Story story(static_cast<std::uint64_t>(seed), GetParam());
    story.run(wanted == nullptr ? kShortSteps : kSteps);
    if (story.breaches().empty()) story.ends();
    ASSERT_EQ(story.breaches(), "") << "seed " << seed;
    for (const char* const event : {"enter", "exit", "notification"}) {
      EXPECT_TRUE(story.made().contains(std::string("beacons/") + event)) << event;
      EXPECT_TRUE(story.made().contains(std::string("geofences/") + event)) << event;
    }
  }
}

}  // namespace
