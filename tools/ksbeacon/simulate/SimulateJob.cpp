#include "tools/ksbeacon/simulate/SimulateJob.h"

#include <fmt/format.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/options/PortalURL.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/OutputPlace.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/report/ReportPage.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/scenario/Visitor.h"
#include "tools/ksbeacon/simulate/ExpectedNames.h"
#include "tools/ksbeacon/simulate/Interruption.h"
#include "tools/ksbeacon/simulate/ProgressLine.h"
#include "tools/ksbeacon/simulate/RepeatedWalks.h"
#include "tools/ksbeacon/simulate/Simulation.h"
#include "tools/ksbeacon/simulate/SiteZones.h"

namespace ks::tool {

namespace {

bool isTrack(const SimulateArguments& arguments) {
  return asciiLowerCased(std::filesystem::path(arguments.scenario).extension().string()) == ".gpx";
}

std::variant<Scenario, InputError> readJob(const SimulateArguments& arguments) {
  if (!isTrack(arguments)) return readScenarioFile(arguments.scenario);
  return readTrackScenario(arguments.scenario, arguments.documents);
}

/// Why the files asked for cannot be written; empty when they can.
std::string objectionToFiles(const SimulateArguments& arguments) {
  if (!arguments.report.empty() && !canBeWritten(arguments.report)) {
    return arguments.report + ": expected a file in a folder that can be written";
  }
  if (!arguments.record.empty() && !canBeWritten(arguments.record)) {
    return arguments.record + ": expected a file in a folder that can be written";
  }
  if (!arguments.state.empty() && !canHoldFiles(arguments.state)) {
    return arguments.state + ": expected a folder that can be written";
  }
  return "";
}

SimulationOptions optionsFor(const SimulateArguments& arguments) {
  SimulationOptions options;
  if (arguments.until >= 0) options.until = Seconds{arguments.until};
  options.seed = arguments.seed;
  options.state = arguments.state;
  options.portalURL = trimmedPortalURL(arguments.portal);
  options.startPortal = startHttpPortal;
  options.log = arguments.log;
  options.speed = arguments.speed;
  options.everyRanging = arguments.json || arguments.verbose || !arguments.report.empty();
  options.isInterrupted = Interruption::came;
  return options;
}

TimelinePrinter::Options formFor(const SimulateArguments& arguments) {
  TimelinePrinter::Options form;
  form.form = arguments.json ? TimelinePrinter::Form::json : TimelinePrinter::Form::text;
  form.colours = !arguments.json && outputTakesColours();
  form.everything = arguments.verbose;
  form.log = arguments.log;
  return form;
}

int complainOfSilence(const std::string& portalURL) {
  return complain(portalURL + ": the portal did not answer", kUnavailable);
}

/// Of several devices only one can be recorded, shown on a page or watched as it walks.
std::string objectionToDevices(const SimulateArguments& arguments, const Scenario& scenario) {
  const bool isForOne =
      !arguments.report.empty() || !arguments.record.empty() || arguments.speed > 0;
  if (scenario.devices.empty() || !isForOne) return "";
  return "--report, --record and --speed take one device: add --device, one of " +
         deviceNames(scenario);
}

/// The first expectation that failed, as a compiler would tell it.
int judge(const Scenario& scenario, const SimulationResult& result, bool json) {
  for (const Expectations::Outcome& outcome : result.outcomes) {
    if (outcome.met) continue;
    return complain(fmt::format("{}:{}: expected: {}; {}", scenario.file.string(),
                                outcome.expectation->line, outcome.expected, outcome.happened),
                    kFailure);
  }
  if (result.breaches > 0) {
    return complain(fmt::format("{}: what must always hold did not, {} times; see the lines of the "
                                "kind \"breach\"",
                                scenario.file.string(), result.breaches),
                    kFailure);
  }
  if (!json && !result.outcomes.empty()) {
    std::cout << fmt::format("all {} expectations met\n", result.outcomes.size());
  }
  return kSuccess;
}

int walkRepeatedly(const Scenario& scenario, const SimulationOptions& options,
                   const SimulateArguments& arguments) {
  const RepeatedWalks walks = repeatWalks(scenario, options, arguments.repeat);
  if (walks.interrupted) return Interruption::exitCode();
  if (!walks.failure.empty()) return complain(walks.failure, kUsage);
  if (walks.portalIsSilent) return complainOfSilence(options.portalURL);
  for (const auto& [content, fired] : walks.fired) {
    const Dictionary tally{{"content", content}, {"fired", fired}, {"walks", walks.walks}};
    std::cout << (arguments.json ? jsonText(tally)
                                 : fmt::format("content {} fired in {} of {} walks",
                                               printable(content), fired, walks.walks))
              << '\n';
  }
  if (walks.asExpected == walks.walks) return kSuccess;
  return complain(fmt::format("{}: {} of {} walks met all expectations", scenario.file.string(),
                              walks.asExpected, walks.walks),
                  kFailure);
}

int walkOnce(const Scenario& scenario, const SimulationOptions& options,
             const SimulateArguments& arguments) {
  TimelinePrinter printer(std::cout, scenario.start, formFor(arguments));
  const bool isReported = !arguments.report.empty();
  ReportPage report(isReported ? KnownZones{documentedZones(scenario.portal.documents), true}
                               : KnownZones{});
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) {
    printer.print(event);
    if (options.speed > 0) std::cout << std::flush;
    if (isReported) report.note(event);
  });
  const SimulationResult result = simulate(scenario, options, timeline);
  if (options.recording != nullptr) {
    options.recording->flush();
    if (options.recording->error()) {
      warn("the recording is not whole: " + options.recording->error()->localizedDescription());
    }
  }
  if (result.interrupted) return Interruption::exitCode();
  for (const std::string& message : result.portalMessages) warn(message);
  // The embedded portal fails for its documents alone: it takes any free port.
  if (!result.failure.empty()) return complain(result.failure, kUsage);
  if (result.portalIsSilent) return complainOfSilence(options.portalURL);
  if (isReported && !writeText(arguments.report, report.html(scenario))) {
    return complain(arguments.report + ": the page could not be written", kUsage);
  }
  return judge(scenario, result, arguments.json);
}

}  // namespace

