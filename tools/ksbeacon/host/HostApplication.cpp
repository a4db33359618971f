#include "tools/ksbeacon/host/HostApplication.h"

#include <fmt/format.h>

#include <utility>

#include "tools/ksbeacon/host/HostDetails.h"

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
  options.urlLoadingSystem = launch.network;
  if (!launch.hasBluetooth) options.bluetoothState = CBManagerState::poweredOff;
  return options;
}

LibraryHost::Options libraryOptions(const Scenario& scenario,
                                    const HostApplication::Launch& launch) {
  const Scenario::Application& application = scenario.application;
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
  return options;
}

}  // namespace

HostApplication::HostApplication(const Scenario& scenario,
                                 std::shared_ptr<TimelineRecorder> recorder, Launch launch)
    : scenario_(scenario),
      recorder_(std::move(recorder)),
      network_(launch.network),
      device_(deviceOptions(scenario, launch)) {
  const LibraryHost::Options options = libraryOptions(scenario, launch);
  buildWorld();
  if (!launch.hasNetwork) setNetwork(false);
  if (launch.recording != nullptr) {
    Dictionary host = hostDetails(options, recorder_->options());
    host.set("clockShift", launch.clockShift.count());
    recorded_ = std::make_unique<RecordedPlatform>(device_, device_.location().engine(),
                                                   device_.directories().caches.parent_path(),
                                                   *launch.recording, std::move(host));
  }
  Platform& seen = recorded_ ? static_cast<Platform&>(*recorded_) : device_;
  platform_ = std::make_shared<ObservedPlatform>(seen, *recorder_);
  recorder_->follow(seen.clock());
  platform_->clock().jump(launch.clockShift);
  Platform::install(platform_);
  library_.emplace(recorder_, options);
  observe();
  call("launch", {{"text", launch.first ? "launched" : "launched again"}});
  if (library_->manager() != nullptr && scenario.application.foreground) {
    device_.application().becomeActive();
  }
}

HostApplication::~HostApplication() {
  // What the library cancels as it goes ends while it is half gone.
  listenToTransfers(nullptr);
  if (recorded_) recorded_->setTransferListener(nullptr);
  library_.reset();
  device_.location().setNoticeListener(nullptr);
  Platform::install(nullptr);
}

void HostApplication::runUntil(Date moment) {
  device_.runUntil(moment);
  if (recorded_) recorded_->settle();
}

void HostApplication::call(const std::string& name, Dictionary arguments) {
  if (recorded_) return recorded_->call(name, std::move(arguments));
  handle(name, arguments);
}

void HostApplication::handle(const std::string& name, const Dictionary& arguments) {
  if (platform_->handle(name, arguments)) return;
  library_->handle(name, arguments);
}

void HostApplication::say(TimelineKind kind, std::string text, Dictionary details) {
  call("say", {{"kind", static_cast<std::int64_t>(kind)},
               {"text", std::move(text)},
               {"details", std::move(details)}});
}

void HostApplication::buildWorld() {
  SimulatedWorld& world = device_.world();
  world.setWalk(SimulatedWalk(scenario_.start, scenario_.walk.stops));
  world.setPositionOutages(scenario_.walk.outages);
  for (const Scenario::Beacon& beacon : scenario_.beacons) {
    beacons_.push_back(world.addBeacon(beacon.radio));
  }
}

void HostApplication::listenToTransfers(SimulatedNetwork::Listener listener) {
  if (!network_) return device_.network().setListener(std::move(listener));
  if (!listener) return network_->detach();
  network_->attach({[this] { return device_.makeQueue(); }, device_.directories().temporary,
                    std::move(listener)});
}

