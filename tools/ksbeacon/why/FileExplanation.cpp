#include "tools/ksbeacon/why/FileExplanation.h"

#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "tools/ksbeacon/documents/TemporaryFolder.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/replay/RecordedDocuments.h"
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

/// What the portal sent to the recorded device.
KnownZones zonesIn(const std::filesystem::path& recording) {
  auto reader = RecordingReader::open(recording);
  if (!reader) return {};
  RecordedDocuments documents;
  std::string portalURL;
  RecordedEvent event;
  while (reader.value().next(event)) {
    const Dictionary* const host = event.details["host"].dictionary();
    if (host != nullptr) portalURL = libraryOptionsIn(*host).portalURL;
    documents.note(event, portalURL);
  }
  const TemporaryFolder folder;
  if (!documents.write(folder.path())) return {};
  return {documentedZones(folder.path()), false};
}

}  // namespace

std::variant<WhyAnswer, std::string> explainFile(const WhyQuestion& question) {
  std::optional<Scenario> scenario;
  std::filesystem::path documents = question.documents;
  if (asciiLowerCased(question.file.extension().string()) == ".json") {
    auto read = readScenarioFile(question.file);
    if (const auto* const error = std::get_if<InputError>(&read)) return error->message();
    auto chosen = chooseDevice(std::get<Scenario>(std::move(read)), question.device);
    if (const auto* const error = std::get_if<InputError>(&chosen)) return error->message();
    scenario = std::get<Scenario>(std::move(chosen));
    if (!scenario->devices.empty()) {
      return "the scenario has several devices; name one of " + deviceNames(*scenario);
    }
    if (documents.empty()) documents = scenario->portal.documents;
  }
  const KnownZones known =
      documents.empty() ? zonesIn(question.file) : KnownZones{documentedZones(documents), true};
  Chronicle chronicle;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { chronicle.note(event); });
  std::string failure = follow(question, scenario ? &*scenario : nullptr, timeline);
  if (!failure.empty()) return failure;
  return explain(chronicle, question.subject, known);
}

std::string whyJson(const WhyAnswer& answer) { return jsonText(whyDetails(answer)); }

}  // namespace ks::tool
