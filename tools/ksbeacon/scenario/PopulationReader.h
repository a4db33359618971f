#pragma once

#include <string>

#include "tools/ksbeacon/scenario/Population.h"
#include "tools/ksbeacon/scenario/ScenarioParts.h"

namespace ks::tool {

/// Reads a scenario's "population"; `until` is the scenario's end.
Population readPopulation(const JsonNode& node, const ScenarioParts& parts, Seconds until,
                          Mistakes& mistakes);

}  // namespace ks::tool