void HostApplication::observe() {
  const auto transferEnded = [this](const HttpExchange& exchange) {
    library_->transferEnded(exchange);
  };
  if (recorded_) {
    if (network_) listenToTransfers([](const HttpExchange&) {});
    recorded_->setTransferListener(transferEnded);
    recorded_->setHostHandler(
        [this](const std::string& name, const Dictionary& arguments) { handle(name, arguments); });
  } else {
    listenToTransfers(transferEnded);
  }
  const auto notice = [this](const std::string& text) { recorder_->notice(text); };
  device_.location().setNoticeListener(notice);
  if (recorded_) recorded_->setNoticeListener(notice);
  device_.simulatedNotificationCenter().setListener(
      [this](const ScheduledNotificationCenter::Notification& shown) {
        const UNMutableNotificationContent& content = shown.request.content;
        call("shown",
             {{"title", content.title}, {"body", content.body}, {"userInfo", content.userInfo}});
      });
  device_.application().setAlertListener([this](const UIAlertView& alert) {
    const std::string text = shownText(alert.title, alert.message);
    say(TimelineKind::notification, "alert: " + text,
        {{"action", "alert"}, {"zone", Null{}}, {"text", text}});
  });
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
      call("fetch");
      return;
    case Kind::backgroundTransfer:
      call("transfers");
      return;
    case Kind::setPermission:
      say(fmt::format("location permission becomes {}", permissionName(event.permission)));
      device_.setAuthorizationStatus(event.permission);
      return;
    case Kind::moveClock:
      say(fmt::format("the wall clock is set by {:+g} s", event.by.count()));
      call("moveClock", {{"by", event.by.count()}});
      return;
    case Kind::retry:
      say("tries to start again");
      call("retry");
      return;
    case Kind::reset:
      say("resets the library");
      call("reset");
      return;
    case Kind::openContent:
      call("open", {{"name", event.name}});
      return;
    case Kind::showNotification:
      call("show", {{"name", event.name}});
      return;
    case Kind::reloadBeacons:
      say("has the beacons reloaded");
      call("reloadBeacons");
      return;
    case Kind::look:
      call("look");
      return;
    default:
      applySettings(event);
      applyToDevice(event);
  }
}

void HostApplication::applySettings(const Scenario::Event& event) {
  switch (event.kind) {
    case Kind::setTag:
      say(fmt::format("sets tag {} to {}", event.name, event.value));
      call("setTag", {{"name", event.name}, {"value", event.value}});
      return;
    case Kind::deleteTag:
      say("deletes tag " + event.name);
      call("deleteTag", {{"name", event.name}});
      return;
    case Kind::clearTags:
      say("clears the tags");
      call("clearTags");
      return;
    case Kind::enableCategory:
    case Kind::disableCategory:
      call("switchCategory", {{"name", event.name}, {"on", event.kind == Kind::enableCategory}});
      return;
    default:
      return;
  }
}

void HostApplication::applyToDevice(const Scenario::Event& event) {
  switch (event.kind) {
    case Kind::setTimeZone:
      say("the time zone becomes " + event.name);
      device_.change([&](SimulatedSettings& settings) { settings.timeZoneName = event.name; });
      return;
    case Kind::setBluetooth:
      say(event.on ? "Bluetooth can be used" : "Bluetooth cannot be used");
      device_.setBluetoothState(event.on ? CBManagerState::poweredOn : CBManagerState::poweredOff);
      return;
    case Kind::setNetwork:
      say(event.on ? "the network can be used" : "the network cannot be used");
      setNetwork(event.on);
      return;
    case Kind::setDocuments:
      say("the portal has other documents");
      return;
    case Kind::setBattery:
      say(fmt::format("the battery of {} is at {}", event.name, event.level));
      setBattery(event.name, event.level);
      return;
    default:
      return;
  }
}

void HostApplication::setNetwork(bool on) {
  device_.systemConfiguration().setFlags(on ? kSCNetworkReachabilityFlagsReachable : 0);
}

void HostApplication::setBattery(const std::string& beacon, std::uint8_t level) {
  SimulatedWorld& world = device_.world();
  for (std::size_t i = 0; i < beacons_.size(); ++i) {
    if (scenario_.beacons[i].name != beacon) continue;
    SimulatedBeacon changed = *world.beacon(beacons_[i]);
    if (changed.battery) changed.battery->level = level;
    world.setBeacon(beacons_[i], std::move(changed));
  }
}

}  // namespace ks::tool
