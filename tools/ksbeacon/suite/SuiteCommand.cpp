#include "tools/ksbeacon/suite/SuiteCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/OutputPlace.h"
#include "tools/ksbeacon/simulate/Interruption.h"
#include "tools/ksbeacon/suite/Suite.h"

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::vector<std::string> paths;
  std::uint64_t repeat = 1;
  std::optional<std::uint64_t> seed;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::string junit;
  bool watch = false;
};

int testOnce(const Arguments& arguments) {
  const std::vector<fs::path> files = suiteFiles(arguments.paths);
  if (files.empty()) return complain("there is no scenario and no recording", kUsage);
  const auto cases =
      runSuite(files, {arguments.repeat, arguments.seed, arguments.jobs, Interruption::came});
  if (Interruption::came()) return Interruption::exitCode();
  std::size_t passed = 0;
  for (const SuiteCase& tested : cases) {
    for (const std::string& fault : faultsOf(tested)) std::cout << printable(fault) << '\n';
    if (tested.hasPassed()) ++passed;
  }
  std::cout << fmt::format("{} of {} passed\n", passed, cases.size()) << std::flush;
  if (!arguments.junit.empty() && !writeText(arguments.junit, junitXml(cases))) {
    return complain(arguments.junit + ": the report could not be written", kUsage);
  }
  return passed == cases.size() ? kSuccess : kFailure;
}

/// The latest change of anything that the suite reads.
fs::file_time_type lastChange(const std::vector<std::string>& paths) {
  fs::file_time_type last = fs::file_time_type::min();
  std::error_code error;
  for (const std::string& path : paths) {
    last = std::max(last, fs::last_write_time(path, error));
    if (!fs::is_directory(path, error)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(path, error)) {
      last = std::max(last, entry.last_write_time(error));
    }
  }
  return last;
}

int testAgainAndAgain(const Arguments& arguments) {
  constexpr std::chrono::milliseconds kBetweenLooks{300};
  while (true) {
    const auto seen = lastChange(arguments.paths);
    testOnce(arguments);
    while (!Interruption::came() && lastChange(arguments.paths) == seen) {
      std::this_thread::sleep_for(kBetweenLooks);
    }
    if (Interruption::came()) return Interruption::exitCode();
  }
}

}  // namespace

void addSuiteCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("test", "Test scenarios and recordings");
  command->footer(
      "Examples:\n"
      "  ksbeacon test examples                       every scenario and recording below\n"
      "  ksbeacon test demo.json --repeat 40          in 40 walks: which expectation fails in "
      "which\n"
      "  ksbeacon test demo.json --seed 7             one of these walks again\n"
      "  ksbeacon test examples --junit report.xml    for a build server\n"
      "Exit codes: 0 all passed, 1 one failed, 2 a mistake in the options; ended by a signal, 128\n"
      "and its number.");
  command->add_option("PATH", arguments->paths, "Scenarios, recordings, and folders of them")
      ->required();
  command->add_option("--repeat", arguments->repeat, "Walks of each scenario, with other noise")
      ->type_name("COUNT")
      ->check(numberBetween<std::uint64_t>(1, 1'000'000));
  command
      ->add_option("--seed", arguments->seed, "Seed of the first walk, instead of the scenario's")
      ->type_name("NUMBER")
      ->check(numberBetween<std::uint64_t>(0, 1'000'000'000'000'000));
  command
      ->add_option("--jobs", arguments->jobs, "Walks at a time; the machine's cores unless given")
      ->type_name("COUNT")
      ->check(numberBetween(1U, 256U));
  command->add_option("--junit", arguments->junit, "Also write a JUnit report")
      ->type_name("FILE.xml");
  command->add_flag("--watch", arguments->watch, "Test again whenever a file changes");
  command->callback([arguments, &code] {
    const Interruption interruption;
    code = arguments->watch ? testAgainAndAgain(*arguments) : testOnce(*arguments);
  });
}

}  // namespace ks::tool
