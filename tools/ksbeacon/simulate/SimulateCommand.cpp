#include "tools/ksbeacon/simulate/SimulateCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"
#include "tools/ksbeacon/options/ExitCode.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/options/PortalURL.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/options/Terminal.h"
#include "tools/ksbeacon/report/ReportPage.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/ExpectedNames.h"
#include "tools/ksbeacon/simulate/RepeatedWalks.h"
#include "tools/ksbeacon/simulate/Simulation.h"

namespace ks::tool {

namespace {

struct Arguments {
  std::string scenario;
  std::string documents;
  double until = -1;
  std::optional<std::uint64_t> seed;
  std::string state;
  std::string portal;
  std::string report;
  double speed = 0;
  std::uint64_t repeat = 0;
  std::string vary = "noise";
  std::vector<std::string> refinements;
  bool json = false;
  bool log = false;
  bool verbose = false;
};

/// A line on the terminal's error stream that tells how far long work is, from its first second on.
class ProgressLine {
 public:
  ProgressLine() : wanted_(errorIsTerminal() && !outputIsTerminal()) {}
  ~ProgressLine() {
    if (shown_) std::cerr << "\r\033[K" << std::flush;
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void show(double share) {
    const auto now = std::chrono::steady_clock::now();
    if (!wanted_ || now - last_ < std::chrono::milliseconds(500)) return;
    if (now - begin_ < std::chrono::seconds(1) || share <= 0) return;
    const double spent = std::chrono::duration<double>(now - begin_).count();
    std::cerr << fmt::format("\r{:3.0f}% simulated, about {:.0f} s left\033[K", share * 100,
                             spent / share - spent)
              << std::flush;
    last_ = now;
    shown_ = true;
  }

 private:
  bool wanted_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point last_ = begin_;
};

int complain(const std::string& text, int code) {
  std::cerr << "ksbeacon: " << text << '\n';
  return code;
}

/// Keeps the signals that end a program from ending it while it has something to clear away.
class Interruption {
 public:
  Interruption() {
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
      // What the caller has this ignore stays ignored.
      if (std::signal(number, note) == SIG_IGN) std::signal(number, SIG_IGN);
    }
  }
  static bool came() { return signal_ != 0; }
  /// As a shell tells the end by the signal.
  static int exitCode() { return 128 + signal_; }

 private:
  static void note(int number) {
    signal_ = number;
    // Whoever asks again does not want to wait.
    std::signal(number, SIG_DFL);
  }

  static inline volatile std::sig_atomic_t signal_ = 0;
};

/// Asked before the work, so that no long simulation ends in vain.
bool canBeWritten(const std::filesystem::path& file) {
  std::error_code ignored;
  const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
  return !std::filesystem::is_directory(file, ignored) && ::access(folder.c_str(), W_OK) == 0;
}

/// Makes the folder if need be.
bool canHoldFiles(const std::filesystem::path& folder) {
  return !makePrivateFolder(folder) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

bool isTrackFile(const std::filesystem::path& file) {
  std::string extension = file.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".gpx";
}

bool writeText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  stream.close();
  return stream.good();
}

/// The first expectation that failed, as a compiler would tell it.
int judge(const Scenario& scenario, const SimulationResult& result, bool json) {
  int met = 0;
  for (const Expectations::Outcome& outcome : result.outcomes) {
    if (!outcome.met) {
      return complain(fmt::format("{}:{}: expected: {}; {}", scenario.file.string(),
                                  outcome.expectation->line, outcome.expected, outcome.happened),
                      kFailure);
    }
    ++met;
  }
  if (!json && met > 0) std::cout << fmt::format("all {} expectations met\n", met);
  return kSuccess;
}

int complainOfSilence(const std::string& portalURL) {
  return complain(portalURL + ": the portal did not answer", kUnavailable);
}

int runRepeatedly(const Scenario& scenario, const SimulationOptions& options,
                  const Arguments& arguments) {
  const RepeatedWalks walks = repeatWalks(scenario, options, arguments.repeat);
  if (walks.interrupted) return Interruption::exitCode();
  if (!walks.failure.empty()) return complain(walks.failure, kUsage);
  if (walks.portalIsSilent) return complainOfSilence(options.portalURL);
  for (const auto& [content, fired] : walks.fired) {
    std::cout << (arguments.json
                      ? jsonText(Dictionary{
                            {"content", content}, {"fired", fired}, {"walks", walks.walks}})
                      : fmt::format("content {} fired in {} of {} walks", content, fired,
                                    walks.walks))
              << '\n';
  }
  if (walks.asExpected == walks.walks) return kSuccess;
  return complain(fmt::format("{}: {} of {} walks met all expectations", scenario.file.string(),
                              walks.asExpected, walks.walks),
                  kFailure);
}

int runSimulation(const Arguments& arguments) {
  const bool isTrack = isTrackFile(arguments.scenario);
  if (isTrack && arguments.documents.empty()) {
    return complain("a GPX track needs --documents DIR, the portal's documents", kUsage);
  }
  auto read = isTrack ? readTrackScenario(arguments.scenario, arguments.documents)
                      : readScenarioFile(arguments.scenario);
  if (auto* const error = std::get_if<InputError>(&read)) {
    return complain(error->message(), kUsage);
  }
  if (!arguments.report.empty() && !canBeWritten(arguments.report)) {
    return complain(arguments.report + ": expected a file in a folder that can be written", kUsage);
  }
  if (!arguments.state.empty() && !canHoldFiles(arguments.state)) {
    return complain(arguments.state + ": expected a folder that can be written", kUsage);
  }
  Scenario& scenario = std::get<Scenario>(read);
  if (!arguments.refinements.empty()) {
    scenario.application.refinements = refinementsIn(arguments.refinements);
  }
  if (const auto unknown =
          arguments.portal.empty() ? unknownExpectedName(scenario) : std::nullopt) {
    return complain(unknown->message(), kUsage);
  }

  SimulationOptions options;
  if (arguments.until >= 0) options.until = Seconds{arguments.until};
  options.seed = arguments.seed;
  options.state = arguments.state;
  options.portalURL = trimmedPortalURL(arguments.portal);
  options.log = arguments.log;
  options.speed = arguments.speed;
  options.everyRanging = arguments.json || arguments.verbose || !arguments.report.empty();
  if (!options.portalURL.empty() && !scenario.faults.empty()) {
    complain("the scenario's portal faults need the embedded portal and are left out", 0);
  }
  ProgressLine progress;
  options.progress = [&progress](double share) { progress.show(share); };
  const Interruption interruption;
  options.isInterrupted = Interruption::came;
  if (arguments.repeat > 0) return runRepeatedly(scenario, options, arguments);

  TimelinePrinter::Options form;
  form.form = arguments.json ? TimelinePrinter::Form::json : TimelinePrinter::Form::text;
  form.colours = !arguments.json && outputTakesColours();
  form.everything = arguments.verbose;
  form.log = arguments.log;
  TimelinePrinter printer(std::cout, scenario.start, form);
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) {
    printer.print(event);
    if (options.speed > 0) std::cout << std::flush;
  });

