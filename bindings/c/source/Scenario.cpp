#include <variant>

#include "bindings/c/source/Application.h"
#include "bindings/c/source/EventView.h"
#include "bindings/c/source/Occupation.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"

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
    const ks::tool::Scenario scenario = readScenario(ks::capi::required(path, "path"), options);
    ks::tool::SimulationOptions simulation = simulationOptions(options);
    bool isEnded = false;
    simulation.isInterrupted = [&] { return isEnded; };
    ks::tool::Timeline timeline;
    timeline.listen([&](const ks::tool::TimelineEvent& happened) {
      if (event == nullptr || isEnded) return;
      const ks::capi::EventView view(happened, scenario.start);
      isEnded = event(user_data, &view.event()) != 0;
    });
    const auto outcome = ks::tool::simulate(scenario, simulation, timeline);
    if (!outcome.failure.empty()) throw Failure(KS_ERROR_INPUT, outcome.failure);
    if (isEnded) throw Failure(KS_ERROR_STATE, "the caller ended the run");
    report(outcome, result);
  });
}
