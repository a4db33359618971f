#include "tools/ksbeacon/simulate/DeviceDay.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "tools/ksbeacon/host/TimelineMarks.h"

namespace ks::tool {

namespace {

using Kind = Scenario::Event::Kind;

portal::Fault portalFault(const Scenario::Fault& fault) {
  using Kind = Scenario::Fault::Kind;
  static const std::map<Kind, portal::FaultKind> kKinds = {
      {Kind::status, portal::FaultKind::status},
      {Kind::truncate, portal::FaultKind::truncatedBody},
      {Kind::notJson, portal::FaultKind::notJson},
      {Kind::drop, portal::FaultKind::droppedConnection},
      {Kind::cutChunk, portal::FaultKind::cutChunk},
      {Kind::notModified, portal::FaultKind::notModified},
      {Kind::maxAge, portal::FaultKind::maxAge},
      {Kind::latency, portal::FaultKind::latency},
      {Kind::slow, portal::FaultKind::slowDrip}};
  portal::Fault made;
  made.kind = kKinds.at(fault.kind);
  made.status = fault.status;
  made.path = fault.path;
  made.delay = fault.span;
  return made;
}

}  // namespace

Seconds endOf(const Scenario& scenario, const SimulationOptions& options) {
  return std::min(options.until.value_or(scenario.until), scenario.until);
}

DeviceDay::DeviceDay(const Scenario& scenario, const SimulationOptions& options, WalkPortal* portal,
                     std::shared_ptr<TimelineRecorder> recorder, std::string url)
    : scenario_(scenario),
      options_(options),
      portal_(portal),
      recorder_(std::move(recorder)),
      url_(std::move(url)),
      end_(endOf(scenario, options)),
      permission_(scenario.permission) {
  if (options.state.empty()) temporary_ = TemporaryFolder::inMemory();
  plan();
}

DeviceDay::~DeviceDay() = default;

bool DeviceDay::run() {
  applyFaults(Seconds{0});
  launch(Seconds{0});
  for (const auto& [moment, action] : agenda_) {
    if (moment > end_) break;
    if (!passTime(moment)) return false;
    action();
  }
  if (!passTime(end_)) return false;
  kill(end_);
  return true;
}

void DeviceDay::plan() {
  for (const Scenario::Fault& fault : scenario_.faults) {
    for (const Seconds moment : {fault.from, fault.to}) {
      agenda_.emplace(moment, [this, moment] { applyFaults(moment); });
    }
  }
  for (const TimelineEvent& presence : options_.presences) {
    agenda_.emplace(presence.at, [this, &presence] {
      stopped_.set(scenario_.start + presence.at);
      recorder_->say(presence.kind, presence.text, presence.details);
    });
  }
  for (const Scenario::Event& event : scenario_.events) {
    if (event.kind != Kind::restart) {
      agenda_.emplace(event.at, [this, &event] { apply(event); });
      continue;
    }
    const Seconds again = event.at + event.downtime;
    agenda_.emplace(event.at, [this, &event, again] {
      deadUntil_ = std::max(deadUntil_, again);
      const char* const text = application_ ? "killed" : "killed again";
      kill(event.at);
      recorder_->say(TimelineKind::application, text);
    });
    agenda_.emplace(again, [this, again] { launch(again); });
  }
}

void DeviceDay::launch(Seconds moment) {
  if (application_ || moment < deadUntil_) return;
  HostApplication::Launch launch;
  launch.now = scenario_.start + moment;
  launch.root = options_.state.empty() ? temporary_->path() / "device" : options_.state;
  launch.portalURL = url_;
  if (portal_ != nullptr) launch.network = portal_->network();
  launch.permission = permission_;
  launch.seed = options_.seed.value_or(scenario_.seed);
  launch.log = options_.log;
  launch.recording = options_.recording;
  launch.first = std::exchange(first_, false);
  hasProcess_ = true;
  launch.clockShift = clockShift_;
  launch.hasBluetooth = hasBluetooth_;
  launch.hasNetwork = hasNetwork_;
  application_ = std::make_unique<HostApplication>(scenario_, recorder_, launch);
}

void DeviceDay::kill(Seconds moment) {
  stopped_.set(scenario_.start + moment);
  recorder_->follow(stopped_);
  application_.reset();
  hasProcess_ = false;
}

void DeviceDay::apply(Scenario::Event event) {
  if (event.kind == Kind::setClock) {
    event.kind = Kind::moveClock;
    event.by = event.date - (scenario_.start + event.at) - clockShift_;
  }
  keep(event);
  if (event.kind == Kind::setDocuments) changeDocuments(event);
  if (application_) {
    application_->apply(event);
  } else {
    stopped_.set(scenario_.start + event.at);
    recorder_->say(TimelineKind::application, "is dead and misses an event of the scenario");
  }
}

void DeviceDay::keep(const Scenario::Event& event) {
  clockShift_ += event.by;
  if (event.kind == Kind::setPermission) permission_ = event.permission;
  if (event.kind == Kind::setTimeZone) scenario_.timeZone = event.name;
  if (event.kind == Kind::setBluetooth) hasBluetooth_ = event.on;
  if (event.kind == Kind::setNetwork) {
    hasNetwork_ = event.on;
    applyFaults(event.at);
  }
  if (event.kind != Kind::setBattery) return;
  for (Scenario::Beacon& beacon : scenario_.beacons) {
    if (beacon.name == event.name && beacon.radio.battery) {
      beacon.radio.battery->level = event.level;
    }
  }
}

void DeviceDay::changeDocuments(const Scenario::Event& event) {
  if (portal_ == nullptr) return;
  const auto changed = portal_->setDocuments(event.documents);
  if (!changed) failure_ = changed.error().localizedDescription();
}

void DeviceDay::applyFaults(Seconds now) {
  if (portal_ == nullptr) return;
  portal_->clearFaults();
  if (!hasNetwork_) {
    portal::Fault silence;
    silence.kind = portal::FaultKind::droppedConnection;
    portal_->addFault(silence);
  }
  for (const Scenario::Fault& fault : scenario_.faults) {
    if (fault.from <= now && now < fault.to) portal_->addFault(portalFault(fault));
  }
}

bool DeviceDay::passTime(Seconds moment) {
  constexpr int kSlices = 200;
  constexpr Seconds kFrame{0.1};
  const Seconds slice =
      options_.speed > 0 ? kFrame * options_.speed : std::max(Seconds{1}, end_ / kSlices);
  while (now_ < moment) {
    if (options_.isInterrupted && options_.isInterrupted()) return false;
    now_ = std::min(moment, now_ + slice);
    if (options_.speed > 0) {
      std::this_thread::sleep_until(
          begin_ +
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(now_ / options_.speed));
    }
    if (application_) application_->runUntil(scenario_.start + now_);
    if (options_.progress) options_.progress(now_ / end_);
  }
  if (application_) application_->runUntil(scenario_.start + moment);
  return true;
}

}  // namespace ks::tool
