#include "tests/Support/Scenario.h"

#include <array>
#include <regex>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Platform/Common/ForwardingPlatform.h"
#include "BeaconSDK/Platform/Simulated/ShiftedClock.h"

namespace ks::testing {

std::string PortalZone::content() const {
  const std::string categoryId = category.empty() ? "" : R"(,"categoryId":")" + category + "\"";
  return stringWithFormat(
      R"("content":{"id":"%@","type":"%@","message":"Hello","notifyOn":"%@","proximity":"%@",)"
      R"("repeatDelaySeconds":%f,"dwellingTimeSeconds":%f,"notifyAfterXEvents":%d,)"
      R"("maxIntervalSeconds":%f%@})",
      contentId, type, notifyOn, proximity, repeatDelay, dwellingTime, eventsNeeded, eventsInterval,
      categoryId);
}

std::string PortalZone::beacon() const {
  const std::string manufacturer =
      manufacturerId.empty() ? "" : R"("manufacturerId":")" + manufacturerId + R"(",)";
  return stringWithFormat(R"({"id":"%@","uuid":"%@","major":1,"minor":%d,"name":"Beacon %@",%@%@})",
                          id, kSiteUUID, minor, id, manufacturer, content());
}

std::string PortalZone::geofence() const {
  return stringWithFormat(R"({"id":"%@","name":"Fence","latitude":%f,"longitude":%f,)"
                          R"("radius":100,%@})",
                          id, kHome.latitude, kHome.longitude, content());
}

class Scenario::ClockPlatform : public ForwardingPlatform {
 public:
  explicit ClockPlatform(Platform& device) : ForwardingPlatform(device), clock_(device.clock()) {}
  ShiftedClock& clock() override { return clock_; }

 private:
  ShiftedClock clock_;
};

Scenario::Scenario(SimulatedPlatformOptions options)
    : options_(std::move(options)), self_(this, [](ks::EngineObserver*) {}) {
  options_.root = root_.path();
  options_.locationServices = location;
  options_.urlLoadingSystem = http;
  installDevice(options_.start);
  ::enableLogging = true;
}

Scenario::~Scenario() {
  ::enableLogging = false;
  manager.reset();
  observations_.clear();
  device->runUntilIdle();
  Platform::install(nullptr);
  installed_.reset();
  device.reset();
}

void Scenario::installDevice(Date start) {
  options_.start = start;
  device = std::make_shared<SimulatedPlatform>(options_);
  installed_ = std::make_shared<ClockPlatform>(*device);
  installed_->clock().jump(Seconds{clockAhead_});
  Platform::install(installed_);
  http->setDelegateQueue(device->makeQueue());
  const auto listen = [this](const char* name, auto describe) {
    observations_.push_back(device->notificationCenter().addObserver(
        name, [this, describe](const NSNotification& notification) {
          EXPECT_EQ(notification.object, manager);
          EXPECT_TRUE(device->mainQueue().isCurrent());
          heard_.push_back(describe(notification));
        }));
  };
  listen(KSProximityManagerLocationsUpdatedNotification,
         [](const NSNotification&) { return std::string("locations"); });
  listen(KSProximityManagerProximityZonesForLocationUpdatedNotification,
         [](const NSNotification& one) {
           return "zones " + *KSProximityManager::locationFromNotification(one)->identifier;
         });
  listen(KSProximityManagerTriggerContentNotification, [](const NSNotification& one) {
    return "trigger " + *KSProximityManager::proximityZoneFromNotification(one)->identifier();
  });
}

void Scenario::setsClock(double by) {
  clockAhead_ += by;
  installed_->clock().jump(Seconds{by});
}

void Scenario::sleeps(double seconds) {
  clockAhead_ += seconds;
  installed_->clock().sleep(Seconds{seconds});
}

void Scenario::launches() {
  manager = KSProximityManager::initWithUsername("user", "secret", portal, device->currentLocale(),
                                                 refinements, consent);
  ASSERT_NE(manager, nullptr);
  manager->setEngineObserver(self_);
}

void Scenario::relaunches() {
  const Date moment = now();
  manager.reset();
  observations_.clear();
  Platform::install(nullptr);
  installed_.reset();
  device.reset();
  installDevice(moment);
  launches();
}

void Scenario::starts() {
  if (!manager) launches();
  startResult.reset();
  manager->start([this](const std::optional<Error>& error) {
    startResult = error ? error->localizedDescription() : "";
  });
  device->runUntilIdle();
  if (isAsked("/contents/categories")) {
    portalAnswers("/contents/categories", R"([{"id":"shoes","name":"Shoes"}])");
  }
}

void Scenario::startsAtSite() {
  starts();
  movesTo(kHome);
  portalAnswers("/locations", "[]");
  portalAnswers("unique-uuids", R"([{"uuid":")" + kSiteUUID.UUIDString() + R"("}])");
  portalAnswers("/geofences", "[]");
  determines(CLRegionState::inside);
  heard();
  decisions();
}

