#include "tools/ksbeacon/replay/ReplayCommand.h"

#include <memory>

#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/replay/ReplayJob.h"

namespace ks::tool {

void addReplayCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<ReplayArguments>();
  CLI::App* const command = app.add_subcommand("replay", "Live through a recording again");
  command->footer(
      "Examples:\n"
      "  ksbeacon replay day.ksrec                                the timeline of the recorded "
      "day\n"
      "  ksbeacon replay day.ksrec --json | jq .kind              one object per event\n"
      "  ksbeacon replay day.ksrec --from 3600 --until 7200       its second hour\n"
      "  ksbeacon replay day.ksrec --documents new/               the same day, other documents\n"
      "  ksbeacon replay day.ksrec --documents new/ --compare     what would have fired otherwise\n"
      "  ksbeacon replay day.ksrec --report day.html              a page to look at\n"
      "  ksbeacon replay day.ksrec --as-scenario day.json         a scenario to edit\n"
      "  ksbeacon replay day.ksrec --expect day.expect.json       hold it against expectations\n"
      "Recordings are made by simulate --record and run --record.\n"
      "Exit codes: 0 it went as it did when it was recorded, 1 it departed or an expectation "
      "failed,\n"
      "2 a mistake in the options or no recording; ended by a signal, 128 and its number.\n"
      "docs/recordings.md tells what a recording holds.");
  command
      ->add_option("FILE", arguments->recordings,
                   "The recording; with --compare any number of them")
      ->required();
  command->add_option("--from", arguments->from, "Show events from so many seconds on")
      ->type_name("SECONDS")
      ->check(numberBetween(0.0, 366.0 * 24 * 3600));
  command->add_option("--until", arguments->until, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(numberBetween(0.001, 366.0 * 24 * 3600));
  command
      ->add_option("--documents", arguments->documents,
                   "Folder of a portal's documents instead of the recorded replies")
      ->type_name("DIR");
  addRefinementOption(*command, arguments->refinements, "the recording's unless given");
  command->add_flag(
      "--compare", arguments->compare,
      "Only what differs under the other rules: by content, by hour and by recording");
  command
      ->add_option("--report", arguments->report,
                   "Write a page to look at: map, beacons and contents over time, timeline; with "
                   "--compare both days")
      ->type_name("FILE.html");
  command
      ->add_option(
          "--as-scenario", arguments->asScenario,
          "Write a scenario like the day, and beside it the portal's documents that it saw")
      ->type_name("FILE.json")
      ->excludes("--compare");
  command->add_option("--expect", arguments->expect, "File of what must have happened")
      ->type_name("FILE.json")
      ->excludes("--compare");
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->add_flag("--verbose", arguments->verbose, "Also every ranging result, changed or not");
  command->callback([arguments, &code] { code = runReplayJob(*arguments); });
}

}  // namespace ks::tool
