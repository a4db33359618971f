#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/simulate/Expectations.h"
#include "tools/ksbeacon/simulate/SimulationOptions.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

/// How a simulation came out.
struct SimulationResult {
  /// Why it could not be run; empty when it was.
  std::string failure;
  /// It did not come to its end, so nothing is known of what was expected.
  bool interrupted = false;
  /// What the portal said of its documents meanwhile.
  std::vector<std::string> portalMessages;
  /// Another portal was asked and answered nothing at all.
  bool portalIsSilent = false;
  std::vector<Expectations::Outcome> outcomes;
  /// Lines of the kind "breach": what must always hold did not.
  std::int64_t breaches = 0;
};

/// Lives through the scenario, adding each thing that happens to the timeline. Occupies the
/// process's platform meanwhile. The scenario must outlive the result.
SimulationResult simulate(const Scenario& scenario, const SimulationOptions& options,
                          Timeline& timeline);

}  // namespace ks::tool
