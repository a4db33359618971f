#include "tools/ksbeacon/host/HostApplication.h"

#include <fmt/format.h>

#include <utility>

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
  options.positionErrors = scenario.walk.errors;
  options.propagation = scenario.radio;
  return options;
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
  library_.reset();
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
  device_.network().setListener(
      [this](const HttpExchange& exchange) { library_->transferEnded(exchange); });
  device_.simulatedNotificationCenter().setListener(
      [this](const ScheduledNotificationCenter::Notification& shown) {
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
  const Scenario::Application& application = scenario_.application;
  LibraryHost::Options options;
  options.username = application.credentials.username;
  options.password = application.credentials.password;
  options.portalURL = launch.portalURL;
  options.refinements = application.refinements;
  if (launch.first) {
    options.tags = application.tags;
    options.disabledCategories = application.disabledCategories;
  }
  options.showsNotifications = application.showsNotifications;
  options.log = launch.log;
  library_.emplace(recorder_, std::move(options));
  if (!library_->launch(launch.first ? "launched" : "launched again")) return;
  if (application.foreground) device_.application().becomeActive();
}

void HostApplication::apply(const Scenario::Event& event) {
  if (library_->manager() == nullptr) return;
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
      library_->fetchInBackground();
      return;
    case Kind::backgroundTransfer:
      library_->finishBackgroundTransfers();
      return;
    case Kind::setPermission:
      say(fmt::format("location permission becomes {}", permissionName(event.permission)));
      device_.setAuthorizationStatus(event.permission);
      return;
    case Kind::retry:
      say("tries to start again");
      library_->manager()->retry();
      return;
    case Kind::reset:
      say("resets the library");
      library_->manager()->reset();
      return;
    case Kind::openContent:
      library_->openContent(event.name);
      return;
    case Kind::showNotification:
      library_->showContent(event.name);
      return;
    default:
      applySettings(event);
  }
}

void HostApplication::applySettings(const Scenario::Event& event) {
  KSSettingsManager& settings = library_->manager()->settingsManager();
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
      library_->switchCategory(event.name, event.kind == Kind::enableCategory);
      return;
    default:
      return;
  }
}

}  // namespace ks::tool
