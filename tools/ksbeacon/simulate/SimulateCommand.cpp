#include "tools/ksbeacon/simulate/SimulateCommand.h"

#include <memory>
#include <string>
#include <vector>

#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/options/PortalURL.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/simulate/SimulateJob.h"

namespace ks::tool {

void addSimulateCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<SimulateArguments>();
  CLI::App* const command =
      app.add_subcommand("simulate", "Walk a simulated device through a scenario");
  command->footer(
      "Examples:\n"
      "  ksbeacon simulate examples/scenarios/demo.json           the timeline of a walk\n"
      "  ksbeacon simulate demo.json --json | jq .kind            one object per event\n"
      "  ksbeacon simulate demo.json --seed 7 --until 120         other noise, two minutes of it\n"
      "  ksbeacon simulate demo.json --report walk.html           a page to look at\n"
      "  ksbeacon simulate demo.json --record day.ksrec           for ksbeacon replay\n"
      "  ksbeacon simulate demo.json --repeat 100                 how often does each content "
      "fire?\n"
      "  ksbeacon simulate visitors.json --visitor 7              one of the population\n"
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
      ->add_option("--visitor", arguments->visitor,
                   "Walk as this visitor of the scenario's population, from 1")
      ->type_name("NUMBER")
      ->check(numberBetween<std::uint64_t>(1, 1'000'000'000));
  command
      ->add_option("--state", arguments->state, "Folder of the device's files, kept between runs")
      ->type_name("DIR");
  command
      ->add_option("--device", arguments->device,
                   "Of several devices in the scenario: only this one")
      ->type_name("NAME");
  command
      ->add_option("--portal", arguments->portal,
                   "Root URL of another portal instead of the embedded one")
      ->type_name("URL")
      ->check(checkPortalURL);
  command
      ->add_option("--record", arguments->record,
                   "Record what enters the device, for ksbeacon replay")
      ->type_name("FILE");
  command->add_flag("--private", arguments->isPrivate,
                    "Leave tags out of the recording and round its positions");
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
  command->callback([arguments, &code] { code = runSimulateJob(*arguments); });
}

}  // namespace ks::tool
