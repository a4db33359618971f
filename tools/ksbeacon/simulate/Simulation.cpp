#include "tools/ksbeacon/simulate/Simulation.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "tools/ksbeacon/documents/TemporaryFolder.h"
#include "tools/ksbeacon/host/HostApplication.h"
#include "tools/ksbeacon/host/TimelineMarks.h"
#include "tools/ksbeacon/simulate/WalkPortal.h"

namespace ks::tool {

namespace {

/// The time of a device that is switched off.
class StoppedClock : public Clock {
 public:
  Date now() const override { return now_; }
  Seconds uptime() const override { return Seconds{0}; }
  void set(Date now) { now_ = now; }

 private:
  Date now_;
};

portal::Fault portalFault(const Scenario::Fault& fault) {
  using Kind = Scenario::Fault::Kind;
  static const std::map<Kind, portal::FaultKind> kKinds = {
      {Kind::status, portal::FaultKind::status},
      {Kind::truncate, portal::FaultKind::truncatedBody},
      {Kind::notJson, portal::FaultKind::notJson},
      {Kind::drop, portal::FaultKind::droppedConnection},
      {Kind::cutChunk, portal::FaultKind::cutChunk},
      {Kind::notModified, portal::FaultKind::notModified},
      {Kind::maxAge, portal::FaultKind::maxAge}};
  portal::Fault made;
  made.kind = kKinds.at(fault.kind);
  made.status = fault.status;
  made.path = fault.path;
  made.delay = fault.age;
  return made;
}

TimelineRecorder::Options recorderOptions(const Scenario& scenario, std::string portalURL,
                                          bool everyRanging) {
  TimelineRecorder::Options options{scenario.start, std::move(portalURL), everyRanging};
  for (const Scenario::Beacon& beacon : scenario.beacons) {
    const SimulatedBeacon& radio = beacon.radio;
    options.beaconNames[{radio.proximityUUID, radio.major, radio.minor}] = beacon.name;
  }
  options.exactStays = scenario.application.refinements.exactStays;
  return options;
}

/// Runs the agenda of a scenario: what happens at which moment, and the time between.
class Run {
 public:
  Run(const Scenario& scenario, const SimulationOptions& options, WalkPortal* portal,
      std::shared_ptr<TimelineRecorder> recorder, std::string url)
      : scenario_(scenario),
        options_(options),
        portal_(portal),
        recorder_(std::move(recorder)),
        url_(std::move(url)),
        end_(std::min(options.until.value_or(scenario.until), scenario.until)),
        permission_(scenario.permission) {
    if (options.state.empty()) temporary_ = TemporaryFolder::inMemory();
    plan();
  }

  /// False when it was interrupted.
  bool run() {
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

  Seconds end() const { return end_; }
  bool hasProcess() const { return hasProcess_; }
  /// Why the day could not go on as the scenario says; empty when it did.
  const std::string& failure() const { return failure_; }

 private:
  using Kind = Scenario::Event::Kind;

  /// Moments in order, ties in the order of planning: the portal changes before the application.
  void plan() {
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

  void launch(Seconds moment) {
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

  void kill(Seconds moment) {
    stopped_.set(scenario_.start + moment);
    recorder_->follow(stopped_);
    application_.reset();
    hasProcess_ = false;
  }

  void apply(Scenario::Event event) {
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

  /// What lasts beyond the process.
  void keep(const Scenario::Event& event) {
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

  void changeDocuments(const Scenario::Event& event) {
    if (portal_ == nullptr) return;
    const auto changed = portal_->setDocuments(event.documents);
    if (!changed) failure_ = changed.error().localizedDescription();
  }

  void applyFaults(Seconds now) {
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

  /// In slices, so that somebody who waits can be told how far it is, and somebody who watches sees
  /// time pass evenly. False when it was interrupted.
  bool passTime(Seconds moment) {
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

  /// As the events have left it.
  Scenario scenario_;
  const SimulationOptions& options_;
  WalkPortal* portal_;
  std::shared_ptr<TimelineRecorder> recorder_;
  std::string url_;
  Seconds end_;
  CLAuthorizationStatus permission_;
  Seconds clockShift_{0};
  bool hasBluetooth_ = true;
  bool hasNetwork_ = true;
  std::string failure_;
  /// Of a device that nobody wants to keep.
  std::optional<TemporaryFolder> temporary_;
  std::multimap<Seconds, std::function<void()>> agenda_;
  StoppedClock stopped_;
  std::unique_ptr<HostApplication> application_;
  bool hasProcess_ = false;
  Seconds now_{0};
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  bool first_ = true;
  /// The latest moment that a restart set for its launch.
  Seconds deadUntil_{0};
};

}  // namespace

SimulationResult simulate(const Scenario& scenario, const SimulationOptions& options,
                          Timeline& timeline) {
  SimulationResult result;
  std::unique_ptr<WalkPortal> server;
  std::mutex messagesMutex;
  const bool isOwnPortal = options.portalURL.empty();
  std::string url = options.portalURL;
  if (isOwnPortal) {
    portal::PortalOptions portalOptions;
    portalOptions.documents = scenario.portal.documents;
    portalOptions.username = scenario.portal.credentials.username;
    portalOptions.password = scenario.portal.credentials.password;
    portalOptions.reload = false;
    portalOptions.onMessage = [&](const std::string& message) {
      const std::scoped_lock guard(messagesMutex);
      result.portalMessages.push_back(message);
    };
    auto started = options.startPortal(std::move(portalOptions));
    if (!started) {
      result.failure = started.error().localizedDescription();
      return result;
    }
    server = std::move(started.value());
    url = server->url();
  }
  Expectations expectations(scenario);
  Timeline watched;
  int replies = 0;
  int silences = 0;
  const Run* running = nullptr;
  watched.listen([&](const TimelineEvent& event) {
    if (options.recording != nullptr) {
      recordEvent(*options.recording, event, scenario.start, running && running->hasProcess());
    }
    expectations.note(event);
    if (event.kind == TimelineKind::http) ++(event.details["status"].isNull() ? silences : replies);
    timeline.add(event);
  });
  const auto recorder = std::make_shared<TimelineRecorder>(
      watched, recorderOptions(scenario, url, options.everyRanging));
  Run run(scenario, options, server.get(), recorder, url);
  running = &run;
  result.interrupted = !run.run();
  if (server) server->stop();
  result.failure = run.failure();
  if (result.interrupted || !result.failure.empty()) return result;
  result.portalIsSilent = !isOwnPortal && silences > 0 && replies == 0;
  result.breaches = recorder->breaches();
  result.outcomes = expectations.outcomes(run.end());
  for (const Expectations::Outcome& outcome : result.outcomes) {
    watched.add(Expectations::eventOf(outcome, run.end()));
  }
  return result;
}

}  // namespace ks::tool
