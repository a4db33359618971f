#include "tools/ksbeacon/HostApplication.h"

#include <fmt/format.h>

#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"

namespace ks::tool {

namespace {

using Kind = Scenario::Event::Kind;

SimulatedPlatformOptions deviceOptions(const Scenario& scenario,
                                       const HostApplication::Launch& launch) {
  SimulatedPlatformOptions options;
  options.start = launch.now;
  options.root = launch.root;
  options.seed = launch.seed;
  options.authorizationStatus = launch.permission;
  options.mainBundle = {scenario.application.bundleIdentifier, "1.0"};
  options.locale = {scenario.language, scenario.country};
  options.timeZoneName = scenario.timeZone;
  options.pathLossExponent = scenario.pathLossExponent;
  options.positionNoise = scenario.walk.noise;
  return options;
}

/// What a person sees of a content: its title and its message, as far as it has them.
std::string shownText(const std::string& title, const std::string& message) {
  if (title.empty() || message.empty()) return title + message;
  return title + ": " + message;
}

}  // namespace

HostApplication::HostApplication(const Scenario& scenario,
                                 std::shared_ptr<TimelineRecorder> recorder, Launch launch)
    : scenario_(scenario),
      recorder_(std::move(recorder)),
      device_(deviceOptions(scenario, launch)),
      platform_(std::make_shared<RecordingPlatform>(device_, *recorder_)) {
  recorder_->follow(device_.clock());
  Platform::install(platform_);
  buildWorld();
  observe();
  start(launch);
}

HostApplication::~HostApplication() {
  observations_.clear();
  announced_.clear();
  manager_.reset();
  device_.network().setListener(nullptr);
  Platform::install(nullptr);
}

void HostApplication::buildWorld() {
  SimulatedWorld& world = device_.world();
  world.setWalk(SimulatedWalk(scenario_.start, scenario_.walk.stops));
  world.setPositionOutages(scenario_.walk.outages);
  for (const Scenario::Beacon& beacon : scenario_.beacons) world.addBeacon(beacon.radio);
}

void HostApplication::observe() {
  NSNotificationCenter& center = device_.notificationCenter();
  observations_.push_back(
      center.addObserver(KSProximityManagerTriggerContentNotification,
                         [this](const NSNotification& notification) { announced(notification); }));
  observations_.push_back(
      center.addObserver(DebugLogNotification, [this](const NSNotification& notification) {
        recorder_->say(TimelineKind::log,
                       notification.userInfo[DebugLogMessageKey].stringValue().value_or(""));
      }));
  device_.network().setListener(
      [this](const HttpExchange& exchange) { recorder_->transferEnded(exchange); });
  device_.simulatedNotificationCenter().setListener(
      [this](const SimulatedUserNotificationCenter::Notification& shown) {
        const UNMutableNotificationContent& content = shown.request.content;
        const std::string text = shownText(content.title, content.body);
        Dictionary details{
            {"action", "shown"}, {"zone", content.userInfo["beaconIdentifier"]}, {"text", text}};
        recorder_->say(TimelineKind::notification, "shown: " + text, std::move(details));
      });
  device_.application().setAlertListener([this](const UIAlertView& alert) {
    const std::string text = shownText(alert.title, alert.message);
    recorder_->say(TimelineKind::notification, "alert: " + text,
                   {{"action", "alert"}, {"zone", Null{}}, {"text", text}});
  });
}

void HostApplication::start(const Launch& launch) {
  KSProximityManager::enableLogging(launch.log);
  const Scenario::Application& application = scenario_.application;
  manager_ = KSProximityManager::initWithUsername(application.credentials.username,
                                                  application.credentials.password,
                                                  NSURL{launch.portalURL}, device_.currentLocale());
  if (!manager_) {
    say("the library cannot be made: its cache folder is missing");
    return;
  }
  manager_->setEngineObserver(recorder_);
  say(launch.first ? "launched" : "launched again");
  if (launch.first) {
    for (const auto& [name, value] : application.tags) {
      manager_->settingsManager().setTag(name, value);
    }
  }
  manager_->start([this, first = launch.first](const std::optional<Error>& error) {
    if (error) return say("the library did not start: " + error->localizedDescription());
    say("the library runs");
    if (!first) return;
    for (const std::string& category : scenario_.application.disabledCategories) {
      switchCategory(category, false);
    }
  });
  if (application.foreground) device_.application().becomeActive();
}

void HostApplication::announced(const NSNotification& notification) {
  const auto zone = KSProximityManager::proximityZoneFromNotification(notification);
  if (!zone || !zone->content()) return;
  const KSProximityZoneContent& content = *zone->content();
  const std::string identifier = content.identifier.value_or("");
  const std::string text = shownText(content.title.value_or(""), content.message.value_or(""));
  recorder_->say(TimelineKind::notification, fmt::format("content {} announced", identifier),
                 {{"action", "announced"},
                  {"zone", zone->identifier().value_or("")},
                  {"content", identifier},
                  {"text", text}});
  announced_[identifier] = zone;
  if (scenario_.application.showsNotifications) manager_->showNotificationForProximityZone(zone);
}

void HostApplication::apply(const Scenario::Event& event) {
  if (!manager_) return;
  switch (event.kind) {
    case Kind::becomeActive:
      say("becomes active");
      device_.application().becomeActive();
      return;
    case Kind::resignActive:
      say("resigns active");
      device_.application().resignActive();
      return;
    case Kind::backgroundFetch:
      fetchInBackground();
      return;
    case Kind::setPermission:
      say(fmt::format("location permission becomes {}", permissionName(event.permission)));
      device_.setAuthorizationStatus(event.permission);
      return;
    case Kind::retry:
      say("tries to start again");
      manager_->retry();
      return;
    case Kind::reset:
      say("resets the library");
      manager_->reset();
      return;
    case Kind::openContent:
    case Kind::showNotification:
      applyToContent(event);
      return;
    default:
      applySettings(event);
  }
}

void HostApplication::applySettings(const Scenario::Event& event) {
  KSSettingsManager& settings = manager_->settingsManager();
  switch (event.kind) {
    case Kind::setTag:
      say(fmt::format("sets tag {} to {}", event.name, event.value));
      settings.setTag(event.name, event.value);
      return;
    case Kind::deleteTag:
      say("deletes tag " + event.name);
      settings.deleteTag(event.name);
      return;
    case Kind::clearTags:
      say("clears the tags");
      settings.clearTags();
      return;
    case Kind::enableCategory:
    case Kind::disableCategory:
      switchCategory(event.name, event.kind == Kind::enableCategory);
      return;
    default:
      return;
  }
}

void HostApplication::applyToContent(const Scenario::Event& event) {
  const auto found = announced_.find(event.name);
  if (found == announced_.end()) {
    say(fmt::format("has no content {} to open: it was not announced", event.name));
  } else if (event.kind == Kind::openContent) {
    say("the user opens content " + event.name);
    manager_->incrementLoyaltyForProximityZone(found->second);
  } else {
    say("has content " + event.name + " shown");
    manager_->showNotificationForProximityZone(found->second);
  }
}

void HostApplication::fetchInBackground() {
  say("is woken for a background fetch");
  manager_->performFetchWithCompletionHandler([this](UIBackgroundFetchResult result) {
    say(result == UIBackgroundFetchResult::newData ? "background fetch: new data"
                                                   : "background fetch: no data");
  });
}

void HostApplication::switchCategory(const std::string& identifier, bool enabled) {
  KSSettingsManager& settings = manager_->settingsManager();
  for (const auto& category : settings.contentCategories()) {
    if (category->identifier != identifier) continue;
    say(fmt::format("switches category {} {}", identifier, enabled ? "on" : "off"));
    settings.enableContentCategory(*category, enabled);
    return;
  }
  say(fmt::format("knows no category {} to switch", identifier));
}

}  // namespace ks::tool
