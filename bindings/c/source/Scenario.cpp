#include <variant>

#include "bindings/c/source/Application.h"
#include "bindings/c/source/EventView.h"
#include "bindings/c/source/Occupation.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/scenario/Visitor.h"
#include "tools/ksbeacon/simulate/PopulationText.h"
#include "tools/ksbeacon/simulate/Simulation.h"
#include "tools/ksbeacon/simulate/SiteZones.h"
#include "tools/ksbeacon/why/FileExplanation.h"

namespace {

using ks::capi::Failure;

ks::tool::Scenario readScenario(const std::string& path, const ks_scenario_options& options) {
  auto read = ks::tool::readScenarioFile(path);
  if (const auto* const error = std::get_if<ks::tool::InputError>(&read)) {
    throw Failure(KS_ERROR_INPUT, error->message());
  }
  auto& scenario = std::get<ks::tool::Scenario>(read);
  if (options.refinements != nullptr) {
    scenario.application.refinements = ks::capi::refinementsFrom(options.refinements);
  }
  if (options.documents != nullptr) scenario.portal.documents = options.documents;
  return std::move(scenario);
}

ks::tool::SimulationOptions simulationOptions(const ks_scenario_options& options) {
  ks::tool::SimulationOptions made;
  if (options.has_seed != 0) made.seed = options.seed;
  if (options.until > 0) made.until = ks::Seconds{options.until};
  made.everyRanging = options.every_ranging != 0;
  made.log = options.log != 0;
  return made;
}

std::vector<ks::tool::SiteZone> zonesOf(const ks::tool::Scenario& scenario) {
  if (!scenario.population) {
    throw Failure(KS_ERROR_INPUT, scenario.file.string() + R"(: expected a "population")");
  }
  auto zones = ks::tool::siteZones(scenario);
  if (!zones) throw Failure(KS_ERROR_INPUT, zones.error().localizedDescription());
  return std::move(zones.value());
}

/// What a campaign does, without what the device did for it.
bool isEffect(ks::tool::TimelineKind kind) {
  using enum ks::tool::TimelineKind;
  return kind == trigger || kind == refusal || kind == notification || kind == statistic ||
         kind == presence;
}

/// Hands events to the caller until it ends the run.
class Listener {
 public:
  using Callback = int32_t (*)(void*, const ks_event*);
  Listener(Callback callback, void* userData) : callback_(callback), userData_(userData) {}

  void follow(ks::tool::Timeline& timeline) {
    timeline.listen([this](const ks::tool::TimelineEvent& event) {
      if (callback_ == nullptr || isEnded_ || (effectsOnly && !isEffect(event.kind))) return;
      const ks::capi::EventView view(event, start);
      isEnded_ = callback_(userData_, &view.event()) != 0;
    });
  }
  bool isEnded() const { return isEnded_; }
  /// Throws `Failure` when the caller ended it.
  void check() const {
    if (isEnded_) throw Failure(KS_ERROR_STATE, "the caller ended the run");
  }

  /// The moment from which events count.
  ks::Date start;
  bool effectsOnly = false;

 private:
  Callback callback_;
  void* userData_;
  bool isEnded_ = false;
};

void report(const ks::tool::SimulationResult& outcome, ks_scenario_result* result) {
  if (result == nullptr) return;
  ks_scenario_result made{};
  const auto room = ks::capi::taken(result, "result").size;
  made.size = room;
  for (const auto& expectation : outcome.outcomes) {
    ++made.expectations;
    if (expectation.met) ++made.met;
  }
  std::memcpy(result, &made, room < sizeof(made) ? room : sizeof(made));
}

}  // namespace

ks_status ks_run_scenario(const char* path, const ks_scenario_options* given,
                          int32_t (*event)(void*, const ks_event*), void* user_data,
                          ks_scenario_result* result) {
  return ks::capi::guarded([&] {
    const ks::capi::Occupation occupation;
    ks_scenario_options options{};
    if (given != nullptr) options = ks::capi::taken(given, "options");
    ks::tool::Scenario scenario = readScenario(ks::capi::required(path, "path"), options);
    ks::tool::SimulationOptions simulation = simulationOptions(options);
    if (options.visitor != 0) {
      const auto zones = zonesOf(scenario);
      if (options.has_seed != 0) scenario.seed = options.seed;
      simulation.seed.reset();
      scenario = ks::tool::visitorOf(scenario, options.visitor);
      simulation.presences = ks::tool::presencesOf(scenario, zones);
    }
    Listener listener(event, user_data);
    listener.effectsOnly = options.effects_only != 0;
    listener.start = scenario.start;
    simulation.isInterrupted = [&] { return listener.isEnded(); };
    ks::tool::Timeline timeline;
    listener.follow(timeline);
    const auto outcome = ks::tool::simulate(scenario, simulation, timeline);
    if (!outcome.failure.empty()) throw Failure(KS_ERROR_INPUT, outcome.failure);
    listener.check();
    report(outcome, result);
  });
}

ks_status ks_population(const char* path, const ks_scenario_options* given,
                        void (*told)(void*, const char*), void* user_data) {
  return ks::capi::guarded([&] {
    if (told == nullptr) throw Failure(KS_ERROR_ARGUMENT, "told is null");
    ks_scenario_options options{};
    if (given != nullptr) options = ks::capi::taken(given, "options");
    const auto scenario = readScenario(ks::capi::required(path, "path"), options);
    told(user_data, ks::tool::populationJson(scenario, zonesOf(scenario)).c_str());
  });
}

ks_status ks_replay(const char* path, const ks_scenario_options* given,
                    int32_t (*event)(void*, const ks_event*), void* user_data) {
  return ks::capi::guarded([&] {
    const ks::capi::Occupation occupation;
    ks_scenario_options asked{};
    if (given != nullptr) asked = ks::capi::taken(given, "options");
    Listener listener(event, user_data);
    ks::tool::ReplayOptions options;
    if (asked.until > 0) options.until = ks::Seconds{asked.until};
    options.everyRanging = asked.every_ranging != 0;
    options.documents = ks::capi::optional(asked.documents);
    if (asked.refinements != nullptr) {
      options.refinements = ks::capi::refinementsFrom(asked.refinements);
    }
    options.isInterrupted = [&] { return listener.isEnded(); };
    ks::tool::Timeline timeline;
    listener.follow(timeline);
    const auto outcome = ks::tool::replay(ks::capi::required(path, "path"), options, timeline,
                                          [&](ks::Date start) { listener.start = start; });
    if (!outcome.failure.empty()) throw Failure(KS_ERROR_INPUT, outcome.failure);
    listener.check();
    if (!outcome.departure.empty()) {
      throw Failure(KS_ERROR_STATE, "departs from the recording at " + outcome.departure);
    }
  });
}

ks_status ks_why(const char* path, const char* name, double at, const char* documents,
                 void (*told)(void*, const char*), void* user_data) {
  return ks::capi::guarded([&] {
    const ks::capi::Occupation occupation;
    if (told == nullptr) throw Failure(KS_ERROR_ARGUMENT, "told is null");
    ks::tool::WhyQuestion question{ks::capi::required(name, "name"),
                                   ks::capi::required(path, "path"), std::nullopt,
                                   ks::capi::optional(documents)};
    if (at >= 0) question.at = ks::Seconds{at};
    const auto answer = ks::tool::explainFile(question);
    if (const auto* const failure = std::get_if<std::string>(&answer)) {
      throw Failure(KS_ERROR_INPUT, *failure);
    }
    told(user_data, ks::tool::whyJson(std::get<ks::tool::WhyAnswer>(answer)).c_str());
  });
}
