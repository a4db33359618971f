#include "tools/ksbeacon/simulate/RepeatedWalks.h"

#include <algorithm>
#include <set>
#include <utility>

namespace ks::tool {

RepeatedWalks repeatWalks(const Scenario& scenario, SimulationOptions options,
                          std::uint64_t count) {
  RepeatedWalks walks;
  for (const Scenario::Expectation& expectation : scenario.expectations) {
    if (expectation.subject == Scenario::Expectation::Subject::content) {
      walks.fired.emplace(expectation.name, 0);
    }
  }
  const auto whole = std::exchange(options.progress, nullptr);
  options.everyRanging = false;
  const std::uint64_t first = options.seed.value_or(scenario.seed);
  for (; walks.walks < count; ++walks.walks) {
    std::set<std::string> fired;
    Timeline timeline;
    timeline.listen([&fired](const TimelineEvent& event) {
      if (event.kind != TimelineKind::trigger) return;
      fired.insert(event.details["content"].stringValue().value_or(""));
    });
    options.seed = first + walks.walks;
    const SimulationResult result = simulate(scenario, options, timeline);
    walks.failure = result.failure;
    walks.interrupted = result.interrupted;
    // Others would be answered no better, and each waits for its time-outs.
    walks.portalIsSilent = result.portalIsSilent;
    if (!walks.failure.empty() || walks.interrupted || walks.portalIsSilent) return walks;
    for (const std::string& content : fired) ++walks.fired[content];
    const bool isMet = std::ranges::all_of(result.outcomes, &Expectations::Outcome::met);
    if (isMet && result.breaches == 0) ++walks.asExpected;
    if (whole) whole(static_cast<double>(walks.walks + 1) / static_cast<double>(count));
  }
  return walks;
}

}  // namespace ks::tool
