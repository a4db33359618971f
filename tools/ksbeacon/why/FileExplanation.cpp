#include "tools/ksbeacon/why/FileExplanation.h"

#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"

namespace ks::tool {

namespace {

/// Lives through the file up to the moment; why that could not be done, or nothing.
std::string follow(const WhyQuestion& question, const Scenario* scenario, Timeline& timeline) {
  if (scenario != nullptr) {
    SimulationOptions options;
    options.until = question.at;
    return simulate(*scenario, options, timeline).failure;
  }
  ReplayOptions options;
  options.until = question.at;
  options.everyRanging = true;
  const ReplayResult result = replay(question.file, options, timeline);
  return result.failure + result.departure;
}

}  // namespace

std::variant<WhyAnswer, std::string> explainFile(const WhyQuestion& question) {
  std::optional<Scenario> scenario;
  std::filesystem::path documents = question.documents;
  if (asciiLowerCased(question.file.extension().string()) == ".json") {
    auto read = readScenarioFile(question.file);
    if (const auto* const error = std::get_if<InputError>(&read)) return error->message();
    scenario = std::get<Scenario>(std::move(read));
    if (documents.empty()) documents = scenario->portal.documents;
  }
  const auto known = documents.empty() ? std::vector<DocumentedZone>{} : documentedZones(documents);
  Chronicle chronicle;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { chronicle.note(event); });
  std::string failure = follow(question, scenario ? &*scenario : nullptr, timeline);
  if (!failure.empty()) return failure;
  return explain(chronicle, question.subject, known);
}

std::string whyJson(const WhyAnswer& answer) { return jsonText(whyDetails(answer)); }

}  // namespace ks::tool