void Scenario::movesTo(CLLocationCoordinate2D place) {
  location->location = CLLocation{place, Metres{10}, now()};
  ASSERT_NE(location->delegate, nullptr);
  location->delegate->didUpdateLocations(*location->manager, {*location->location});
  device->runUntilIdle();
}

void Scenario::sees(int minor, CLProximity proximity) {
  passes(3);
  ranges({{kSiteUUID, 1, static_cast<std::uint16_t>(minor), proximity, Metres{2}, Dbm{-60}}});
}

void Scenario::ranges(const std::vector<CLBeacon>& beacons) {
  ASSERT_NE(location->delegate, nullptr);
  location->delegate->didRangeBeacons(*location->manager, beacons,
                                      std::make_shared<CLBeaconRegion>(kSiteUUID, kSiteRegion));
  device->runUntilIdle();
}

void Scenario::determines(CLRegionState state, const std::string& identifier) {
  const auto region = location->regionWithIdentifier(identifier);
  ASSERT_NE(region, nullptr) << identifier;
  location->delegate->didDetermineState(*location->manager, state, region);
  device->runUntilIdle();
}

void Scenario::crossesInto(const std::string& identifier) {
  const auto region = location->regionWithIdentifier(identifier);
  location->delegate->didEnterRegion(*location->manager, region);
  determines(CLRegionState::inside, identifier);
}

void Scenario::crossesOutOf(const std::string& identifier) {
  const auto region = location->regionWithIdentifier(identifier);
  determines(CLRegionState::outside, identifier);
  location->delegate->didExitRegion(*location->manager, region);
  device->runUntilIdle();
}

void Scenario::portalAnswers(std::string_view urlPart, std::string body) {
  http->answer(urlPart, std::move(body));
  device->runUntilIdle();
}

void Scenario::portalRefuses(std::string_view urlPart, int status) {
  http->answer(urlPart, status);
  device->runUntilIdle();
}

void Scenario::portalFails(std::string_view urlPart) {
  http->fail(urlPart, NSURLError::timedOut);
  device->runUntilIdle();
}

void Scenario::portalRefusesAll() {
  while (isAsked("/")) portalRefuses("/", 401);
}

void Scenario::learns(const PortalZone& zone) {
  sees(zone.minor, CLProximity::far);
  portalAnswers("retrieveby=identifiers", "[" + zone.beacon() + "]");
}

std::vector<std::string> Scenario::statistics() {
  static const std::regex kZone(R"re("(?:beaconId|geofenceId)":"([^"]*)")re");
  static const std::regex kBattery(R"re("batteryLevel":(\d+))re");
  static const std::regex kEvent(
      R"re(((?:beacons|geofences)/(?:enter|exit|notification|content))$)re");
  std::vector<std::string> events;
  for (const auto& url : http->waitingURLs()) {
    std::smatch event;
    if (!std::regex_search(url, event, kEvent)) continue;
    const std::string body = http->transfer(url)->body;
    std::smatch found;
    std::string text = event[1];
    if (std::regex_search(body, found, kZone)) text += " " + std::string(found[1]);
    if (std::regex_search(body, found, kBattery)) text += " battery " + std::string(found[1]);
    events.push_back(text);
    portalAnswers(url, "");
  }
  return events;
}

bool Scenario::logged(std::string_view ending) {
  bool found = false;
  for (const auto& line : device->console().lines()) found |= line.ends_with(ending);
  device->console().clear();
  return found;
}

std::shared_ptr<KSPrivateBeacon> Scenario::beacon(std::string_view identifier) const {
  auto found = std::dynamic_pointer_cast<KSPrivateBeacon>(
      manager->proximityZoneForIdentifier(identifier, KSContentDownloadType::contentForBeacons));
  EXPECT_NE(found, nullptr) << identifier;
  return found;
}

void Scenario::triggerDecided(const ks::TriggerDecision& decision) {
  static constexpr std::array kOutcomes{"fired",
                                        "refused",
                                        "category disabled",
                                        "dwelling started",
                                        "dwelling pending",
                                        "dwelling cancelled",
                                        "dwelling too short",
                                        "other event"};
  std::string text = kOutcomes.at(static_cast<std::size_t>(decision.outcome));
  if (decision.outcome == ks::TriggerDecision::Outcome::refused) {
    text += " " + std::to_string(static_cast<int>(decision.verdict->rule));
  }
  if (decision.outcome == ks::TriggerDecision::Outcome::dwellingCancelled) {
    text += " after " + std::to_string(static_cast<int>(decision.elapsed));
  }
  decisions_.push_back(std::move(text));
}

void Scenario::cacheWritten(const ks::CacheWrite& write) {
  EXPECT_TRUE(write.success) << write.fileName;
  files_.push_back(write.fileName);
}

}  // namespace ks::testing