  ReportPage report(scenario);
  if (!arguments.report.empty()) {
    timeline.listen([&](const TimelineEvent& event) { report.note(event); });
  }

  const SimulationResult result = simulate(scenario, options, timeline);
  if (result.interrupted) return Interruption::exitCode();
  for (const std::string& message : result.portalMessages) complain(message, 0);
  // The embedded portal fails for its documents alone: it takes any free port.
  if (!result.failure.empty()) return complain(result.failure, kUsage);
  if (result.portalIsSilent) return complainOfSilence(options.portalURL);
  if (!arguments.report.empty() && !writeText(arguments.report, report.html())) {
    return complain(arguments.report + ": the page could not be written", kUsage);
  }
  return judge(scenario, result, arguments.json);
}

}  // namespace

void addSimulateCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command =
      app.add_subcommand("simulate", "Walk a simulated device through a scenario");
  command->footer(
      "Examples:\n"
      "  ksbeacon simulate examples/scenarios/demo.json           the timeline of a walk\n"
      "  ksbeacon simulate demo.json --json | jq .kind            one object per event\n"
      "  ksbeacon simulate demo.json --seed 7 --until 120         other noise, two minutes of it\n"
      "  ksbeacon simulate demo.json --report walk.html           a page to look at\n"
      "  ksbeacon simulate demo.json --repeat 100                 how often does each content "
      "fire?\n"
      "  ksbeacon simulate demo.json --speed 10                   ten times faster than real time\n"
      "  ksbeacon simulate demo.json --state ~/device             keep the device's files\n"
      "  ksbeacon simulate demo.json --portal http://127.0.0.1:8080/app\n"
      "  ksbeacon simulate walk.gpx --documents examples/portal   along a recorded track\n"
      "Exit codes: 0 all expectations met, 1 one failed, 2 a mistake in the scenario or the\n"
      "options, 3 the other portal did not answer; ended by a signal, 128 and its number.\n"
      "docs/scenarios.md describes scenarios, docs/timeline.md the output.");
  command->add_option("SCENARIO", arguments->scenario, "Scenario file, or a GPX track")->required();
  command
      ->add_option("--documents", arguments->documents,
                   "With a GPX track: the folder of the portal's documents")
      ->type_name("DIR");
  command->add_option("--until", arguments->until, "End after so many seconds of the day")
      ->type_name("SECONDS")
      ->check(numberBetween(0.001, 366.0 * 24 * 3600));
  command->add_option("--seed", arguments->seed, "Seed of all noise, instead of the scenario's")
      ->type_name("NUMBER")
      ->check(numberBetween<std::uint64_t>(0, 1'000'000'000'000'000));
  command
      ->add_option("--state", arguments->state, "Folder of the device's files, kept between runs")
      ->type_name("DIR");
  command
      ->add_option("--portal", arguments->portal,
                   "Root URL of another portal instead of the embedded one")
      ->type_name("URL")
      ->check(checkPortalURL);
  command
      ->add_option("--speed", arguments->speed, "Simulated seconds per real second; 1: real time")
      ->type_name("FACTOR")
      ->check(numberBetween(0.001, 100000.0));
  command
      ->add_option("--repeat", arguments->repeat,
                   "Walk so many times with other noise; tell how often each content fired")
      ->type_name("NUMBER")
      ->check(numberBetween(1, 100000))
      ->excludes("--state");
  command->add_option("--vary", arguments->vary, "What differs between the walks: noise")
      ->type_name("WHAT")
      ->check(CLI::IsMember(std::vector<std::string>{"noise"}).description(""))
      ->needs("--repeat");
  command
      ->add_option("--report", arguments->report,
                   "Write a page to look at: map, beacons and contents over time, timeline")
      ->type_name("FILE.html")
      ->excludes("--repeat");
  addRefinementOption(*command, arguments->refinements, "the scenario's unless given");
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->add_flag("--log", arguments->log, "Also the library's own trace");
  command->add_flag("--verbose", arguments->verbose, "Also every ranging result, changed or not");
  command->callback([arguments, &code] { code = runSimulation(*arguments); });
}

}  // namespace ks::tool
