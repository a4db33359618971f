#include "tools/ksbeacon/replay/ReplayJob.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "tools/ksbeacon/host/HostDetails.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/output/OutputPlace.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/replay/Comparison.h"
#include "tools/ksbeacon/replay/DayDraft.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/report/ReportPage.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/scenario/ScenarioText.h"
#include "tools/ksbeacon/simulate/Expectations.h"
#include "tools/ksbeacon/simulate/Interruption.h"

namespace ks::tool {

namespace {

ReplayOptions optionsFor(const ReplayArguments& arguments) {
  ReplayOptions options;
  if (arguments.until >= 0) options.until = Seconds{arguments.until};
  options.everyRanging = arguments.json || arguments.verbose || !arguments.report.empty() ||
                         !arguments.asScenario.empty();
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
std::optional<int> objectionTo(const ReplayResult& result, const std::string& recording) {
  if (!result.failure.empty()) return complain(result.failure, kUsage);
  if (result.interrupted) return Interruption::exitCode();
  if (!result.departure.empty()) {
    return complain(recording + ": departs from the recording at " + result.departure, kFailure);
  }
  if (!result.isWhole) warn(recording + ": the end is torn; replayed as far as it goes");
  return std::nullopt;
}

Dictionary countsIn(const Comparison::Counts& counts) {
  return {{"before", static_cast<std::uint64_t>(counts.before)},
          {"after", static_cast<std::uint64_t>(counts.after)}};
}

void print(const Comparison& comparison, bool json) {
  const auto line = [json](const Dictionary& details, const std::string& text) {
    std::cout << (json ? jsonText(details) : printable(text)) << '\n';
  };
  for (const Comparison::Difference& each : comparison.differences()) {
    line(
        {{"content", each.content}, {"fired", countsIn(each.fired)}, {"shift", each.shift.count()}},
        inWords(each));
  }
  for (const auto& [hour, counts] : comparison.hours()) {
    line({{"hour", hour},
          {"fired", countsIn(counts.fired)},
          {"notifications", countsIn(counts.notified)}},
         inWords(hour, counts));
  }
  for (const auto& [day, counts] : comparison.days()) {
    line({{"recording", day}, {"notifications", countsIn(counts)}},
         fmt::format("{}: {}, {} notifications instead of {}", day,
                     counts.after > counts.before ? "noisier" : "quieter", counts.after,
                     counts.before));
  }
  if (!json && comparison.differences().empty()) std::cout << "nothing differs\n";
}

/// Each day as it was recorded, then under the other rules.
int compare(const ReplayArguments& arguments) {
  Comparison comparison;
  ReportPage report;
  DayDraft draft;
  ReplayResult last;
  const Interruption interruption;
  const ReplayOptions options = optionsFor(arguments);
  if (!options.hasOtherRules()) {
    return complain("--compare needs other rules: --documents or --refinements", kUsage);
  }
  if (!arguments.report.empty() && arguments.recordings.size() > 1) {
    return complain("--report shows one recording", kUsage);
  }
  for (const std::string& recording : arguments.recordings) {
    for (const auto run : {Comparison::Run::before, Comparison::Run::after}) {
      Timeline timeline;
      const bool isBefore = run == Comparison::Run::before;
      timeline.listen([&](const TimelineEvent& event) {
        comparison.note(run, recording, event);
        if (arguments.report.empty()) return;
        if (isBefore) draft.note(event);
        isBefore ? report.note(event) : report.noteOther(event);
      });
      ReplayOptions rules = options;
      rules.everyRanging = !arguments.report.empty();
      if (isBefore) {
        rules.documents.clear();
        rules.refinements.reset();
      }
      last = replay(recording, rules, timeline);
      if (const auto objection = objectionTo(last, recording)) return *objection;
    }
  }
  print(comparison, arguments.json);
  if (arguments.report.empty()) return kSuccess;
  draft.readEntries(arguments.recordings.front());
  const Scenario day = draft.scenario(arguments.recordings.front(), last);
  return writeText(arguments.report, report.html(day))
             ? kSuccess
             : complain(arguments.report + ": the page could not be written", kUsage);
}

std::string objectionToFiles(const ReplayArguments& arguments) {
  for (const std::string& file : {arguments.report, arguments.asScenario}) {
    if (!file.empty() && !canBeWritten(file)) {
      return file + ": expected a file in a folder that can be written";
    }
  }
  return "";
}

/// Why the scenario could not be written; empty when it was.
std::string writeScenario(const ReplayArguments& arguments, const DayDraft& draft,
                          const Scenario& day) {
  const std::filesystem::path file = arguments.asScenario;
  std::filesystem::path documents = arguments.documents;
  if (documents.empty()) {
    documents = file.stem().string() + "-portal";
    const auto folder = file.parent_path() / documents;
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    if (!draft.documents().write(folder)) {
      return folder.string() + ": the documents could not be written";
    }
  } else {
    documents = std::filesystem::absolute(documents);
  }
  return writeText(file, scenarioText(day, documents.string()))
             ? ""
             : file.string() + ": the scenario could not be written";
}

Refinements recordedRefinements(const std::string& recording) {
  auto reader = RecordingReader::open(recording);
  RecordedEvent begin;
  if (!reader || !reader.value().next(begin)) return {};
  const Dictionary* const host = begin.details["host"].dictionary();
  return host != nullptr ? libraryOptionsIn(*host).refinements : Refinements{};
}

/// What is expected of the day, as a scenario of nothing else.
std::variant<Scenario, InputError> expectedDay(const ReplayArguments& arguments) {
  Scenario expected;
  if (arguments.expect.empty()) return expected;
  auto read = readExpectations(arguments.expect);
  if (auto* const error = std::get_if<InputError>(&read)) return std::move(*error);
  expected.application.refinements = arguments.refinements.empty()
                                         ? recordedRefinements(arguments.recordings.front())
                                         : refinementsIn(arguments.refinements);
  expected.expectations = std::get<std::vector<Scenario::Expectation>>(std::move(read));
  return expected;
}

/// Replays once, with everything that shows it.
int showDay(const ReplayArguments& arguments, Scenario expected) {
  std::optional<TimelinePrinter> printer;
  Timeline timeline;
  ReportPage report;
  DayDraft draft;
  Expectations expectations(expected);
  timeline.listen([&](const TimelineEvent& event) {
    expectations.note(event);
    draft.note(event);
    if (event.at.count() < arguments.from) return;
    printer->print(event);
    if (!arguments.report.empty()) report.note(event);
  });
  const Interruption interruption;
  const std::string& recording = arguments.recordings.front();
  const ReplayResult result = replay(recording, optionsFor(arguments), timeline, [&](Date start) {
    printer.emplace(std::cout, start, formFor(arguments));
  });
  if (const auto objection = objectionTo(result, recording)) return *objection;
  for (Scenario::Expectation& each : expected.expectations) {
    if (each.to == kLongestDay) each.to = result.end;
  }
  const auto outcomes = expectations.outcomes(result.end);
  for (const auto& outcome : outcomes) timeline.add(Expectations::eventOf(outcome, result.end));
  if (!arguments.report.empty() || !arguments.asScenario.empty()) {
    draft.readEntries(recording);
  }
  const Scenario day = draft.scenario(recording, result);
  if (!arguments.report.empty() && !writeText(arguments.report, report.html(day))) {
    return complain(arguments.report + ": the page could not be written", kUsage);
  }
  if (!arguments.asScenario.empty()) {
    const std::string failure = writeScenario(arguments, draft, day);
    if (!failure.empty()) return complain(failure, kUsage);
  }
  const auto unmet = std::ranges::find(outcomes, false, &Expectations::Outcome::met);
  if (unmet == outcomes.end()) return kSuccess;
  return complain(fmt::format("{}:{}: expected: {}; {}", arguments.expect, unmet->expectation->line,
                              unmet->expected, unmet->happened),
                  kFailure);
}

}  // namespace

int runReplayJob(const ReplayArguments& arguments) {
  const std::string objection = objectionToFiles(arguments);
  if (!objection.empty()) return complain(objection, kUsage);
  if (arguments.compare) return compare(arguments);
  if (arguments.recordings.size() > 1) {
    return complain("several recordings can only be compared: --compare", kUsage);
  }
  auto expected = expectedDay(arguments);
  if (const auto* const error = std::get_if<InputError>(&expected)) {
    return complain(error->message(), kUsage);
  }
  return showDay(arguments, std::get<Scenario>(std::move(expected)));
}

}  // namespace ks::tool
