#include "tools/ksbeacon/replay/ReplayJob.h"

#include <iostream>
#include <optional>

#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/simulate/Interruption.h"

namespace ks::tool {

namespace {

ReplayOptions optionsFor(const ReplayArguments& arguments) {
  ReplayOptions options;
  if (arguments.until >= 0) options.until = Seconds{arguments.until};
  options.everyRanging = arguments.json || arguments.verbose || !arguments.report.empty();
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

}  // namespace

int runReplayJob(const ReplayArguments& arguments) {
  std::optional<TimelinePrinter> printer;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) {
    if (event.at.count() >= arguments.from) printer->print(event);
  });
  const Interruption interruption;
  const ReplayResult result =
      replay(arguments.recording, optionsFor(arguments), timeline,
             [&](Date start) { printer.emplace(std::cout, start, formFor(arguments)); });
  if (!result.failure.empty()) return complain(result.failure, kUsage);
  if (result.interrupted) return Interruption::exitCode();
  if (!result.departure.empty()) {
    return complain(arguments.recording + ": departs from the recording at " + result.departure,
                    kFailure);
  }
  if (!result.isWhole) warn(arguments.recording + ": the end is torn; replayed as far as it goes");
  return kSuccess;
}

}  // namespace ks::tool
