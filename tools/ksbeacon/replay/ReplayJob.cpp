#include "tools/ksbeacon/replay/ReplayJob.h"

#include <fmt/format.h>

#include <iostream>
#include <optional>

#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/PrintableText.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/replay/Comparison.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/simulate/Interruption.h"

namespace ks::tool {

namespace {

ReplayOptions optionsFor(const ReplayArguments& arguments) {
  ReplayOptions options;
  if (arguments.until >= 0) options.until = Seconds{arguments.until};
  options.everyRanging = arguments.json || arguments.verbose;
  options.documents = arguments.documents;
  if (!arguments.refinements.empty()) options.refinements = refinementsIn(arguments.refinements);
  options.isInterrupted = Interruption::came;
  return options;
}

TimelinePrinter::Options formFor(const ReplayArguments& arguments) {
  TimelinePrinter::Options form;
  form.form = arguments.json ? TimelinePrinter::Form::json : TimelinePrinter::Form::text;
  form.colours = !arguments.json && outputTakesColours();
  form.everything = arguments.verbose;
  return form;
}

/// The exit code of a replay that did not come to its end as it should; nothing when it did.
std::optional<int> objectionTo(const ReplayResult& result, const ReplayArguments& arguments) {
  if (!result.failure.empty()) return complain(result.failure, kUsage);
  if (result.interrupted) return Interruption::exitCode();
  if (!result.departure.empty()) {
    return complain(arguments.recording + ": departs from the recording at " + result.departure,
                    kFailure);
  }
  if (!result.isWhole) warn(arguments.recording + ": the end is torn; replayed as far as it goes");
  return std::nullopt;
}

void print(const Comparison& comparison, bool json) {
  for (const Comparison::Difference& each : comparison.differences()) {
    const Dictionary line{{"content", each.content},
                          {"before", static_cast<std::uint64_t>(each.before)},
                          {"after", static_cast<std::uint64_t>(each.after)},
                          {"shift", each.shift.count()}};
    std::cout << (json ? jsonText(line) : printable(inWords(each))) << '\n';
  }
  for (const auto& [hour, fired] : comparison.hours()) {
    const Dictionary line{{"hour", hour},
                          {"before", static_cast<std::uint64_t>(fired.first)},
                          {"after", static_cast<std::uint64_t>(fired.second)}};
    std::cout << (json ? jsonText(line)
                       : fmt::format("hour {}: {} contents fire instead of {}", hour, fired.second,
                                     fired.first))
              << '\n';
  }
  if (!json && comparison.differences().empty()) std::cout << "nothing differs\n";
}

/// The day as it was recorded, then under the other rules.
int compare(const ReplayArguments& arguments) {
  Comparison comparison;
  const Interruption interruption;
  ReplayOptions options = optionsFor(arguments);
  options.everyRanging = false;
  if (!options.hasOtherRules()) {
    return complain("--compare needs other rules: --documents or --refinements", kUsage);
  }
  for (const auto run : {Comparison::Run::before, Comparison::Run::after}) {
    Timeline timeline;
    timeline.listen([&](const TimelineEvent& event) { comparison.note(run, event); });
    ReplayOptions rules = options;
    if (run == Comparison::Run::before) {
      rules.documents.clear();
      rules.refinements.reset();
    }
    const auto objection = objectionTo(replay(arguments.recording, rules, timeline), arguments);
    if (objection) return *objection;
  }
  print(comparison, arguments.json);
  return kSuccess;
}

}  // namespace

int runReplayJob(const ReplayArguments& arguments) {
  if (arguments.compare) return compare(arguments);
  std::optional<TimelinePrinter> printer;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) {
    if (event.at.count() >= arguments.from) printer->print(event);
  });
  const Interruption interruption;
  const ReplayResult result =
      replay(arguments.recording, optionsFor(arguments), timeline,
             [&](Date start) { printer.emplace(std::cout, start, formFor(arguments)); });
  return objectionTo(result, arguments).value_or(kSuccess);
}

}  // namespace ks::tool