int runSimulateJob(const SimulateArguments& arguments) {
  if (isTrack(arguments) && arguments.documents.empty()) {
    return complain("a GPX track needs --documents DIR, the portal's documents", kUsage);
  }
  auto read = readJob(arguments);
  if (const auto* const error = std::get_if<InputError>(&read)) {
    return complain(error->message(), kUsage);
  }
  const std::string objection = objectionToFiles(arguments);
  if (!objection.empty()) return complain(objection, kUsage);
  auto chosen = chooseDevice(std::get<Scenario>(std::move(read)), arguments.device);
  if (const auto* const error = std::get_if<InputError>(&chosen)) {
    return complain(error->message(), kUsage);
  }
  Scenario& scenario = std::get<Scenario>(chosen);
  const std::string several = objectionToDevices(arguments, scenario);
  if (!several.empty()) return complain(several, kUsage);
  if (!arguments.refinements.empty()) {
    scenario.application.refinements = refinementsIn(arguments.refinements);
    for (Scenario& each : scenario.devices) {
      each.application.refinements = scenario.application.refinements;
    }
  }
  SimulationOptions options = optionsFor(arguments);
  const bool isOwnPortal = options.portalURL.empty();
  if (arguments.visitor > 0) {
    if (!scenario.population) {
      return complain(arguments.scenario + R"(: --visitor needs a "population")", kUsage);
    }
    scenario = visitorOf(scenario, arguments.visitor);
    const auto zones = siteZones(scenario);
    if (!zones) return complain(zones.error().localizedDescription(), kUsage);
    options.presences = presencesOf(scenario, zones.value());
  }
  const auto unknown = isOwnPortal ? unknownExpectedName(scenario) : std::nullopt;
  if (unknown) return complain(unknown->message(), kUsage);
  if (!isOwnPortal && !scenario.faults.empty()) {
    warn("the scenario's portal faults need the embedded portal and are left out");
  }
  ProgressLine progress;
  options.progress = [&progress](double share) { progress.show(share); };
  const Interruption interruption;
  std::unique_ptr<RecordingWriter> recording;
  if (!arguments.record.empty()) {
    auto made = RecordingWriter::create(arguments.record, {arguments.isPrivate});
    if (!made) return complain(made.error().localizedDescription(), kUsage);
    recording = std::move(made.value());
    options.recording = recording.get();
  }
  return arguments.repeat > 0 ? walkRepeatedly(scenario, options, arguments)
                              : walkOnce(scenario, options, arguments);
}

}  // namespace ks::tool
