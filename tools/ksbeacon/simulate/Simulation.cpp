#include "tools/ksbeacon/simulate/Simulation.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

#include "tools/ksbeacon/host/TimelineMarks.h"
#include "tools/ksbeacon/simulate/DeviceDay.h"
#include "tools/ksbeacon/simulate/WalkPortal.h"

namespace ks::tool {

namespace {

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

/// The devices of one scenario, and the portal that all of them ask.
class World {
 public:
  World(const Scenario& scenario, const SimulationOptions& options, const Timeline& timeline)
      : scenario_(scenario),
        options_(options),
        timeline_(timeline),
        url_(options.portalURL),
        expectations_(scenario) {}

  SimulationResult live() {
    if (!startPortal()) return std::move(result_);
    if (scenario_.devices.empty()) {
      pass(scenario_, options_, [this](const TimelineEvent& event) { tell(event); });
    } else {
      passTogether();
    }
    if (portal_) portal_->stop();
    if (result_.interrupted || !result_.failure.empty()) return std::move(result_);
    result_.portalIsSilent = !portal_ && silences_ > 0 && replies_ == 0;
    const Seconds end = endOf(scenario_, options_);
    result_.outcomes = expectations_.outcomes(end);
    for (const Expectations::Outcome& outcome : result_.outcomes) {
      tell(Expectations::eventOf(outcome, end));
    }
    return std::move(result_);
  }

 private:
  bool startPortal() {
    if (!url_.empty()) return true;
    portal::PortalOptions portal;
    portal.documents = scenario_.portal.documents;
    portal.username = scenario_.portal.credentials.username;
    portal.password = scenario_.portal.credentials.password;
    portal.reload = false;
    portal.onMessage = [this](const std::string& message) {
      const std::scoped_lock guard(messagesMutex_);
      result_.portalMessages.push_back(message);
    };
    // Virtual time stands still while a server is waited for, so its delays would not be seen.
    const bool delays = std::ranges::any_of(scenario_.faults, [](const Scenario::Fault& fault) {
      return fault.kind == Scenario::Fault::Kind::latency ||
             fault.kind == Scenario::Fault::Kind::slow;
    });
    auto started =
        delays ? startSitePortal(std::move(portal)) : options_.startPortal(std::move(portal));
    if (!started) {
      result_.failure = started.error().localizedDescription();
      return false;
    }
    portal_ = std::move(started.value());
    url_ = portal_->url();
    return true;
  }

  void tell(const TimelineEvent& event) {
    if (options_.recording != nullptr) {
      recordEvent(*options_.recording, event, scenario_.start,
                  running_ != nullptr && running_->hasProcess());
    }
    expectations_.note(event);
    if (event.kind == TimelineKind::http) {
      ++(event.details["status"].isNull() ? silences_ : replies_);
    }
    timeline_.add(event);
  }

  /// One device's day. False when it did not come to its end.
  bool pass(const Scenario& day, const SimulationOptions& options, Timeline::Listener listener) {
    Timeline watched;
    watched.listen(std::move(listener));
    const auto recorder = std::make_shared<TimelineRecorder>(
        watched, recorderOptions(day, url_, options.everyRanging));
    DeviceDay run(day, options, portal_.get(), recorder, url_);
    running_ = &run;
    result_.interrupted = !run.run();
    running_ = nullptr;
    result_.failure = run.failure();
    if (result_.interrupted || !result_.failure.empty()) return false;
    result_.breaches += recorder->breaches();
    return true;
  }

  /// The devices share what they do not change, so their days pass one after the other and are told
  /// as one.
  void passTogether() {
    std::vector<TimelineEvent> events;
    double passed = 0;
    const auto count = static_cast<double>(scenario_.devices.size());
    for (const Scenario& day : scenario_.devices) {
      SimulationOptions options = options_;
      options.speed = 0;
      if (!options.state.empty()) options.state /= day.device;
      if (options.seed) *options.seed += static_cast<std::uint64_t>(passed);
      if (options.progress) {
        options.progress = [&](double share) { options_.progress((passed + share) / count); };
      }
      if (portal_ && passed > 0 && !portal_->setDocuments(scenario_.portal.documents)) return;
      const bool isWhole = pass(day, options, [&](TimelineEvent event) {
        event.device = day.device;
        events.push_back(std::move(event));
      });
      if (!isWhole) return;
      ++passed;
    }
    std::ranges::stable_sort(events, {}, &TimelineEvent::at);
    for (const TimelineEvent& event : events) tell(event);
  }

  const Scenario& scenario_;
  const SimulationOptions& options_;
  const Timeline& timeline_;
  std::string url_;
  /// The scenario's own; null for another.
  std::unique_ptr<WalkPortal> portal_;
  std::mutex messagesMutex_;
  SimulationResult result_;
  Expectations expectations_;
  int replies_ = 0;
  int silences_ = 0;
  /// The device whose day passes, if any.
  const DeviceDay* running_ = nullptr;
};

}  // namespace

SimulationResult simulate(const Scenario& scenario, const SimulationOptions& options,
                          Timeline& timeline) {
  return World(scenario, options, timeline).live();
}

}  // namespace ks::tool
