#include "tools/ksbeacon/why/WhyCommand.h"

#include <fmt/format.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/PrintableText.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"
#include "tools/ksbeacon/why/Explanation.h"

namespace ks::tool {

namespace {

struct Arguments {
  std::string subject;
  std::string file;
  /// Seconds; below 0: at the end.
  double at = -1;
  std::string documents;
  bool json = false;
};

const char* stateName(WhyLink::State state) {
  static constexpr const char* kNames[] = {"holds", "broken", "unknown"};
  return kNames[static_cast<std::size_t>(state)];
}

void print(const WhyAnswer& answer, bool asJson) {
  if (!asJson) {
    static constexpr const char* kSigns[] = {"yes", "NO", "?"};
    for (const WhyLink& link : answer.links) {
      std::cout << fmt::format("{:<13} {:<4} {}\n", link.name,
                               kSigns[static_cast<std::size_t>(link.state)], printable(link.text));
    }
    std::cout << printable(answer.conclusion) << '\n';
    return;
  }
  std::vector<Value> links;
  for (const WhyLink& link : answer.links) {
    links.push_back(
        Dictionary{{"link", link.name}, {"state", stateName(link.state)}, {"text", link.text}});
  }
  std::cout << jsonText(Dictionary{{"fired", answer.fired},
                                   {"links", Array(std::move(links))},
                                   {"conclusion", answer.conclusion}})
            << '\n';
}

/// Lives through the file up to the moment; why that could not be done, or nothing.
std::string follow(const Arguments& arguments, const Scenario* scenario, Timeline& timeline) {
  std::optional<Seconds> until;
  if (arguments.at >= 0) until = Seconds{arguments.at};
  if (scenario != nullptr) {
    SimulationOptions options;
    options.until = until;
    return simulate(*scenario, options, timeline).failure;
  }
  ReplayOptions options;
  options.until = until;
  options.everyRanging = true;
  const ReplayResult result = replay(arguments.file, options, timeline);
  return result.failure + result.departure;
}

int explain(const Arguments& arguments) {
  const bool isScenario =
      asciiLowerCased(std::filesystem::path(arguments.file).extension().string()) == ".json";
  std::optional<Scenario> scenario;
  std::filesystem::path documents = arguments.documents;
  if (isScenario) {
    auto read = readScenarioFile(arguments.file);
    if (const auto* const error = std::get_if<InputError>(&read)) {
      return complain(error->message(), kUsage);
    }
    scenario = std::get<Scenario>(std::move(read));
    if (documents.empty()) documents = scenario->portal.documents;
  }
  Explanation explanation(arguments.subject, documents.empty() ? std::vector<DocumentedZone>{}
                                                               : documentedZones(documents));
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { explanation.note(event); });
  const std::string failure = follow(arguments, scenario ? &*scenario : nullptr, timeline);
  if (!failure.empty()) return complain(failure, kUsage);
  print(explanation.answer(), arguments.json);
  return kSuccess;
}

}  // namespace

void addWhyCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("why", "Why a content fired or did not");
  command->footer(
      "Examples:\n"
      "  ksbeacon why coffee examples/scenarios/demo.json            at the end of the walk\n"
      "  ksbeacon why coffee examples/scenarios/demo.json --at 60    at a moment\n"
      "  ksbeacon why b-cafe day.ksrec --documents portal/           of a recorded day\n"
      "Answers link by link, from the portal to the screen, and with one sentence: what would "
      "have\n"
      "to change for it to fire.\n"
      "Exit codes: 0 answered, 2 a mistake in the options or in the file.");
  command->add_option("NAME", arguments->subject, "Identifier of a content or a zone")->required();
  command->add_option("FILE", arguments->file, "A scenario or a recording")->required();
  command->add_option("--at", arguments->at, "So many seconds after the start; else at the end")
      ->type_name("SECONDS")
      ->check(numberBetween(0.001, 366.0 * 24 * 3600));
  command
      ->add_option("--documents", arguments->documents,
                   "Folder of the portal's documents; a scenario names its own")
      ->type_name("DIR");
  command->add_flag("--json", arguments->json, "One JSON object");
  command->callback([arguments, &code] { code = explain(*arguments); });
}

}  // namespace ks::tool
